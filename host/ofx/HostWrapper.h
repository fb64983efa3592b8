#pragma once

#include <atomic>
#include <memory>
#include <thread>

#include "host/ofx/Layer.h"
#include "ip/Host.h"
#include "ip/Layer.h"

namespace TQ::Host::OFX {

class Host;

/// The framework's image over a Layer of the bridge: its own scratch layer, or one that somebody else owns.
class LayerWrapper : public IP::LayerImplement {
  public:
    /// An own layer without pixels.
    explicit LayerWrapper(Host& host);
    /// Over `layer`, which is looked at and outlives this. An operation that needs other pixels leaves it
    /// untouched and goes on with an own layer.
    explicit LayerWrapper(Layer& layer);

    void AllocateRegionLike(const IP::LayerImplement& other, const IP::Bounds& region) override;
    void AllocateSameAs(const IP::LayerImplement& other) override;
    void Allocate(const IP::Bounds& region, int bits, int channelCount) override;
    void SetBounds(const IP::Bounds& region) override;
    void ShareRegion(const IP::LayerImplement& other, const IP::Bounds& region) override;
    void Free() override;
    void GetRenderScale(float* x, float* y) const override;
    bool OwnsPixels() const override;
    bool IsSharedRegion() const override;
    bool IsBottomUp() const override { return true; }
    bool IsFloatData() const override;
    bool GetChannelIndices(std::int32_t indices[4]) const override;
    bool HasAlpha() const { return _layer->hasAlpha; }
    bool IsPremultiplied() const { return _layer->premultiplied; }
    /// The pixels are a device buffer of the host.
    bool IsDevice() const { return _layer->isHostDeviceBuffer && _layer->data != nullptr; }
    /// Two wrappers over one layer look at the same picture.
    const Layer* Record() const { return _layer; }

  private:
    Layer& Own();
    void SyncFields();

    Layer _own;
    Layer* _layer;  ///< &_own, or somebody else's
    bool _shared = false;
};

/// The framework's scratch memory over the host's.
class MemoryWrapper : public IP::MemoryImplement {
  public:
    explicit MemoryWrapper(OFX::Host& host) : _memory(host) {}
    void* Data() const override { return _memory.Data(); }
    std::size_t Size() const override { return _memory.Size(); }
    void Free() override { _memory.Free(); }
    void Allocate(std::size_t bytes) override { _memory.Allocate(bytes); }

  private:
    HostMemory _memory;
};

/// The services of the host for queries: images and memory, but no threads, progress or abort.
class ConstHostWrapper : public IP::Host {
  public:
    /// `effect` is looked at and outlives this.
    explicit ConstHostWrapper(OFX::Host& effect) : _effect(&effect) {}

    std::unique_ptr<IP::LayerImplement> NewEmptyLayer() override;
    std::unique_ptr<IP::MemoryImplement> NewMemory() override;
    /// Throws TQ::Exception: a query has no progress.
    IP::ProgressState& GetProgressState() override;
    void ParallelFor(IP::BandFunction function, void* argument, int threadCount) override;
    int GetThreadCount() const override { return 1; }
    void SetThreadCount(int) override {}
    int GetHardwareThreadCount() const override { return 1; }
    void CheckAbort(bool) override {}
    void UpdateProgress(int, std::uint64_t, std::uint64_t) override {}

  protected:
    OFX::Host* _effect;
};

/// The services of the host for one render. Made on the render's thread, where alone the host is called.
class HostWrapper : public ConstHostWrapper {
  public:
    explicit HostWrapper(OFX::Host& effect);

    IP::ProgressState& GetProgressState() override { return _progressState; }
    void ParallelFor(IP::BandFunction function, void* argument, int threadCount) override;
    int GetThreadCount() const override;
    void SetThreadCount(int count) override { _threadCount = count; }
    int GetHardwareThreadCount() const override;
    void CheckAbort(bool skip) override;
    void UpdateProgress(int threadIndex, std::uint64_t done, std::uint64_t total) override;

  private:
    bool OnRenderThread() const { return std::this_thread::get_id() == _renderThread; }

    std::thread::id _renderThread;
    IP::ProgressState _progressState;
    int _threadCount = 0;  ///< 0: the host's number of processors
};

}  // namespace TQ::Host::OFX
