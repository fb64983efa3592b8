#pragma once

#include <array>

#include "ip/Filter.h"

namespace TQ::IP {

class AffineSimilarityExpFilter;
class GaussianBlurFilter;
class GuidedCorrelationFilter;

/// The last steps of an AffineSimilarityFilter in one walk: the products of two high-passes, their blurs and
/// the weight that these moments give. Neither products nor moments are stored. The output is that of the
/// seven filters one after the other, to the last bit.
///
/// Inputs: the high-passes of both pictures, four-channel float. Where a picture is too small to give every
/// thread a part of this walk, the seven filters run.
class HighPassSimilarityFilter : public Filter {
  public:
    /// A mean of products: a blur and what it blurs.
    struct Moment {
        std::shared_ptr<GaussianBlurFilter> blur;
        std::shared_ptr<GuidedCorrelationFilter> product;
    };
    /// Variances of both pictures, covariance.
    using Moments = std::array<Moment, 3>;

    /// In place of `weight` and what leads from two high-passes to its inputs; null when its inputs are not
    /// such moments, or others read them.
    static std::shared_ptr<FilterBase> InPlaceOf(AffineSimilarityExpFilter& weight);

    HighPassSimilarityFilter(std::shared_ptr<AffineSimilarityExpFilter> weight, Moments moments);

    const char* GetName() const override { return "highPassSimilarity"; }
    bool IsEqual(const FilterBase& other) const override;
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;
    PixelFormat GetInputFormat(const PixelFormat& wanted, int input) const override;
    int ProgressSteps() const override { return 4; }
    /// Throws TQ::Exception when the format of a layer does not fit, or when an input does not cover the
    /// output.
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  protected:
    void RunHostRows(const Bounds&, int) override {}

  private:
    void RunOneAfterTheOther(Host& runHost, Layer& target, const std::vector<Layer*>& layers);

    std::shared_ptr<AffineSimilarityExpFilter> _weight;
    Moments _moments;
};

}  // namespace TQ::IP
