#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "ip/Host.h"
#include "ip/Layer.h"

namespace TQ::Test {

/// How the pixels of a layer are laid out, beyond bits and channels.
struct LayerStyle {
    int channelOrder[4] = {0, 1, 2, 3};  ///< positions of red, green, blue, alpha
    int shortWhite = 65535;              ///< white level of 16-bit layers
    bool half = false;                   ///< 16-bit layers hold half floats
    bool negativeRows = false;  ///< the row of bounds.y1 lies last in memory; not passed on to scratch layers
    bool bottomUp = true;
};

/// What the layers of a host hold at present. Shared by the host and its layers, so that a layer may outlive
/// the host.
struct MemoryCounters {
    std::atomic<int> layersWithPixels{0};
    std::atomic<std::int64_t> bytes{0};
    std::atomic<std::int64_t> peakBytes{0};
    std::atomic<int> allocations{0};

    void Add(std::int64_t size);
    void Remove(std::int64_t size);
    /// Starts a new measurement: the peak becomes what is held now.
    void ResetPeak() { peakBytes = bytes.load(); }
};

/// A layer in ordinary memory. Fresh pixels are filled with 0xCD bytes, so that a read of undefined pixels
/// shows.
class MemoryLayer : public IP::LayerImplement {
  public:
    MemoryLayer(std::shared_ptr<MemoryCounters> counters, const LayerStyle& style);
    ~MemoryLayer() override;

    void AllocateRegionLike(const LayerImplement& other, const IP::Bounds& region) override;
    void AllocateSameAs(const LayerImplement& other) override;
    void Allocate(const IP::Bounds& region, int channelBits, int channels) override;
    void SetBounds(const IP::Bounds& region) override;
    void ShareRegion(const LayerImplement& other, const IP::Bounds& region) override;
    void Free() override;
    void GetRenderScale(float* x, float* y) const override;
    bool OwnsPixels() const override { return _block != nullptr; }
    bool IsSharedRegion() const override { return pixels != nullptr && _block == nullptr; }
    bool IsBottomUp() const override { return _style.bottomUp; }
    bool IsFloatData() const override { return channelBits == 32 || (channelBits == 16 && _style.half); }
    bool GetChannelIndices(std::int32_t indices[4]) const override;

  private:
    void TakeStyle(const LayerImplement& other);
    void NewBlock(const IP::Bounds& region);
    void DropBlock();

    std::shared_ptr<MemoryCounters> _counters;
    LayerStyle _style;
    std::unique_ptr<unsigned char[]> _block;
    std::int64_t _blockBytes = 0;
};

/// The services of a host application over plain memory and std::thread.
class MemoryHost : public IP::Host {
  public:
    explicit MemoryHost(int threadCount = 1);

    std::unique_ptr<IP::LayerImplement> NewEmptyLayer() override;
    std::unique_ptr<IP::MemoryImplement> NewMemory() override;
    IP::ProgressState& GetProgressState() override { return _progress; }
    /// `threadCount` threads, each with the index of its band as thread index.
    void ParallelFor(IP::BandFunction function, void* argument, int threadCount) override;
    int GetThreadCount() const override { return _threadCount; }
    void SetThreadCount(int count) override { _threadCount = count; }
    int GetHardwareThreadCount() const override { return 2; }
    void CheckAbort(bool skip) override;
    void UpdateProgress(int threadIndex, std::uint64_t done, std::uint64_t total) override;

    /// Style of new layers.
    LayerStyle style;
    std::shared_ptr<MemoryCounters> counters = std::make_shared<MemoryCounters>();
    /// Asked at every progress report of thread 0 and at every full abort check: true stops the render.
    std::function<bool()> wantsAbort;
    /// Fractions reported by thread 0, in order.
    std::vector<double> reports;

  private:
    int _threadCount;
    IP::ProgressState _progress;
    std::atomic<bool> _aborted{false};
};

/// A layer as a host application would deliver it: pixels over `bounds`, all of them valid.
std::shared_ptr<IP::Layer> MakeLayer(MemoryHost& host, const IP::Bounds& bounds, int channelBits,
                                     const LayerStyle& style, int channels = 4);
/// The same in the host's own style.
std::shared_ptr<IP::Layer> MakeLayer(MemoryHost& host, const IP::Bounds& bounds, int channelBits,
                                     int channels = 4);

/// One stored value of pixel (x, y), in code values. `position` counts channels in memory order. Not for half
/// floats.
double GetValue(const IP::Layer& layer, int x, int y, int position);
void SetValue(IP::Layer& layer, int x, int y, int position, double value);
/// Sets every value of the layer to value(x, y, position).
void FillLayer(IP::Layer& layer, const std::function<double(int x, int y, int position)>& value);

}  // namespace TQ::Test
