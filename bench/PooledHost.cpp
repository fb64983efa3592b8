#include "bench/PooledHost.h"

#include <emmintrin.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <new>
#include <utility>

#include "platform/Platform.h"

namespace TQ::Bench {

using IP::Bounds;
using IP::LayerImplement;

namespace {

constexpr std::size_t alignment = 64;

std::size_t WholeLines(std::size_t bytes) {
    return (bytes + alignment - 1) / alignment * alignment;
}

/// Looks for a moment whether `condition` holds, before a thread is put to sleep for it: to be woken takes
/// longer than most waits between the parts of a frame. The library that runs OpenCV's threads does the same.
template <class Condition>
void LookFor(Condition condition) {
    constexpr std::chrono::microseconds patience(200);
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition() && std::chrono::steady_clock::now() < end) {
        _mm_pause();
    }
}

class PooledMemory : public IP::MemoryImplement {
  public:
    explicit PooledMemory(std::shared_ptr<PooledHost::Pool> pool) : _pool(std::move(pool)) {}
    ~PooledMemory() override { Free(); }
    void* Data() const override { return _block; }
    std::size_t Size() const override { return _size; }
    void Free() override {
        if (_block != nullptr) {
            _pool->GiveBack(_block, WholeLines(_size));
        }
        _block = nullptr;
        _size = 0;
    }
    void Allocate(std::size_t bytes) override {
        Free();
        if (bytes != 0) {
            _block = _pool->Take(WholeLines(bytes));
            _size = bytes;
        }
    }
    /// Between blocks of one pool.
    void Swap(PooledMemory& other) {
        std::swap(_block, other._block);
        std::swap(_size, other._size);
    }
    const std::shared_ptr<PooledHost::Pool>& PoolOf() const { return _pool; }

  private:
    std::shared_ptr<PooledHost::Pool> _pool;
    unsigned char* _block = nullptr;
    std::size_t _size = 0;
};

/// Plain pixels in the order RGBA.
class PooledLayer : public LayerImplement {
  public:
    explicit PooledLayer(const std::shared_ptr<PooledHost::Pool>& pool) : _memory(pool) {}

    void Allocate(const Bounds& region, int bits, int channelCount) override {
        channelBits = bits;
        channelBytes = bits / 8;
        channels = channelCount;
        pixelBytes = channelBytes * channels;
        whiteLevel = bits == 32 ? 1 : (1 << bits) - 1;
        bounds = validBounds = region;
        const std::size_t row = WholeLines(static_cast<std::size_t>(IP::Width(region) * pixelBytes));
        _memory.Allocate(row * static_cast<std::size_t>(IP::Height(region)));
        rowBytes = static_cast<std::int32_t>(row);
        pixels = static_cast<unsigned char*>(_memory.Data());
        hasPixels = pixels != nullptr;
    }
    void AllocateRegionLike(const LayerImplement& other, const Bounds& region) override {
        Allocate(region, other.channelBits, other.channels);
    }
    void AllocateSameAs(const LayerImplement& other) override { AllocateRegionLike(other, other.bounds); }
    void SetBounds(const Bounds& region) override {
        if (region == bounds) {
            return;
        }
        PooledLayer old(_memory.PoolOf());
        static_cast<LayerImplement&>(old) = *this;
        old._memory.Swap(_memory);
        Allocate(region, channelBits, channels);
        CopyFrom(old);
    }
    void ShareRegion(const LayerImplement& other, const Bounds& region) override {
        _memory.Free();
        static_cast<LayerImplement&>(*this) = other;
        bounds = validBounds = IP::Intersect(region, other.bounds);
        pixels = other.PixelAddress(bounds.x1, bounds.y1);
    }
    void Free() override {
        _memory.Free();
        pixels = nullptr;
        hasPixels = false;
        bounds = validBounds = {0, 0, 0, 0};
    }
    void GetRenderScale(float* x, float* y) const override { *x = *y = 1.0F; }
    bool OwnsPixels() const override { return _memory.Size() != 0; }
    bool IsSharedRegion() const override { return pixels != nullptr && !OwnsPixels(); }
    bool IsBottomUp() const override { return true; }
    bool IsFloatData() const override { return channelBits == 32; }
    bool GetChannelIndices(std::int32_t indices[4]) const override {
        for (int i = 0; i < 4; ++i) {
            indices[i] = i;
        }
        return true;
    }

  private:
    PooledMemory _memory;
};

}  // namespace

PooledHost::Pool::~Pool() {
    for (const auto& entry : _free) {
        Platform::DeleteBlock(entry.second, entry.first);
    }
}

unsigned char* PooledHost::Pool::Take(std::size_t bytes) {
    const std::lock_guard<std::mutex> guard(_lock);
    const auto found = _free.find(bytes);
    if (found == _free.end()) {
        auto* block = static_cast<unsigned char*>(Platform::NewBlock(bytes));
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        return block;
    }
    unsigned char* block = found->second;
    _free.erase(found);
    return block;
}

void PooledHost::Pool::GiveBack(unsigned char* block, std::size_t bytes) {
    const std::lock_guard<std::mutex> guard(_lock);
    _free.emplace(bytes, block);
}

PooledHost::PooledHost(int threads) {
    for (int i = 1; i < threads; ++i) {
        _threads.emplace_back([this, i] { Work(i); });
    }
}

PooledHost::~PooledHost() {
    {
        const std::lock_guard<std::mutex> guard(_lock);
        _stop = true;
    }
    _wake.notify_all();
    for (std::thread& thread : _threads) {
        thread.join();
    }
}

std::unique_ptr<IP::MemoryImplement> PooledHost::NewMemory() {
    return std::make_unique<PooledMemory>(_pool);
}

std::unique_ptr<IP::LayerImplement> PooledHost::NewEmptyLayer() {
    return std::make_unique<PooledLayer>(_pool);
}

void PooledHost::RunPart(IP::BandFunction function, void* argument, int index, int count) {
    try {
        function(index, count, index, argument);
    } catch (...) {
        const std::lock_guard<std::mutex> guard(_lock);
        _failure = _failure ? _failure : std::current_exception();
    }
}

void PooledHost::Work(int index) {
    std::uint64_t seen = 0;
    const auto isCalled = [&] { return _stop || _round != seen; };
    for (;;) {
        LookFor(isCalled);
        std::unique_lock<std::mutex> guard(_lock);
        _wake.wait(guard, isCalled);
        if (_stop) {
            return;
        }
        seen = _round;
        const IP::BandFunction function = _function;
        void* argument = _argument;
        const int count = _count;
        guard.unlock();
        if (index < count) {
            RunPart(function, argument, index, count);
        }
        guard.lock();
        if (--_running == 0) {
            _finished.notify_one();
        }
    }
}

void PooledHost::ParallelFor(IP::BandFunction function, void* argument, int threadCount) {
    const int most = GetThreadCount();
    const int count = threadCount > 0 ? std::min(threadCount, most) : most;
    {
        const std::lock_guard<std::mutex> guard(_lock);
        _function = function;
        _argument = argument;
        _count = count;
        _running = most - 1;
        ++_round;
    }
    _wake.notify_all();
    RunPart(function, argument, 0, count);
    const auto isDone = [&] { return _running == 0; };
    LookFor(isDone);
    std::unique_lock<std::mutex> guard(_lock);
    _finished.wait(guard, isDone);
    if (std::exception_ptr failure = std::exchange(_failure, nullptr)) {
        std::rethrow_exception(failure);
    }
}

}  // namespace TQ::Bench
