#pragma once

#include "ip/Filter.h"

namespace TQ::IP {

class AddHighPassFilter;
class GaussianBlurFilter;

/// An AddHighPassFilter that takes its low pass and its target (an accumulator to be normalised) through a
/// GaussianBlurFilter each, in one walk: the blurred pictures are not stored. The output is that of the three
/// filters one after the other, to the last bit.
///
/// Inputs: 0 the detailed picture, 1 what the low pass is the blur of, 2 what the target is the blur of.
/// Where a picture is too small to give every thread a part of this walk, the three filters run.
class BlurredHighPassFilter : public Filter {
  public:
    /// In place of `add` and its blurs; null when its inputs 1 and 2 are not such blurs, or others read them.
    static std::shared_ptr<FilterBase> InPlaceOf(AddHighPassFilter& add);

    /// Both blurs run both passes.
    BlurredHighPassFilter(std::shared_ptr<AddHighPassFilter> add, std::shared_ptr<GaussianBlurFilter> low,
                          std::shared_ptr<GaussianBlurFilter> target);

    const char* GetName() const override { return "BlurredHighPass"; }
    bool IsEqual(const FilterBase& other) const override;
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;
    PixelFormat GetInputFormat(const PixelFormat& wanted, int input) const override;
    int ProgressSteps() const override { return 3; }
    /// Throws TQ::Exception when the format of a layer does not fit, or when an input does not cover the
    /// output.
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  protected:
    void RunHostRows(const Bounds&, int) override {}

  private:
    /// `layers` hold of each input what is read.
    void RunOneAfterTheOther(Host& runHost, Layer& target, const std::vector<Layer*>& layers);

    std::shared_ptr<AddHighPassFilter> _add;
    std::shared_ptr<GaussianBlurFilter> _low, _target;
};

}  // namespace TQ::IP
