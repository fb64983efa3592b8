#pragma once

#include <cstddef>
#include <vector>

#include "app/picture/Picture.h"

namespace TQ::App {

/// What was measured of one clip against its truth. Brightness is in 8-bit code values, whatever the depth of
/// the clip.
struct ClipMeasure {
    /// Mean over the rows of the standard deviation over time of (row's mean - row's mean in the truth), all
    /// three colours together. 0 for a clip whose error does not change with time.
    double residualFlicker = 0;
    /// 10 log10(255^2 / mean squared error) over all frames, pixels and colours, in dB; infinite for an exact
    /// copy.
    double psnr = 0;
    /// Mean of each frame.
    std::vector<double> brightness;
    /// Row's mean divided by the row's mean in the truth: frame after frame, each from the top row to the
    /// bottom row. 1 where the truth is black.
    std::vector<float> rowRatio;
};

struct FlickerReport {
    int rows = 0;
    int frames = 0;
    ClipMeasure before;
    ClipMeasure after;
    std::vector<double> truthBrightness;
};

/// Gathers the frames of a clip before and after treatment beside the truth, in the order of time.
class FlickerMeter {
  public:
    /// The three pictures have the same size, which is that of every other frame; their depths may differ.
    /// Throws std::invalid_argument otherwise.
    void Add(const Picture& before, const Picture& after, const Picture& truth);
    /// The measures of the frames added so far.
    FlickerReport Report() const;

  private:
    /// Row means and squared error of one clip, frame after frame.
    struct Record {
        std::vector<double> rowMeans;
        double squaredError = 0;
    };
    ClipMeasure Measure(const Record& record) const;

    int _width = 0;
    int _rows = 0;
    int _frames = 0;
    Record _before;
    Record _after;
    std::vector<double> _truthRowMeans;
};

}  // namespace TQ::App
