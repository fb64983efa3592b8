#include "ip/filters/DetectMotionFilter.h"

#include <utility>

#include "ip/filters/GatedSumFilter.h"
#include "ip/kernels/KernelParameters.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

constexpr int neighbourhoodRadius = 2;

constexpr KernelUse maskUse{DetectMotionFilter::unfusedName,
                            KernelId::DetectMotion,
                            0,
                            LayerKind::Picture,
                            {LayerKind::Picture, LayerKind::Picture},
                            true};
constexpr KernelUse fusedUse{"TemporalMultAddDetectMotion",
                             KernelId::TemporalMultAddDetectMotion,
                             0,
                             LayerKind::Float,
                             {LayerKind::Picture, LayerKind::Float}};

}  // namespace

DetectMotionFilter::DetectMotionFilter(std::shared_ptr<FilterBase> first, std::shared_ptr<FilterBase> second,
                                       float limit, float weight, bool fused)
    : _limit(limit), _weight(weight), _fused(fused) {
    if (!(limit >= 0.0F)) {
        throw Exception("Detect motion", "The limit of the difference must not be negative.");
    }
    AddRequiredInput(std::move(first));
    AddRequiredInput(std::move(second));
}

void DetectMotionFilter::SetFused(float weight, bool fused) {
    _weight = weight;
    _fused = fused;
}

const KernelUse& DetectMotionFilter::Use() const {
    return _fused ? fusedUse : maskUse;
}

bool DetectMotionFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const DetectMotionFilter*>(&other);
    return same != nullptr && KernelFilter::IsEqual(other) && _limit == same->_limit &&
           _fused == same->_fused && _weight == same->_weight;
}

Bounds DetectMotionFilter::GetInputRegion(const Bounds& wanted, int input) const {
    constexpr Bounds margin{-neighbourhoodRadius, -neighbourhoodRadius, neighbourhoodRadius,
                            neighbourhoodRadius};
    return Intersect(Grow(wanted, margin), inputs[static_cast<std::size_t>(input)]->GetBounds());
}

std::shared_ptr<FilterBase> DetectMotionFilter::Fuse(std::uint64_t mostBytes) {
    return GatedSumFilter::InPlaceOf(*this, mostBytes);
}

void DetectMotionFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    const DetectMotionParameters parameters{1.0F / _limit, _weight};
    RunKernelRows(rows, &parameters, threadIndex);
}

}  // namespace TQ::IP
