#include "ip/filters/GuidedCorrelationFilter.h"

#include <utility>

namespace TQ::IP {

GuidedCorrelationFilter::GuidedCorrelationFilter(std::shared_ptr<FilterBase> x,
                                                 std::shared_ptr<FilterBase> y) {
    AddRequiredInput(std::move(x));
    AddRequiredInput(std::move(y));
}

const KernelUse& GuidedCorrelationFilter::Use() const {
    static constexpr KernelUse use{"guidedCorrelationFilter2",
                                   KernelId::GuidedCorrelation2,
                                   0,
                                   LayerKind::Picture,
                                   {LayerKind::Picture, LayerKind::Picture}};
    return use;
}

void GuidedCorrelationFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    RunKernelRows(rows, nullptr, threadIndex);
}

}  // namespace TQ::IP
