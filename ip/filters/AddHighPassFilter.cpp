#include "ip/filters/AddHighPassFilter.h"

#include <algorithm>
#include <utility>

#include "ip/filters/BlurredHighPassFilter.h"
#include "ip/kernels/KernelParameters.h"

namespace TQ::IP {

namespace {

constexpr KernelUse MakeUse(const char* name, KernelId kernel) {
    return {name,
            kernel,
            KernelUse::formatOfOutput,
            LayerKind::Picture,
            {LayerKind::Picture, LayerKind::Picture, LayerKind::Float}};
}

/// [normalise][with threshold]
constexpr KernelUse uses[2][2] = {{MakeUse("AddHighPass", KernelId::AddHighPass),
                                   MakeUse("AddHighPassThreshold", KernelId::AddHighPassThreshold)},
                                  {MakeUse("AddHighPassN", KernelId::AddHighPassN),
                                   MakeUse("AddHighPassThresholdN", KernelId::AddHighPassThresholdN)}};

/// Keeps the exponent finite for a threshold of 0.
constexpr float smallestSquaredThreshold = 0.001F;

}  // namespace

AddHighPassFilter::AddHighPassFilter(std::shared_ptr<FilterBase> detail, std::shared_ptr<FilterBase> lowPass,
                                     std::shared_ptr<FilterBase> target, float threshold, bool,
                                     bool normalise)
    : _threshold(threshold), _normalise(normalise) {
    AddRequiredInput(std::move(detail));
    AddRequiredInput(std::move(lowPass));
    AddRequiredInput(std::move(target));
}

const KernelUse& AddHighPassFilter::Use() const {
    return uses[_normalise ? 1 : 0][HasThreshold() ? 1 : 0];
}

bool AddHighPassFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const AddHighPassFilter*>(&other);
    return same != nullptr && KernelFilter::IsEqual(other) && _threshold == same->_threshold &&
           _normalise == same->_normalise;
}

std::shared_ptr<FilterBase> AddHighPassFilter::Fuse(std::uint64_t) {
    return BlurredHighPassFilter::InPlaceOf(*this);
}

float AddHighPassFilter::ExponentFactor() const {
    return -0.5F / std::max(_threshold * _threshold, smallestSquaredThreshold);
}

void AddHighPassFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    const HighPassParameters parameters{ExponentFactor()};
    RunKernelRows(rows, HasThreshold() ? &parameters : nullptr, threadIndex);
}

}  // namespace TQ::IP
