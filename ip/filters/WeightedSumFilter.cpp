#include "ip/filters/WeightedSumFilter.h"

#include <algorithm>
#include <utility>

#include "ip/filters/KernelFilter.h"
#include "ip/filters/TemporalAddFilter.h"
#include "ip/kernels/KernelParameters.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

using Handle = std::shared_ptr<FilterBase>;

/// What a chain adds up, the last step's frame first.
struct Chain {
    Handle sum;  ///< what it starts from; null: from nothing
    std::vector<Handle> frames;
    std::vector<float> weights;
};

bool IsStep(const FilterBase& filter) {
    const auto* add = dynamic_cast<const TemporalAddFilter*>(&filter);
    return add != nullptr && add->inputs.size() <= 2 && add->inputs[0]->inputs.empty();
}

Chain ChainOf(const TemporalAddFilter& last, std::uint64_t mostBytes) {
    Chain chain;
    std::uint64_t held = 0;
    const TemporalAddFilter* step = &last;
    for (;;) {
        held += step->inputs[0]->OutputBytes();
        chain.frames.push_back(step->inputs[0]);
        chain.weights.push_back(step->Weight());
        if (step->inputs.size() == 1) {
            return chain;
        }
        const Handle& before = step->inputs[1];
        const bool goesOn = IsStep(*before) && before->consumers.size() == 1 &&
                            held + before->inputs[0]->OutputBytes() <= mostBytes &&
                            static_cast<int>(chain.frames.size()) + 2 <= weightedMostInputs;
        if (!goesOn) {
            chain.sum = before;
            return chain;
        }
        step = static_cast<const TemporalAddFilter*>(before.get());
    }
}

}  // namespace

Handle WeightedSumFilter::InPlaceOf(const TemporalAddFilter& last, std::uint64_t mostBytes) {
    if (!IsStep(last)) {
        return nullptr;
    }
    Chain chain = ChainOf(last, mostBytes);
    if (chain.frames.size() < 2) {
        return nullptr;
    }
    std::reverse(chain.frames.begin(), chain.frames.end());
    std::reverse(chain.weights.begin(), chain.weights.end());
    return std::make_shared<WeightedSumFilter>(std::move(chain.sum), chain.frames, std::move(chain.weights));
}

WeightedSumFilter::WeightedSumFilter(Handle sum, const std::vector<Handle>& frames,
                                     std::vector<float> weights)
    : _startsFromSum(sum != nullptr), _weights(std::move(weights)) {
    AddInput(std::move(sum));
    for (const Handle& frame : frames) {
        AddInput(frame);
    }
    if (_startsFromSum) {
        _weights.insert(_weights.begin(), 0.0F);
    }
    if (frames.empty() || inputs.size() != _weights.size() || inputs.size() > weightedMostInputs) {
        throw Exception("Weighted sum", "Missing inputs.");
    }
}

bool WeightedSumFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const WeightedSumFilter*>(&other);
    return same != nullptr && Filter::IsEqual(other) && _weights == same->_weights &&
           _startsFromSum == same->_startsFromSum;
}

Bounds WeightedSumFilter::GetBounds() const {
    return inputs.back()->GetBounds();
}

PixelFormat WeightedSumFilter::AdjustFormat(const PixelFormat& inputFormat) const {
    return AsFloatRGBA(Filter::AdjustFormat(inputFormat));
}

PixelFormat WeightedSumFilter::GetInputFormat(const PixelFormat& wanted, int input) const {
    return input == 0 && _startsFromSum ? AsFloatRGBA(wanted) : inputs.back()->GetFormat();
}

void WeightedSumFilter::RunHost(Host& runHost, Layer& target, const std::vector<Layer*>& layers) {
    const Layer& formatLayer = *layers.back();
    CheckLayer(target, LayerKind::Float, formatLayer, GetName());
    for (std::size_t i = 0; i < layers.size(); ++i) {
        const bool isSum = i == 0 && _startsFromSum;
        CheckLayer(*layers[i], isSum ? LayerKind::Float : LayerKind::Picture, formatLayer, GetName());
        if (!Contains(layers[i]->Bounds(), target.Bounds())) {
            throw Exception(GetName(), "Input region mismatch.");
        }
    }
    Filter::RunHost(runHost, target, layers);
}

void WeightedSumFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    const WeightedSumParameters parameters{static_cast<std::int32_t>(inputs.size()), _startsFromSum,
                                           _weights.data()};
    RunBand(KernelId::WeightedSum, *inputLayers.back(), rows, &parameters, threadIndex);
}

}  // namespace TQ::IP
