#pragma once

#include <cstddef>
#include <memory>

#include "effect/DeflickerSettings.h"
#include "ip/Filter.h"
#include "ip/filters/AffineSimilarityFilter.h"

namespace TQ::Effect {

/// The window of frames around the current one. Slots count first the past frames, far to near, then the
/// future frames, near to far; the current frame has none.
class ExtraFrames {
  public:
    virtual ~ExtraFrames() = default;
    /// Whether the clip has a frame there; false beyond the last slot. May fetch the frame.
    virtual bool Exists(std::size_t slot) = 0;
    /// A leaf that delivers the frame.
    virtual std::shared_ptr<IP::FilterBase> Frame(std::size_t slot) = 0;
};

/// The blur that both ends of the graph use; `input` itself when `radius` is not above 0.
std::shared_ptr<IP::FilterBase> BuildBlur(const std::shared_ptr<IP::FilterBase>& input, float radius);

/// `moved` laid over `reference` by optical flow. `quality` from 2 up leaves out as many fine levels of the
/// flow.
std::shared_ptr<IP::FilterBase> BuildAlignedFrame(const std::shared_ptr<IP::FilterBase>& reference,
                                                  const std::shared_ptr<IP::FilterBase>& moved, int quality);

/// What the slow motion detection compares by.
IP::AffineSimilarityParams SimilarityParams(const DeflickerSettings& settings);

/// Builds the graph of one frame: the temporal mean of the window, masked where the picture moves, of which
/// only the low frequencies replace those of `source`: output = source - blur(source) + blur(mean).
///
/// The window is summed from the far past inward, then from the far future inward, the current frame last.
/// With masks the two halves are summed apart: each frame is gated against the mean of the frames further out
/// on its own side, the current frame closes the future half, and the past half is gated as a whole against
/// the current frame. Frames that the clip does not have are left out; the weights are normalised by what was
/// summed.
std::shared_ptr<IP::FilterBase> BuildDeflickerGraph(const DeflickerSettings& settings,
                                                    const std::shared_ptr<IP::FilterBase>& source,
                                                    ExtraFrames& extraFrames);

}  // namespace TQ::Effect
