#include "ip/filters/TemporalAddFilter.h"

#include <cstring>
#include <utility>

#include "ip/filters/DetectMotionFilter.h"
#include "ip/filters/GatedSumFilter.h"
#include "ip/filters/TemporalUnmultFilter.h"
#include "ip/filters/WeightedSumFilter.h"
#include "ip/kernels/KernelParameters.h"

namespace TQ::IP {

namespace {

constexpr LayerKind picture = LayerKind::Picture;
constexpr LayerKind sum = LayerKind::Float;

constexpr KernelUse addFrame{"TemporalAdd1", KernelId::TemporalAdd1, 0, sum, {picture}};
constexpr KernelUse addToSum{"TemporalAdd2", KernelId::TemporalAdd2, 0, sum, {picture, sum}};
constexpr KernelUse addToMaskedSum{
    "TemporalMultAddMask", KernelId::TemporalMultAddMask, 0, sum, {picture, sum, picture}};
constexpr KernelUse addSums{"TemporalAddMask", KernelId::TemporalAddMask, 2, sum, {sum, sum, picture}};

bool HasName(const FilterBase& filter, const char* name) {
    return std::strcmp(filter.GetName(), name) == 0;
}

/// Whether `filter` is the mean of `accumulator` with the alpha of `frame`.
bool IsMeanOf(const FilterBase& filter, const FilterBase* frame, const FilterBase* accumulator) {
    return HasName(filter, TemporalUnmultFilter::name) && filter.inputs.size() == 2 &&
           filter.inputs[0].get() == frame && filter.inputs[1].get() == accumulator;
}

}  // namespace

TemporalAddFilter::TemporalAddFilter(std::shared_ptr<FilterBase> frame, float weight)
    : TemporalAddFilter(std::move(frame), nullptr, nullptr, weight, true) {
}

TemporalAddFilter::TemporalAddFilter(std::shared_ptr<FilterBase> frame,
                                     std::shared_ptr<FilterBase> accumulator, float weight)
    : TemporalAddFilter(std::move(frame), std::move(accumulator), nullptr, weight, true) {
}

TemporalAddFilter::TemporalAddFilter(std::shared_ptr<FilterBase> first,
                                     std::shared_ptr<FilterBase> accumulator,
                                     std::shared_ptr<FilterBase> mask, float weight, bool multiplyAlpha)
    : _weight(weight), _multiplyAlpha(multiplyAlpha) {
    AddRequiredInput(std::move(first));
    AddInput(std::move(accumulator));
    AddInput(std::move(mask));
}

const KernelUse& TemporalAddFilter::Use() const {
    switch (inputs.size()) {
        case 1:
            return addFrame;
        case 2:
            return addToSum;
        default:
            return _multiplyAlpha ? addToMaskedSum : addSums;
    }
}

bool TemporalAddFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const TemporalAddFilter*>(&other);
    return same != nullptr && KernelFilter::IsEqual(other) && _weight == same->_weight &&
           _multiplyAlpha == same->_multiplyAlpha;
}

MergeAnswer TemporalAddFilter::MergeInput(const std::shared_ptr<FilterBase>& input) {
    if (inputs.size() < 3 || !_multiplyAlpha || input != inputs[2] ||
        !HasName(*input, DetectMotionFilter::unfusedName)) {
        return MergeAnswer::None;
    }
    auto* mask = dynamic_cast<DetectMotionFilter*>(input.get());
    if (mask == nullptr || mask->inputs.size() != 2) {
        return MergeAnswer::None;
    }
    const std::shared_ptr<FilterBase> accumulator = inputs[1];
    const FilterBase* frame = inputs[0].get();
    const auto comparesFrameWithMean = [&](std::size_t frameIndex) {
        return mask->inputs[frameIndex].get() == frame &&
               IsMeanOf(*mask->inputs[1 - frameIndex], frame, accumulator.get());
    };
    if (comparesFrameWithMean(1)) {
        std::swap(mask->inputs[0], mask->inputs[1]);  // the comparison is symmetric
    } else if (!comparesFrameWithMean(0)) {
        return MergeAnswer::None;
    }
    // Nothing but this filter reads the mask, so it may change its meaning. The mean may have readers of its
    // own; it keeps its inputs and leaves the graph only when the mask was its last reader.
    mask->SetFused(_weight, true);
    mask->ReplaceInput(accumulator, 1);
    return MergeAnswer::Bypassed;
}

std::shared_ptr<FilterBase> TemporalAddFilter::Fuse(std::uint64_t mostBytes) {
    return inputs.size() == 3 ? GatedSumFilter::InPlaceOf(*this, mostBytes)
                              : WeightedSumFilter::InPlaceOf(*this, mostBytes);
}

void TemporalAddFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    const WeightParameters parameters{_weight};
    RunKernelRows(rows, &parameters, threadIndex);
}

}  // namespace TQ::IP
