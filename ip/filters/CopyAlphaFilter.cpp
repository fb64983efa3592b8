#include "ip/filters/CopyAlphaFilter.h"

#include <utility>

namespace TQ::IP {

CopyAlphaFilter::CopyAlphaFilter(std::shared_ptr<FilterBase> color, std::shared_ptr<FilterBase> alpha) {
    AddRequiredInput(std::move(color));
    AddRequiredInput(std::move(alpha));
}

const KernelUse& CopyAlphaFilter::Use() const {
    static constexpr KernelUse use{"CopyAlpha",
                                   KernelId::CopyAlpha,
                                   KernelUse::formatOfOutput,
                                   LayerKind::Picture,
                                   {LayerKind::Picture, LayerKind::Picture}};
    return use;
}

Bounds CopyAlphaFilter::GetBounds() const {
    return Intersect(inputs[0]->GetBounds(), inputs[1]->GetBounds());
}

std::string CopyAlphaFilter::GetBoundsExpression() const {
    return "intersect(bounds1, bounds2)";
}

int CopyAlphaFilter::IdentityInput() const {
    return inputs[0] == inputs[1] ? 0 : -1;
}

MergeAnswer CopyAlphaFilter::MergeInput(const std::shared_ptr<FilterBase>& input) {
    if (!IsSameType(*input)) {
        return MergeAnswer::None;
    }
    for (std::size_t index : {0U, 1U}) {
        if (input == inputs[index]) {
            ReplaceInput(input->inputs[index], index);
            return MergeAnswer::Again;
        }
    }
    return MergeAnswer::None;
}

void CopyAlphaFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    RunKernelRows(rows, nullptr, threadIndex);
}

}  // namespace TQ::IP
