#pragma once

#include "effect/Presets.h"

namespace TQ::Effect {

/// The parameter values that a frame depends on, as the user set them.
struct DeflickerValues {
    double sensitivity = 3.0;  ///< blur radius in pixels at full scale
    int timeRadius = 8;        ///< frames on each side
    double threshold = 100.0;  ///< percent
    bool motion = false;       ///< align the frames by optical flow
    int motionQuality = 1;     ///< menu value
    int detectMotion = detectFast;
    double maskThreshold = 5.0;  ///< percent
    double maskRadius = 10.0;    ///< pixels at full scale
    int render = renderDeflicker;
};

/// How a mask of moving content is found.
enum class DetectKind { Solid, Similarity, Fast };

/// What the graph of one frame is built from, in pixels at render scale and in units of white.
struct DeflickerSettings {
    float scaleX = 1.0F;
    float scaleY = 1.0F;
    float sensitivityPixels = 0.0F;  ///< one radius for both axes
    float highPassThreshold = 1.0F;  ///< 1.0 or more: no limit
    float maskThreshold = 0.0F;
    float maskRadius = 0.0F;
    int timeRadius = 0;
    float sigma = 0.0F;  ///< of the temporal Gaussian, in frames
    DetectKind detectKind = DetectKind::Solid;
    int motionQuality = 0;
    int render = renderDeflicker;
    bool useMotion = false;
    bool useMask = false;

    /// Below an eighth of full size, and without neighbours, a frame passes through unchanged.
    bool PassesThrough() const;
    /// Extra frames before the current one, and behind it.
    int PastFrames() const;
    int FutureFrames() const;
    /// Weight of the frame `offset` frames away: the Gaussian density of `sigma`.
    float Weight(int offset) const;
};

/// `scaleX`, `scaleY`: render scale with the pixel aspect worked in.
DeflickerSettings DeriveSettings(const DeflickerValues& values, float scaleX, float scaleY);

}  // namespace TQ::Effect
