#include <utility>

#include "ip/Filter.h"

namespace TQ::IP {

namespace {

void CopyPixels(const Layer* from, Layer& to) {
    if (from != nullptr && from->Data() != to.Data()) {
        to.CopyFrom(*from);
    }
}

}  // namespace

FilterLayer::FilterLayer(Layer* source) : layer(source) {
}

FilterLayer::FilterLayer(const Bounds& bounds) : fallbackBounds(bounds) {
}

bool FilterLayer::IsEqual(const FilterBase& other) const {
    if (this == &other) {
        return true;
    }
    const auto* leaf = dynamic_cast<const FilterLayer*>(&other);
    return leaf != nullptr && IsSameType(other) && layer != nullptr && layer == leaf->layer &&
           fallbackBounds == leaf->fallbackBounds;
}

Bounds FilterLayer::GetBounds() const {
    return layer != nullptr ? layer->ValidBounds() : fallbackBounds;
}

PixelFormat FilterLayer::GetFormat() const {
    return layer != nullptr ? FormatOfLayer(*layer) : format;
}

std::uint64_t FilterLayer::MemoryNeeded(const GPGPUContext* context) const {
    return layer != nullptr ? 0 : FilterBase::MemoryNeeded(context);
}

void FilterLayer::RunHost(Host&, Layer& output, const std::vector<Layer*>&) {
    CopyPixels(layer, output);
}

FilterCompLayer::FilterCompLayer(RenderResult result) : source(std::move(result)) {
}

bool FilterCompLayer::IsEqual(const FilterBase& other) const {
    if (this == &other) {
        return true;
    }
    const auto* leaf = dynamic_cast<const FilterCompLayer*>(&other);
    return leaf != nullptr && IsSameType(other) && source.layer != nullptr &&
           source.layer == leaf->source.layer && source.gpuLayer == leaf->source.gpuLayer &&
           fallbackBounds == leaf->fallbackBounds;
}

Bounds FilterCompLayer::GetBounds() const {
    if (!IsEmpty(source.region)) {
        return source.region;
    }
    return source.layer ? source.layer->ValidBounds() : fallbackBounds;
}

PixelFormat FilterCompLayer::GetFormat() const {
    return source.layer ? FormatOfLayer(*source.layer) : PixelFormat{};
}

std::uint64_t FilterCompLayer::MemoryNeeded(const GPGPUContext* context) const {
    return source.layer ? 0 : FilterBase::MemoryNeeded(context);
}

void FilterCompLayer::RunHost(Host&, Layer& output, const std::vector<Layer*>&) {
    CopyPixels(source.layer.get(), output);
}

}  // namespace TQ::IP
