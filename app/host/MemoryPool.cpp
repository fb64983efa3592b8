#include "app/host/MemoryPool.h"

#include <algorithm>

#include "platform/Platform.h"

namespace TQ::App {
namespace {

// A request beyond this is an overflow in the plug-in's sums, not a picture.
constexpr std::size_t mostBytes = std::size_t{1} << 40;
// A waiting block serves a request of at least this part of its size; a bigger one would waste too much.
constexpr std::size_t fitNumerator = 3;
constexpr std::size_t fitDenominator = 4;

}  // namespace

MemoryPool::~MemoryPool() {
    for (const auto& [address, bytes] : _live) {
        Platform::DeleteBlock(address, bytes);
    }
    KeepWithin(0, 0);
}

MemoryPool& MemoryPool::Shared() {
    static MemoryPool pool;
    return pool;
}

void* MemoryPool::Allocate(std::size_t bytes) {
    if (bytes > mostBytes) {
        return nullptr;
    }
    std::lock_guard lock(_mutex);
    const std::size_t wanted = std::max<std::size_t>(bytes, 1);
    void* address = TakeIdle(wanted);
    std::size_t taken = address ? _live.at(address) : wanted;
    if (!address) {
        // Make room first, so that memory in use and memory waiting never stand above the peak together.
        const std::size_t peak = std::max(_usage.peakBytes, _usage.liveBytes + wanted);
        KeepWithin(_limits.idleBlocks, peak - _usage.liveBytes - wanted);
        address = Platform::NewBlock(wanted);
        if (!address) {
            KeepWithin(0, 0);
            address = Platform::NewBlock(wanted);
        }
        if (!address) {
            return nullptr;
        }
        _live.emplace(address, taken);
    }
    ++_usage.liveBlocks;
    _usage.liveBytes += taken;
    _usage.peakBytes = std::max(_usage.peakBytes, _usage.liveBytes);
    return address;
}

void* MemoryPool::TakeIdle(std::size_t bytes) {
    auto best = _idle.end();
    for (auto block = _idle.begin(); block != _idle.end(); ++block) {
        const bool fits = block->bytes >= bytes && block->bytes / fitDenominator * fitNumerator <= bytes;
        if (fits && (best == _idle.end() || block->bytes < best->bytes)) {
            best = block;
        }
    }
    if (best == _idle.end()) {
        return nullptr;
    }
    void* address = best->address;
    _live.emplace(address, best->bytes);
    --_usage.idleBlocks;
    _usage.idleBytes -= best->bytes;
    _idle.erase(best);
    return address;
}

bool MemoryPool::Free(void* address) {
    std::lock_guard lock(_mutex);
    const auto place = _live.find(address);
    if (place == _live.end()) {
        return false;
    }
    const std::size_t bytes = place->second;
    _live.erase(place);
    --_usage.liveBlocks;
    _usage.liveBytes -= bytes;
    if (bytes < smallBytes) {
        Platform::DeleteBlock(address, bytes);
        return true;
    }
    _idle.push_front({address, bytes});
    ++_usage.idleBlocks;
    _usage.idleBytes += bytes;
    KeepWithin(_limits.idleBlocks, PeakRoom());
    return true;
}

void MemoryPool::Trim() {
    std::lock_guard lock(_mutex);
    KeepWithin(0, 0);
    _usage.peakBytes = _usage.liveBytes;
}

std::size_t MemoryPool::PeakRoom() const {
    return _usage.peakBytes - _usage.liveBytes;
}

void MemoryPool::KeepWithin(std::size_t blocks, std::size_t bytes) {
    const std::size_t limit = std::min(bytes, _limits.idleBytes);
    while (_usage.idleBlocks > blocks || _usage.idleBytes > limit) {
        const Block oldest = _idle.back();
        _idle.pop_back();
        --_usage.idleBlocks;
        _usage.idleBytes -= oldest.bytes;
        Platform::DeleteBlock(oldest.address, oldest.bytes);
    }
}

MemoryPool::Usage MemoryPool::Use() const {
    std::lock_guard lock(_mutex);
    return _usage;
}

}  // namespace TQ::App
