#include "ip/Layer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "ip/Host.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

LayerImplement::~LayerImplement() = default;

void LayerImplement::AllocateSize(int width, int height, int bits, int channelCount) {
    Allocate({0, 0, width, height}, bits, channelCount);
}

void LayerImplement::Clear(const TQ::IP::Bounds& region) {
    const TQ::IP::Bounds cleared = Intersect(region, bounds);
    if (pixels == nullptr || IsEmpty(cleared)) {
        return;
    }
    const auto size = static_cast<std::size_t>(Width(cleared)) * static_cast<std::size_t>(pixelBytes);
    for (int y = cleared.y1; y < cleared.y2; ++y) {
        std::memset(PixelAddress(cleared.x1, y), 0, size);
    }
}

void LayerImplement::CopyFrom(const LayerImplement& other) {
    const TQ::IP::Bounds common = Intersect(other.bounds, bounds);
    if (pixels == nullptr || other.pixels == nullptr || IsEmpty(common)) {
        return;
    }
    if (pixelBytes != other.pixelBytes) {
        throw Exception("", "An image cannot be copied into one of another pixel format.");
    }
    const auto size = static_cast<std::size_t>(Width(common)) * static_cast<std::size_t>(pixelBytes);
    for (int y = common.y1; y < common.y2; ++y) {
        unsigned char* target = PixelAddress(common.x1, y);
        const unsigned char* source = other.PixelAddress(common.x1, y);
        if (target != source) {
            std::memcpy(target, source, size);
        }
    }
}

unsigned char* LayerImplement::PixelAddress(int x, int y) const {
    return pixels + std::ptrdiff_t{y - bounds.y1} * rowBytes + std::ptrdiff_t{x - bounds.x1} * pixelBytes;
}

Layer::Layer(std::unique_ptr<LayerImplement> implement) : _implement(std::move(implement)) {
}

Layer::Layer(Host& host) : _implement(host.NewEmptyLayer()) {
}

int Layer::ChannelIndex(int i) const {
    std::int32_t indices[4];
    return _implement->GetChannelIndices(indices) ? indices[i] : i;
}

ImageView Layer::View() const {
    return {_implement->bounds, _implement->pixels, _implement->rowBytes};
}

namespace {

PixelDepth DepthOfLayer(const Layer& layer) {
    switch (layer.ChannelBits()) {
        case 16:
            if (layer.Implement().IsFloatData()) {
                return PixelDepth::Half;
            }
            return layer.WhiteLevel() < 32768 ? PixelDepth::Unsigned15 : PixelDepth::Unsigned16;
        case 32:
            return PixelDepth::Float;
        default:
            return PixelDepth::Unsigned8;
    }
}

}  // namespace

PixelFormat FormatOfLayer(const Layer& layer) {
    PixelFormat format;
    std::int32_t indices[4];
    const bool known = layer.Implement().GetChannelIndices(indices);
    format.channelOrder = known ? MakeChannelOrder(indices[0], indices[1], indices[2], indices[3]) : 0;
    format.depth = DepthOfLayer(layer);
    format.channels = layer.Channels();
    if (format.depth == PixelDepth::Unsigned16 || format.depth == PixelDepth::Unsigned15) {
        format.whiteLevel = static_cast<std::uint32_t>(layer.WhiteLevel());
    }
    format.flags = layer.Implement().IsBottomUp() ? formatBottomUp : 0;
    if (layer.RowBytes() < 0) {
        format.flags ^= formatBottomUp;
    }
    return format;
}

MemoryImplement::~MemoryImplement() = default;

Memory::Memory(Host& host, std::size_t bytes) : _implement(host.NewMemory()) {
    _implement->Allocate(bytes);
}

}  // namespace TQ::IP
