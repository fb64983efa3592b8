#include "ip/filters/AffineSimilarityFilter.h"

#include <algorithm>
#include <utility>

#include "ip/filters/GaussianHiPassFilter.h"
#include "ip/filters/GuidedCorrelationFilter.h"
#include "ip/filters/HighPassSimilarityFilter.h"
#include "ip/kernels/KernelParameters.h"

namespace TQ::IP {

namespace {

constexpr LayerKind moment = LayerKind::Float;

constexpr KernelUse fromDissimilarity{
    "affExp", KernelId::AffineSimilarityExp, KernelUse::formatOfOutput, LayerKind::Picture, {moment}};
constexpr KernelUse fromMoments{"affFilterExp",
                                KernelId::AffineSimilarityExp3,
                                KernelUse::formatOfOutput,
                                LayerKind::Picture,
                                {moment, moment, moment}};

/// Bounds the division by a tiny sigma.
constexpr float smallestSigma = 0.001F;

}  // namespace

AffineSimilarityFinalFilter::AffineSimilarityFinalFilter(std::shared_ptr<FilterBase> varianceA,
                                                         std::shared_ptr<FilterBase> varianceB,
                                                         std::shared_ptr<FilterBase> covariance) {
    AddRequiredInput(std::move(varianceA));
    AddRequiredInput(std::move(varianceB));
    AddRequiredInput(std::move(covariance));
}

const KernelUse& AffineSimilarityFinalFilter::Use() const {
    static constexpr KernelUse use{
        "affFilter", KernelId::AffineSimilarity, KernelUse::formatOfOutput, moment, {moment, moment, moment}};
    return use;
}

void AffineSimilarityFinalFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    RunKernelRows(rows, nullptr, threadIndex);
}

bool AffineSimilarityExpFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const AffineSimilarityExpFilter*>(&other);
    return same != nullptr && KernelFilter::IsEqual(other) && _sigma == same->_sigma;
}

const KernelUse& AffineSimilarityExpFilter::Use() const {
    return inputs.size() == 1 ? fromDissimilarity : fromMoments;
}

std::shared_ptr<FilterBase> AffineSimilarityExpFilter::Fuse(std::uint64_t) {
    return HighPassSimilarityFilter::InPlaceOf(*this);
}

float AffineSimilarityExpFilter::ExponentFactor() const {
    const float bounded = std::max(_sigma, smallestSigma);
    return -1.0F / (bounded * bounded);
}

void AffineSimilarityExpFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    const SimilarityParameters parameters{ExponentFactor()};
    RunKernelRows(rows, &parameters, threadIndex);
}

AffineSimilarityFilter::AffineSimilarityFilter(std::shared_ptr<FilterBase> a, std::shared_ptr<FilterBase> b,
                                               const AffineSimilarityParams& params, bool keepFormat)
    : AffineSimilarityExpFilter(params.sigma), _params(params), _keepFormat(keepFormat) {
    AddRequiredInput(std::move(a));
    AddRequiredInput(std::move(b));
}

bool AffineSimilarityFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const AffineSimilarityFilter*>(&other);
    return same != nullptr && AffineSimilarityExpFilter::IsEqual(other) && _expanded == same->_expanded &&
           _keepFormat == same->_keepFormat && _params.windowSigmaX == same->_params.windowSigmaX &&
           _params.windowSigmaY == same->_params.windowSigmaY &&
           _params.smoothSigmaX == same->_params.smoothSigmaX &&
           _params.smoothSigmaY == same->_params.smoothSigmaY;
}

void AffineSimilarityFilter::ExpandGraph(Host&, GPGPUContext*, const PixelFormat&) {
    if (std::exchange(_expanded, true)) {
        return;
    }
    const std::shared_ptr<FilterBase> a = inputs[0];
    const std::shared_ptr<FilterBase> b = inputs[1];
    const BlurSigma window{_params.windowSigmaX, _params.windowSigmaY, 0.0F};
    const auto highA = std::make_shared<GaussianHiPassFilter>(a, window);
    const auto highB = std::make_shared<GaussianHiPassFilter>(b, window);
    const auto meanProduct = [&window](const auto& x, const auto& y) {
        return std::make_shared<GaussianBlurFilter>(std::make_shared<GuidedCorrelationFilter>(x, y), window,
                                                    0, 0);
    };
    const auto varianceA = meanProduct(highA, highA);
    const auto varianceB = meanProduct(highB, highB);
    const auto covariance = meanProduct(highA, highB);
    ClearInputs();
    if (_params.smoothSigmaX > 0.0F || _params.smoothSigmaY > 0.0F) {
        const BlurSigma smooth{_params.smoothSigmaX, _params.smoothSigmaY, 0.0F};
        AddInput(std::make_shared<GaussianBlurFilter>(
            std::make_shared<AffineSimilarityFinalFilter>(varianceA, varianceB, covariance), smooth, 0, 0));
    } else {
        AddInput(varianceA);
        AddInput(varianceB);
        AddInput(covariance);
    }
    if (!_keepFormat) {
        formatSource = a;
    }
}

}  // namespace TQ::IP
