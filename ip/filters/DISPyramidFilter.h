#pragma once

#include "ip/Filter.h"
#include "ip/filters/DISLevels.h"
#include "ip/kernels/FlowKernels.h"

namespace TQ::IP {

/// The grey pyramid of a picture, as the optical flow reads it. A reference that is compared with many
/// neighbours is prepared once: the filters of all those flows ask for equal pyramids of it, and the graph
/// keeps one.
///
/// The output is no picture: its rows hold, one below the other, the computed levels from the finest to the
/// coarsest, 16-bit grey values times flowGreyScale with flowBorder pixels of repeated edge around them. It
/// is 8-bit with four channels, 4 bytes a pixel; each is two grey values.
class DISPyramidFilter : public FilterBase {
  public:
    /// `frame`: the part of the input that is looked at, inside its bounds. `levels` are of that size and not
    /// none.
    DISPyramidFilter(std::shared_ptr<FilterBase> input, const Bounds& frame, const DISLevels& levels);

    const Bounds& Frame() const { return _frame; }

    const char* GetName() const override { return "optflowPyramid"; }
    bool IsEqual(const FilterBase& other) const override;
    Bounds GetBounds() const override;
    /// The whole input.
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;
    PixelFormat AdjustFormat(const PixelFormat& inputFormat) const override;
    PixelFormat GetInputFormat(const PixelFormat& wanted, int input) const override;
    std::uint64_t ExtraMemoryNeeded(const GPGPUContext* context, const Bounds& outputRegion,
                                    const PixelFormat& outputFormat) const override;
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  private:
    Bounds _frame;
    DISLevels _levels;
};

/// The rectangle of a pyramid's layer.
Bounds DISPyramidBounds(const DISLevels& levels);
/// Fills `pyramid`, which has the bounds and the format of DISPyramidFilter, from the part `frame` of
/// `picture`. Throws TQ::Exception for pictures that have no kernels: half floats, other than four channels.
void BuildDISPyramid(Host& host, Layer& pyramid, const Layer& picture, const Bounds& frame,
                     const DISLevels& levels);

/// One level of a pyramid: its pixel (0, 0), with the border around it.
struct DISGreyPlane {
    std::int16_t* pixels;
    std::int64_t pitch;  ///< in grey values
};
DISGreyPlane DISPyramidLevel(const Layer& pyramid, const DISLevels& levels, std::int32_t level);
/// Repeats the ends of a finished row in the border, and the first and the last row above and below.
void FinishGreyRow(const DISGreyPlane& plane, std::int32_t y, std::int32_t width, std::int32_t height);

}  // namespace TQ::IP
