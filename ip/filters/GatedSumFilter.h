#pragma once

#include "ip/Filter.h"

namespace TQ::IP {

class DetectMotionFilter;
class SharedBands;
class SlotScratch;
class TemporalAddFilter;

/// Chains of fused DetectMotionFilters, and the comparison that joins the past to the future half, in one
/// walk over the frames: no sum but the last one is stored.
///
/// Each half starts from its farthest frame (or from a sum) and gates the sum so far by its similarity to the
/// next frame before it adds the frame; formulas and constants are those of DetectMotionFilter. The output,
/// in four-channel float, is the future half, plus the past half gated by its similarity to one of the
/// frames. For that the past half's mean and the mask are rounded as pictures in the frames' format are.
///
/// Inputs: the past half, then the future half, farthest first; frames in one pixel format, sums four-channel
/// float. For every step on the way to the output an input is read two pixels further on each side, as far as
/// its bounds go; beyond them its edge is repeated.
class GatedSumFilter : public Filter {
  public:
    /// One half: its inputs in order. As many weights as inputs; that of a sum is not used.
    struct Half {
        std::vector<std::shared_ptr<FilterBase>> inputs;
        std::vector<float> weights;
        bool startsFromSum = false;
    };

    /// In place of the filter that joins two halves, or of the chain of filters that ends in `last`, as far
    /// as the frames are sources that together take at most `mostBytes`. Null when it is no such filter, or
    /// when a frame covers less than the one added after it, so that not every pixel has a sum.
    static std::shared_ptr<FilterBase> InPlaceOf(const TemporalAddFilter& join, std::uint64_t mostBytes);
    static std::shared_ptr<FilterBase> InPlaceOf(const DetectMotionFilter& last, std::uint64_t mostBytes);

    /// `past` may be empty; `joinFrame` is the place of a frame in `future`.
    GatedSumFilter(const Half& past, const Half& future, std::size_t joinFrame, float limit);

    const char* GetName() const override { return "GatedSum"; }
    bool IsEqual(const FilterBase& other) const override;
    Bounds GetBounds() const override;
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;
    PixelFormat AdjustFormat(const PixelFormat& inputFormat) const override;
    PixelFormat GetInputFormat(const PixelFormat& wanted, int input) const override;
    /// Throws TQ::Exception when the format of a layer does not fit.
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  protected:
    /// One band, with the scratch of one slot.
    void RunHostRows(const Bounds& band, int slot) override;

  private:
    void Add(const Half& half, bool joins);
    bool IsSum(std::size_t input) const;

    std::size_t _pastInputs;
    std::size_t _joinFrame;  ///< an input
    bool _startsFromSum[2];
    float _limit;
    std::vector<float> _weights;            ///< one per input
    std::vector<int> _reach;                ///< how far each input is read beyond the output, in pixels
    const SlotScratch* _scratch = nullptr;  ///< during a run
    SharedBands* _shared = nullptr;         ///< the same
};

}  // namespace TQ::IP
