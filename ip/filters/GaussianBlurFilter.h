#pragma once

#include <array>

#include "ip/Filter.h"
#include "ip/filters/GaussCoefficients.h"

namespace TQ::IP {

/// Standard deviations in pixels along x and y; the third is carried and compared, and not used.
using BlurSigma = std::array<float, 3>;

/// Gaussian blur along rows, then along columns, at a cost that does not depend on sigma: each line is a box
/// sum plus two cosine terms that slide along it (see GaussCoefficients.h and the kernels GaussRows,
/// GaussColumns).
///
/// One input; all four channels are blurred alike, and the output has the input's format. Integer formats
/// round between the passes and clamp to their range. Input is read ceil(3.5 sigma) pixels beyond the output,
/// as far as its bounds go; beyond what is read, the last pixel repeats.
///
/// An axis whose window has a radius of 1 (sigma up to about 0.5) is left out, except that the column pass
/// runs when neither axis has more. Three samples hold no second cosine: below a sigma of about 0.39 that
/// pass no longer smooths, and towards 0 it sharpens.
class GaussianBlurFilter : public FilterSeparable {
  public:
    /// Sigmas 0 to maximumSigma, derivative orders 0 to 2; TQ::Exception otherwise or without an input. The
    /// orders take part in comparing and merging; only order 0 has kernels.
    GaussianBlurFilter(std::shared_ptr<FilterBase> input, const BlurSigma& sigma, int orderX, int orderY);

    static constexpr float maximumSigma = 100000.0F;

    const char* GetName() const override { return "gaussianBlur"; }
    bool IsEqual(const FilterBase& other) const override;
    /// 0 when both sigmas are at most 0.001 and nothing is subtracted or derived.
    int IdentityInput() const override;
    /// Absorbs another blur: the sigmas add up (linearly), and so do the orders.
    MergeAnswer MergeInput(const std::shared_ptr<FilterBase>& input) override;
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;
    /// No: bands read columns of each other.
    bool CanRunInPlace() const override { return false; }
    /// Throws TQ::Exception when the layers or the orders have no kernel or the input does not cover the
    /// output.
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

    const BlurSigma& Sigma() const { return _sigma; }
    /// Whether neither axis is left out.
    bool HasBothPasses() const;
    /// What is read for `wanted` when the input has no bounds.
    Bounds Reached(const Bounds& wanted) const;

  protected:
    /// `highPass`: the output is the picture minus its blur.
    GaussianBlurFilter(std::shared_ptr<FilterBase> input, const BlurSigma& sigma, int orderX, int orderY,
                       bool highPass);
    void RunHostRows(const Bounds& rows, int threadIndex) override;
    void RunHostColumns(const Bounds& columns, int threadIndex) override;

  private:
    /// The part of the input that is read: no line of the blur goes beyond it.
    Bounds InputView(const Layer& target, const Layer& source) const;
    void CheckLayers(const Layer& target, const Layer& source) const;
    /// Both passes band by band; false when there are too few bands for the threads.
    bool RunBothPasses(Host& runHost, Layer& target, Layer& view);
    void RunRows(Host& runHost, Layer& target, Layer& view);
    void RunColumns(Host& runHost, Layer& target, Layer& lines, Layer& source);
    void RunRowsOnly(Host& runHost, Layer& target, Layer& view);

    BlurSigma _sigma;
    int _orderX;
    int _orderY;
    bool _highPass;
    // Set by each run, before its bands start.
    GaussCoefficients _alongX;
    GaussCoefficients _alongY;
};

}  // namespace TQ::IP
