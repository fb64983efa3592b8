#pragma once

#include "ip/filters/KernelFilter.h"

namespace TQ::IP {

/// Corrects a picture by the difference of two low-pass pictures: colour = detail + e * d with d = target -
/// lowPass, alpha = that of detail. So the slow part of the picture comes from `target`, the fine part from
/// `detail`.
///
/// e is 1 for a threshold of 1 or more. Below, e = exp(-0.5 |d|^2 / max(threshold^2, 0.001)) takes large
/// corrections back: |d| is the length over the three colours with white at 1, and a difference of length
/// `threshold` keeps exp(-0.5) of itself.
///
/// Inputs: 0 detail, 1 its low pass, both in the output's format; 2 the target, four-channel float. With
/// `normalise` the target is an accumulator and its colour is first divided by its alpha where that is above
/// 0. Integer outputs clamp and round. Pixel by pixel, so all inputs cover the output.
class AddHighPassFilter : public KernelFilter {
  public:
    /// The flag in fifth place has no effect.
    AddHighPassFilter(std::shared_ptr<FilterBase> detail, std::shared_ptr<FilterBase> lowPass,
                      std::shared_ptr<FilterBase> target, float threshold, bool, bool normalise);

    bool IsEqual(const FilterBase& other) const override;
    /// With blurs as low pass and target it runs as a BlurredHighPassFilter.
    std::shared_ptr<FilterBase> Fuse(std::uint64_t mostBytes) override;

    bool Normalises() const { return _normalise; }
    bool HasThreshold() const { return _threshold < 1.0F; }
    /// -0.5 / max(threshold^2, 0.001)
    float ExponentFactor() const;

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;

  private:
    float _threshold;
    bool _normalise;
};

}  // namespace TQ::IP
