#include "ip/filters/WarpFilter.h"

#include <utility>

namespace TQ::IP {

WarpFilter::WarpFilter(std::shared_ptr<FilterBase> image, std::shared_ptr<FilterBase> flow) {
    AddRequiredInput(std::move(image));
    AddRequiredInput(std::move(flow));
}

const KernelUse& WarpFilter::Use() const {
    static constexpr KernelUse use{"Warp",
                                   KernelId::Warp,
                                   KernelUse::formatOfOutput,
                                   LayerKind::Picture,
                                   {LayerKind::Picture, LayerKind::Float},
                                   true};
    return use;
}

Bounds WarpFilter::GetBounds() const {
    return Intersect(inputs[0]->GetBounds(), inputs[1]->GetBounds());
}

Bounds WarpFilter::GetInputRegion(const Bounds& wanted, int input) const {
    return input == 0 ? inputs[0]->GetBounds() : wanted;
}

void WarpFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    RunKernelRows(rows, nullptr, threadIndex);
}

}  // namespace TQ::IP
