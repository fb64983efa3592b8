#pragma once

#include "ip/filters/KernelFilter.h"

namespace TQ::IP {

/// Adds a frame to a running weighted sum. The sum is an accumulator: colour holds the sum of weight * alpha
/// * colour, alpha the sum of weight * alpha. With q = weight * alpha of input 0 (white is 1, all sums in
/// 32-bit float):
///
///   inputs                          colour                           alpha              name
///   frame                           frame * q                        q                  TemporalAdd1
///   frame, accumulator              accumulator + frame * q          accumulator + q    TemporalAdd2
///   frame, accumulator, mask        accumulator * m + frame * q      likewise           TemporalMultAddMask
///   accumulator, accumulator, mask  first * weight + second * m      likewise           TemporalAddMask
///
/// m is the alpha channel of the mask image. The last row is taken with three inputs and `multiplyAlpha`
/// false. Frame and mask have the same pixel format. The output is four-channel float, whatever input 0 has;
/// nothing is clamped. Pixels are read and written one by one, so every input covers the output.
///
/// When the mask is a DetectMotionFilter that compares the frame with the mean of the very accumulator added
/// to, this filter asks to be replaced by the fused form of the mask filter (see MergeInput).
class TemporalAddFilter : public KernelFilter {
  public:
    TemporalAddFilter(std::shared_ptr<FilterBase> frame, float weight);
    /// `accumulator` may be null.
    TemporalAddFilter(std::shared_ptr<FilterBase> frame, std::shared_ptr<FilterBase> accumulator,
                      float weight);
    /// `accumulator` and `mask` may be null.
    TemporalAddFilter(std::shared_ptr<FilterBase> first, std::shared_ptr<FilterBase> accumulator,
                      std::shared_ptr<FilterBase> mask, float weight, bool multiplyAlpha);

    bool IsEqual(const FilterBase& other) const override;
    /// Bypassed when `input` is the mask described above: it then computes this filter's output by itself.
    MergeAnswer MergeInput(const std::shared_ptr<FilterBase>& input) override;
    /// A chain of such filters runs as a WeightedSumFilter, two gated halves as a GatedSumFilter.
    std::shared_ptr<FilterBase> Fuse(std::uint64_t mostBytes) override;

    float Weight() const { return _weight; }
    bool MultipliesAlpha() const { return _multiplyAlpha; }

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;

  private:
    float _weight;
    bool _multiplyAlpha;
};

}  // namespace TQ::IP
