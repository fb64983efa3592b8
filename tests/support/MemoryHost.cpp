#include "support/MemoryHost.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include "ip/records/Exception.h"

namespace TQ::Test {

using IP::Bounds;

namespace {

constexpr std::int64_t alignment = 64;
constexpr unsigned char undefinedPixels = 0xCD;

unsigned char* Aligned(unsigned char* pointer) {
    const auto address = reinterpret_cast<std::uintptr_t>(pointer);
    const auto offset = (alignment - static_cast<std::int64_t>(address % alignment)) % alignment;
    return pointer + offset;
}

class PlainMemory : public IP::MemoryImplement {
  public:
    void* Data() const override { return _block ? Aligned(_block.get()) : nullptr; }
    std::size_t Size() const override { return _size; }
    void Free() override {
        _block.reset();
        _size = 0;
    }
    void Allocate(std::size_t bytes) override {
        _block = std::make_unique<unsigned char[]>(bytes + alignment);
        _size = bytes;
    }

  private:
    std::unique_ptr<unsigned char[]> _block;
    std::size_t _size = 0;
};

int WhiteOf(int channelBits, const LayerStyle& style) {
    switch (channelBits) {
        case 8:
            return 255;
        case 16:
            return style.half ? 1 : style.shortWhite;
        default:
            return 1;
    }
}

}  // namespace

void MemoryCounters::Add(std::int64_t size) {
    ++layersWithPixels;
    ++allocations;
    bytes += size;
    peakBytes = std::max(peakBytes.load(), bytes.load());
}

void MemoryCounters::Remove(std::int64_t size) {
    --layersWithPixels;
    bytes -= size;
}

MemoryLayer::MemoryLayer(std::shared_ptr<MemoryCounters> counters, const LayerStyle& style)
    : _counters(std::move(counters)), _style(style) {
}

MemoryLayer::~MemoryLayer() {
    DropBlock();
}

void MemoryLayer::TakeStyle(const LayerImplement& other) {
    std::int32_t order[4];
    if (other.GetChannelIndices(order)) {
        std::copy(std::begin(order), std::end(order), std::begin(_style.channelOrder));
    }
    _style.bottomUp = other.IsBottomUp();
    _style.half = other.channelBits == 16 && other.IsFloatData();
    if (other.channelBits == 16) {
        _style.shortWhite = other.whiteLevel;
    }
}

void MemoryLayer::NewBlock(const Bounds& region) {
    bounds = region;
    if (IP::IsEmpty(region)) {
        return;
    }
    const std::int64_t rowSize = std::int64_t{IP::Width(region)} * pixelBytes;
    const std::int64_t stride = (rowSize + alignment - 1) / alignment * alignment;
    _blockBytes = stride * IP::Height(region);
    _block = std::make_unique<unsigned char[]>(static_cast<std::size_t>(_blockBytes + alignment));
    std::memset(_block.get(), undefinedPixels, static_cast<std::size_t>(_blockBytes + alignment));
    _counters->Add(_blockBytes);
    pixels = Aligned(_block.get());
    rowBytes = static_cast<std::int32_t>(stride);
    if (_style.negativeRows) {
        pixels += stride * (IP::Height(region) - 1);
        rowBytes = -rowBytes;
    }
    hasPixels = true;
}

void MemoryLayer::DropBlock() {
    if (_block) {
        _counters->Remove(_blockBytes);
        _block.reset();
    }
    pixels = nullptr;
    hasPixels = false;
    rowBytes = 0;
}

void MemoryLayer::Allocate(const Bounds& region, int bits, int channelCount) {
    DropBlock();
    channelBits = bits;
    channelBytes = bits / 8;
    channels = channelCount;
    pixelBytes = channelBytes * channels;
    whiteLevel = WhiteOf(bits, _style);
    NewBlock(region);
    validBounds = region;
}

void MemoryLayer::AllocateRegionLike(const LayerImplement& other, const Bounds& region) {
    const Bounds valid = other.validBounds;
    const int bits = other.channelBits;
    const int channelCount = other.channels;
    TakeStyle(other);
    Allocate(region, bits, channelCount);
    validBounds = valid;
}

void MemoryLayer::AllocateSameAs(const LayerImplement& other) {
    AllocateRegionLike(other, other.bounds);
}

void MemoryLayer::SetBounds(const Bounds& region) {
    if (region == bounds) {
        return;
    }
    MemoryLayer old(_counters, _style);
    static_cast<LayerImplement&>(old) = *this;
    old._block = std::move(_block);
    old._blockBytes = _blockBytes;
    DropBlock();
    NewBlock(region);
    CopyFrom(old);
}

void MemoryLayer::ShareRegion(const LayerImplement& other, const Bounds& region) {
    DropBlock();
    TakeStyle(other);
    channelBits = other.channelBits;
    channelBytes = other.channelBytes;
    channels = other.channels;
    pixelBytes = other.pixelBytes;
    whiteLevel = other.whiteLevel;
    rowBytes = other.rowBytes;
    bounds = IP::Intersect(region, other.bounds);
    bounds.x2 = std::max(bounds.x2, bounds.x1);
    bounds.y2 = std::max(bounds.y2, bounds.y1);
    validBounds = IP::Intersect(other.validBounds, bounds);
    pixels = other.pixels == nullptr ? nullptr : other.PixelAddress(bounds.x1, bounds.y1);
    hasPixels = pixels != nullptr;
}

void MemoryLayer::Free() {
    DropBlock();
    bounds = {0, 0, 0, 0};
    validBounds = {0, 0, 0, 0};
}

void MemoryLayer::GetRenderScale(float* x, float* y) const {
    *x = *y = 1.0F;
}

bool MemoryLayer::GetChannelIndices(std::int32_t indices[4]) const {
    std::copy(std::begin(_style.channelOrder), std::end(_style.channelOrder), indices);
    return true;
}

MemoryHost::MemoryHost(int threadCount) : _threadCount(threadCount) {
}

std::unique_ptr<IP::LayerImplement> MemoryHost::NewEmptyLayer() {
    return std::make_unique<MemoryLayer>(counters, style);
}

std::unique_ptr<IP::MemoryImplement> MemoryHost::NewMemory() {
    return std::make_unique<PlainMemory>();
}

void MemoryHost::ParallelFor(IP::BandFunction function, void* argument, int threadCount) {
    const int count = threadCount > 0 ? threadCount : std::max(_threadCount, 1);
    if (count == 1) {
        function(0, 1, 0, argument);
        return;
    }
    std::exception_ptr failure;
    std::mutex failureLock;
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([=, &failure, &failureLock] {
            try {
                function(i, count, i, argument);
            } catch (...) {
                const std::lock_guard<std::mutex> guard(failureLock);
                if (!failure) {
                    failure = std::current_exception();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void MemoryHost::CheckAbort(bool skip) {
    if (!skip && wantsAbort && wantsAbort()) {
        _aborted = true;
    }
    if (_aborted) {
        throw Interrupted();
    }
}

void MemoryHost::UpdateProgress(int threadIndex, std::uint64_t done, std::uint64_t total) {
    CheckAbort(true);
    if (threadIndex != 0) {
        return;
    }
    IP::FoldProgress(_progress, done, total);
    reports.push_back(static_cast<double>(done) / static_cast<double>(total));
    CheckAbort(false);
}

std::shared_ptr<IP::Layer> MakeLayer(MemoryHost& host, const Bounds& bounds, int channelBits,
                                     const LayerStyle& style, int channels) {
    auto implement = std::make_unique<MemoryLayer>(host.counters, style);
    implement->Allocate(bounds, channelBits, channels);
    return std::make_shared<IP::Layer>(std::move(implement));
}

std::shared_ptr<IP::Layer> MakeLayer(MemoryHost& host, const Bounds& bounds, int channelBits, int channels) {
    return MakeLayer(host, bounds, channelBits, host.style, channels);
}

namespace {

template <typename Use>
double WithStoredType(int channelBits, Use use) {
    return channelBits == 8 ? use(std::uint8_t{}) : channelBits == 16 ? use(std::uint16_t{}) : use(float{});
}

}  // namespace

double GetValue(const IP::Layer& layer, int x, int y, int position) {
    const unsigned char* address = layer.PixelAddress(x, y) + position * layer.ChannelBits() / 8;
    return WithStoredType(layer.ChannelBits(), [&](auto value) {
        std::memcpy(&value, address, sizeof value);
        return static_cast<double>(value);
    });
}

void SetValue(IP::Layer& layer, int x, int y, int position, double number) {
    unsigned char* address = layer.PixelAddress(x, y) + position * layer.ChannelBits() / 8;
    WithStoredType(layer.ChannelBits(), [&](auto value) {
        value = static_cast<decltype(value)>(number);
        std::memcpy(address, &value, sizeof value);
        return 0.0;
    });
}

void FillLayer(IP::Layer& layer, const std::function<double(int, int, int)>& value) {
    const Bounds& bounds = layer.Bounds();
    for (int y = bounds.y1; y < bounds.y2; ++y) {
        for (int x = bounds.x1; x < bounds.x2; ++x) {
            for (int position = 0; position < layer.Channels(); ++position) {
                SetValue(layer, x, y, position, value(x, y, position));
            }
        }
    }
}

}  // namespace TQ::Test
