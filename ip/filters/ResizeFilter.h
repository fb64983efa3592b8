#pragma once

#include "ip/Filter.h"
#include "ip/filters/ResizeTable.h"

namespace TQ::IP {

/// Resamples its input onto a rectangle, up or down, with a Mitchell-Netravali cubic that is stretched when
/// it reduces. The first and the last pixel of both pictures fall on each other; an axis of one pixel repeats
/// it.
///
/// One input of four channels, any format; the output has the same format. Beyond the input's edge its last
/// pixel repeats. Integers are rounded to nearest and clamped to their range. Works in code values, so
/// neither white level nor channel order matter.
class ResizeFilter : public FilterSeparable {
  public:
    /// `outBounds` is not empty and not infinite; throws TQ::Exception otherwise or without an input.
    ResizeFilter(std::shared_ptr<FilterBase> input, const Bounds& outBounds);

    /// Moves the positions where the input is read, in output pixels along both axes.
    float sampleOffset = 0;

    const char* GetName() const override { return "Resize"; }
    Bounds GetBounds() const override { return _outBounds; }
    std::string GetBoundsExpression() const override;
    /// 0 when the input already has these bounds.
    int IdentityInput() const override;
    bool IsEqual(const FilterBase& other) const override;
    /// Absorbs another resize: its size is only passed through.
    MergeAnswer MergeInput(const std::shared_ptr<FilterBase>& input) override;
    /// For a device: a second filter over the input takes the x axis, this one keeps the y axis.
    void ExpandGraph(Host& host, GPGPUContext* context, const PixelFormat& outputFormat) override;
    /// The rows are enlarged by the taps of the x axis.
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;
    std::uint64_t ExtraMemoryNeeded(const GPGPUContext* context, const Bounds& outputRegion,
                                    const PixelFormat& outputFormat) const override;
    bool CanRunInPlace() const override { return false; }
    /// Throws TQ::Exception for half floats and for other than four channels.
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  protected:
    void RunHostRows(const Bounds& rows, int threadIndex) override;
    void RunHostColumns(const Bounds& columns, int threadIndex) override;

  private:
    ResizeAxis AxisOf(std::int32_t inputSize, std::int32_t outputSize) const;

    Bounds _outBounds;
    std::shared_ptr<FilterBase> _firstPass;
};

}  // namespace TQ::IP
