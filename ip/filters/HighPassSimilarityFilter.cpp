#include "ip/filters/HighPassSimilarityFilter.h"

#include <utility>

#include "ip/filters/AffineSimilarityFilter.h"
#include "ip/filters/BlurRun.h"
#include "ip/filters/GuidedCorrelationFilter.h"
#include "ip/filters/KernelFilter.h"
#include "ip/filters/SlotScratch.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

/// Which of the inputs each moment multiplies.
constexpr std::size_t factors[3][2] = {{0, 0}, {1, 1}, {0, 1}};

}  // namespace

std::shared_ptr<FilterBase> HighPassSimilarityFilter::InPlaceOf(AffineSimilarityExpFilter& weight) {
    if (weight.inputs.size() != std::tuple_size_v<Moments>) {
        return nullptr;
    }
    Moments moments;
    for (std::size_t i = 0; i < moments.size(); ++i) {
        auto& [blur, product] = moments[i];
        blur = AsOwnBlur(weight.inputs[i]);
        product = blur ? std::dynamic_pointer_cast<GuidedCorrelationFilter>(blur->inputs[0]) : nullptr;
        // One walk has one set of bands.
        if (!product || product->consumers.size() != 1 || blur->Sigma() != moments[0].blur->Sigma()) {
            return nullptr;
        }
    }
    const std::shared_ptr<FilterBase> high[2] = {moments[0].product->inputs[0],
                                                 moments[1].product->inputs[0]};
    for (std::size_t i = 0; i < moments.size(); ++i) {
        for (std::size_t k = 0; k < 2; ++k) {
            if (moments[i].product->inputs[k] != high[factors[i][k]]) {
                return nullptr;
            }
        }
    }
    auto self = std::static_pointer_cast<AffineSimilarityExpFilter>(weight.shared_from_this());
    return std::make_shared<HighPassSimilarityFilter>(std::move(self), std::move(moments));
}

HighPassSimilarityFilter::HighPassSimilarityFilter(std::shared_ptr<AffineSimilarityExpFilter> weight,
                                                   Moments moments)
    : _weight(std::move(weight)), _moments(std::move(moments)) {
    formatSource = _weight->formatSource;
    AddInput(_moments[0].product->inputs.at(0));
    AddInput(_moments[1].product->inputs.at(0));
    // What they held of the graph is now this filter's.
    _weight->ClearInputs();
    for (const Moment& moment : _moments) {
        moment.blur->ClearInputs();
        moment.product->ClearInputs();
    }
}

bool HighPassSimilarityFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const HighPassSimilarityFilter*>(&other);
    return same != nullptr && Filter::IsEqual(other) && _weight->IsEqual(*same->_weight) &&
           _moments[0].blur->IsEqual(*same->_moments[0].blur);
}

Bounds HighPassSimilarityFilter::GetInputRegion(const Bounds& wanted, int input) const {
    return Intersect(_moments[0].blur->Reached(wanted), inputs[static_cast<std::size_t>(input)]->GetBounds());
}

PixelFormat HighPassSimilarityFilter::GetInputFormat(const PixelFormat& wanted, int) const {
    return AsFloatRGBA(wanted);
}

void HighPassSimilarityFilter::RunHost(Host& runHost, Layer& target, const std::vector<Layer*>& layers) {
    CheckLayer(target, LayerKind::Picture, target, GetName());
    for (const Layer* layer : layers) {
        CheckLayer(*layer, LayerKind::Float, target, GetName());
        if (!Contains(layer->Bounds(), target.Bounds())) {
            throw Exception(GetName(), "Input region mismatch.");
        }
    }
    BlurRun a(runHost, *_moments[0].blur, *layers[0], GetInputRegion(target.Bounds(), 0));
    BlurRun b(runHost, *_moments[1].blur, *layers[1], GetInputRegion(target.Bounds(), 1));
    const int radius = a.alongX.radius;
    const int threads = ThreadSlots(runHost);
    const GaussBands bands(target.Bounds(), a.view.Bounds(), radius, a.alongY.radius, threads);
    if (a.view.Bounds() != b.view.Bounds() || bands.Count() < threads) {
        RunOneAfterTheOther(runHost, target, layers);
        return;
    }
    host = &runHost;
    output = &target;
    inputLayers = {&a.view, &b.view};
    const std::int64_t streamBytes = GaussStreamBytes(bands.MostColumns(), a.alongY.radius);
    const SlotScratch scratch(runHost, 3 * streamBytes + GaussProductBytes(radius, Width(a.view.Bounds())));
    const SimilarityParameters similarity{_weight->ExponentFactor()};
    ForParts(runHost, bands.Count(), [&](int part, int slot) {
        unsigned char* const room = scratch.Of(slot);
        const HighPassSimilarityParameters parameters{a.Parameters(room), a.Parameters(room + streamBytes),
                                                      a.Parameters(room + 2 * streamBytes),
                                                      room + 3 * streamBytes, similarity};
        RunBand(KernelId::AffineSimilarityOfHighPasses, target, bands.At(part), &parameters,
                threadThatDoesNotReport);
    });
}

void HighPassSimilarityFilter::RunOneAfterTheOther(Host& runHost, Layer& target,
                                                   const std::vector<Layer*>& layers) {
    const Bounds both = Intersect(GetInputRegion(target.Bounds(), 0), GetInputRegion(target.Bounds(), 1));
    const Bounds held = Intersect(layers[0]->Bounds(), layers[1]->Bounds());
    Layer blurred[3]{Layer(runHost), Layer(runHost), Layer(runHost)};
    for (std::size_t i = 0; i < _moments.size(); ++i) {
        Layer* const x = layers[factors[i][0]];
        Layer* const y = layers[factors[i][1]];
        Layer product(runHost);
        product.AllocateRegionLike(*x, Intersect(both, held));
        _moments[i].product->RunHost(runHost, product, {x, y});
        blurred[i].AllocateRegionLike(*x, target.Bounds());
        _moments[i].blur->RunHost(runHost, blurred[i], {&product});
    }
    _weight->RunHost(runHost, target, {&blurred[0], &blurred[1], &blurred[2]});
}

}  // namespace TQ::IP
