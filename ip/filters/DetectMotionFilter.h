#pragma once

#include "ip/filters/KernelFilter.h"

namespace TQ::IP {

/// Compares two pictures and gives a soft mask: 1 where they agree, falling to 0 where they differ by `limit`
/// or more.
///
/// Similarity of two pixels a, b: s = product over the four channels of (1 - min(|a - b| / limit, 1)), white
/// at 1. The mask m is the mean of s over the 5 x 5 neighbourhood; all four output channels hold it.
///
/// Unfused ("detectMotion"): inputs 0 and 1 are pictures of one format, which is also the output's. Fused
/// ("TemporalMultAddDetectMotion"): input 0 is a frame, input 1 an accumulator. The frame is compared with
/// the accumulator's mean (colour / max(alpha, 0.0001), alpha of the frame), and the output is the
/// accumulator with the frame added: with q = weight * alpha of the frame, colour = accumulator * m + frame *
/// q, alpha = accumulator * m + q, in four-channel float.
///
/// Two more pixels are read on each side, as far as the input's bounds go; beyond them its edge is repeated,
/// for each input by itself.
class DetectMotionFilter : public KernelFilter {
  public:
    static constexpr const char* unfusedName = "detectMotion";

    /// `limit` is not negative (0: any difference counts in full), else TQ::Exception. `weight` is read by
    /// the fused form only.
    DetectMotionFilter(std::shared_ptr<FilterBase> first, std::shared_ptr<FilterBase> second, float limit,
                       float weight, bool fused);

    /// Chooses the form. The inputs are the caller's business.
    void SetFused(float weight, bool fused);

    bool IsEqual(const FilterBase& other) const override;
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;
    /// A chain of fused filters runs as a GatedSumFilter.
    std::shared_ptr<FilterBase> Fuse(std::uint64_t mostBytes) override;

    float Limit() const { return _limit; }
    float Weight() const { return _weight; }
    bool IsFused() const { return _fused; }

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;

  private:
    float _limit;
    float _weight;
    bool _fused;
};

}  // namespace TQ::IP
