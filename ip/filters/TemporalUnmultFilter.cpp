#include "ip/filters/TemporalUnmultFilter.h"

#include <utility>

namespace TQ::IP {

TemporalUnmultFilter::TemporalUnmultFilter(std::shared_ptr<FilterBase> alphaSource,
                                           std::shared_ptr<FilterBase> accumulator) {
    AddRequiredInput(std::move(alphaSource));
    AddRequiredInput(std::move(accumulator));
}

const KernelUse& TemporalUnmultFilter::Use() const {
    static constexpr KernelUse use{name,
                                   KernelId::TemporalUnmult,
                                   KernelUse::formatOfOutput,
                                   LayerKind::Picture,
                                   {LayerKind::Picture, LayerKind::Float}};
    return use;
}

void TemporalUnmultFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    RunKernelRows(rows, nullptr, threadIndex);
}

}  // namespace TQ::IP
