#pragma once

#include "ip/Filter.h"

namespace TQ::IP {

class TemporalAddFilter;

/// A chain of TemporalAddFilters in one walk over the frames: colour = sum of frame * q, alpha = sum of q,
/// with q = weight * alpha of the frame, in four-channel float. Nothing between the frames and the sum is
/// stored.
///
/// Inputs: the sum that the chain starts from, if any, which is four-channel float; then the frames in the
/// order of addition, all in one pixel format. Pixel by pixel, so every input covers the output.
class WeightedSumFilter : public Filter {
  public:
    /// In place of the chain of filters that ends in `last`, as far as the frames are sources that together
    /// take at most `mostBytes`; null when that makes fewer than two frames.
    static std::shared_ptr<FilterBase> InPlaceOf(const TemporalAddFilter& last, std::uint64_t mostBytes);

    /// `sum` may be null. As many weights as frames.
    WeightedSumFilter(std::shared_ptr<FilterBase> sum, const std::vector<std::shared_ptr<FilterBase>>& frames,
                      std::vector<float> weights);

    const char* GetName() const override { return "WeightedSum"; }
    bool IsEqual(const FilterBase& other) const override;
    Bounds GetBounds() const override;
    PixelFormat AdjustFormat(const PixelFormat& inputFormat) const override;
    PixelFormat GetInputFormat(const PixelFormat& wanted, int input) const override;
    /// Throws TQ::Exception when the format of a layer does not fit, or when an input does not cover the
    /// output.
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  protected:
    void RunHostRows(const Bounds& rows, int threadIndex) override;

  private:
    bool _startsFromSum;
    std::vector<float> _weights;  ///< one per input; that of a sum is 0
};

}  // namespace TQ::IP
