#include "ip/filters/TemporalBlendFilter.h"

#include <utility>

#include "ip/kernels/KernelParameters.h"

namespace TQ::IP {

TemporalBlendFilter::TemporalBlendFilter(std::shared_ptr<FilterBase> current,
                                         std::shared_ptr<FilterBase> accumulator,
                                         std::shared_ptr<FilterBase> mask, float weight)
    : _weight(weight) {
    AddRequiredInput(std::move(current));
    AddRequiredInput(std::move(accumulator));
    AddRequiredInput(std::move(mask));
}

const KernelUse& TemporalBlendFilter::Use() const {
    static constexpr KernelUse use{"TemporalBlend",
                                   KernelId::TemporalBlend,
                                   0,
                                   LayerKind::Float,
                                   {LayerKind::Picture, LayerKind::Float, LayerKind::Picture}};
    return use;
}

void TemporalBlendFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    const WeightParameters parameters{_weight};
    RunKernelRows(rows, &parameters, threadIndex);
}

}  // namespace TQ::IP
