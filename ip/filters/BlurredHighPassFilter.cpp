#include "ip/filters/BlurredHighPassFilter.h"

#include <algorithm>
#include <utility>

#include "ip/filters/AddHighPassFilter.h"
#include "ip/filters/BlurRun.h"
#include "ip/filters/GaussBands.h"
#include "ip/filters/KernelFilter.h"
#include "ip/filters/SlotScratch.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

std::shared_ptr<FilterBase> BlurredHighPassFilter::InPlaceOf(AddHighPassFilter& add) {
    const auto low = AsOwnBlur(add.inputs[1]);
    const auto target = AsOwnBlur(add.inputs[2]);
    // One walk has one set of bands.
    if (!add.Normalises() || !low || !target || low->Sigma() != target->Sigma()) {
        return nullptr;
    }
    auto self = std::static_pointer_cast<AddHighPassFilter>(add.shared_from_this());
    return std::make_shared<BlurredHighPassFilter>(std::move(self), low, target);
}

BlurredHighPassFilter::BlurredHighPassFilter(std::shared_ptr<AddHighPassFilter> add,
                                             std::shared_ptr<GaussianBlurFilter> low,
                                             std::shared_ptr<GaussianBlurFilter> target)
    : _add(std::move(add)), _low(std::move(low)), _target(std::move(target)) {
    AddInput(_add->inputs.at(0));
    AddInput(_low->inputs.at(0));
    AddInput(_target->inputs.at(0));
    // What they held of the graph is now this filter's.
    _add->ClearInputs();
    _low->ClearInputs();
    _target->ClearInputs();
}

bool BlurredHighPassFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const BlurredHighPassFilter*>(&other);
    return same != nullptr && Filter::IsEqual(other) && _add->IsEqual(*same->_add) &&
           _low->IsEqual(*same->_low) && _target->IsEqual(*same->_target);
}

Bounds BlurredHighPassFilter::GetInputRegion(const Bounds& wanted, int input) const {
    if (input == 0) {
        return wanted;
    }
    const Bounds reached = (input == 1 ? _low : _target)->Reached(wanted);
    return Intersect(reached, inputs[static_cast<std::size_t>(input)]->GetBounds());
}

PixelFormat BlurredHighPassFilter::GetInputFormat(const PixelFormat& wanted, int input) const {
    return input == 2 ? AsFloatRGBA(wanted) : wanted;
}

void BlurredHighPassFilter::RunHost(Host& runHost, Layer& target, const std::vector<Layer*>& layers) {
    for (std::size_t i = 0; i < layers.size(); ++i) {
        CheckLayer(*layers[i], i == 2 ? LayerKind::Float : LayerKind::Picture, target, GetName());
        if (!Contains(layers[i]->Bounds(), target.Bounds())) {
            throw Exception(GetName(), "Input region mismatch.");
        }
    }
    BlurRun low(runHost, *_low, *layers[1], GetInputRegion(target.Bounds(), 1));
    BlurRun sum(runHost, *_target, *layers[2], GetInputRegion(target.Bounds(), 2));
    const int radius = low.alongX.radius;
    const int threads = ThreadSlots(runHost);
    const GaussBands bands(target.Bounds(), low.view.Bounds(), radius, low.alongY.radius, threads);
    if (low.view.Bounds() != sum.view.Bounds() || bands.Count() < threads) {
        RunOneAfterTheOther(runHost, target, {layers[0], &low.view, &sum.view});
        return;
    }
    host = &runHost;
    output = &target;
    inputLayers = {layers[0], &low.view, &sum.view};
    const std::int64_t streamBytes = GaussStreamBytes(bands.MostColumns(), low.alongY.radius);
    const SlotScratch scratch(runHost, 2 * streamBytes);
    const KernelId kernel =
        _add->HasThreshold() ? KernelId::AddBlurredHighPassThreshold : KernelId::AddBlurredHighPass;
    ForParts(runHost, bands.Count(), [&](int part, int slot) {
        const BlurredHighPassParameters parameters{low.Parameters(scratch.Of(slot)),
                                                   sum.Parameters(scratch.Of(slot) + streamBytes),
                                                   {_add->ExponentFactor()}};
        RunBand(kernel, target, bands.At(part), &parameters, threadThatDoesNotReport);
    });
}

void BlurredHighPassFilter::RunOneAfterTheOther(Host& runHost, Layer& target,
                                                const std::vector<Layer*>& layers) {
    Layer low(runHost);
    low.AllocateRegionLike(*layers[1], target.Bounds());
    _low->RunHost(runHost, low, {layers[1]});
    Layer sum(runHost);
    sum.AllocateRegionLike(*layers[2], target.Bounds());
    _target->RunHost(runHost, sum, {layers[2]});
    _add->RunHost(runHost, target, {layers[0], &low, &sum});
}

}  // namespace TQ::IP
