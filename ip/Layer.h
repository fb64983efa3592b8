#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ip/records/Bounds.h"
#include "ip/records/ImageView.h"
#include "ip/records/PixelFormat.h"

namespace TQ::IP {

class GPGPULayer;
class Host;

/// The abstract image of the framework, implemented by whoever talks to the host application. The public
/// members are kept up to date by the implementation after every operation that changes the image; kernels
/// and filters read them directly.
class LayerImplement {
  public:
    virtual ~LayerImplement();

    /// Pixels of (bounds.x1, bounds.y1); null when the image has none in host memory.
    unsigned char* pixels = nullptr;
    /// Handle of the pixels when they live on a device of the host.
    void* gpuPixels = nullptr;
    Bounds bounds{0, 0, 0, 0};       ///< the rectangle covered by `pixels`
    Bounds validBounds{0, 0, 0, 0};  ///< the rectangle of defined pixels; filters write it after rendering
    std::int32_t rowBytes = 0;       ///< distance between two rows; negative when rows run the other way
    std::int32_t pixelBytes = 0;
    std::int32_t channelBytes = 0;
    std::int32_t channelBits = 0;  ///< 8, 16 or 32
    std::int32_t channels = 0;
    std::int32_t whiteLevel = 0;  ///< code value of white; 1 for float
    bool hasPixels = false;       ///< there are pixels on the host, on a device, or an image handle

    /// Format and valid region of `other`, bounds `region`, new pixels (undefined content).
    virtual void AllocateRegionLike(const LayerImplement& other, const Bounds& region) = 0;
    /// Format, bounds and valid region of `other`.
    virtual void AllocateSameAs(const LayerImplement& other) = 0;
    /// New pixels (undefined content). A zero-sized region only frees what the layer held.
    /// Throws std::bad_alloc when memory cannot be had.
    virtual void Allocate(const Bounds& region, int channelBits, int channels) = 0;
    /// As Allocate with bounds (0, 0, width, height).
    void AllocateSize(int width, int height, int channelBits, int channels);
    /// Reallocates to `region` and keeps the pixels of the overlap; nothing when `region` equals `bounds`.
    virtual void SetBounds(const Bounds& region) = 0;
    /// No copy: becomes a view of `other` with bounds `region` clipped to `other.bounds`. The caller keeps
    /// `other` alive.
    virtual void ShareRegion(const LayerImplement& other, const Bounds& region) = 0;
    /// Releases the pixels, zeroes bounds and valid bounds.
    virtual void Free() = 0;

    virtual void GetRenderScale(float* x, float* y) const = 0;
    virtual bool OwnsPixels() const = 0;
    virtual bool IsSharedRegion() const = 0;
    virtual bool IsBottomUp() const = 0;
    /// 32 bits per channel, or 16 bits flagged as half float.
    virtual bool IsFloatData() const = 0;
    /// Positions of red, green, blue and alpha; true when they are known.
    virtual bool GetChannelIndices(std::int32_t indices[4]) const = 0;
    bool IsSingleChannel() const { return channels == 1; }

    /// Zeroes the rows of `region` clipped to `bounds`.
    void Clear(const Bounds& region);
    void ClearAll() { Clear(bounds); }
    /// Copies the rows of the overlap of the two `bounds`; both have the same pixel size.
    void CopyFrom(const LayerImplement& other);
    /// Address of pixel (x, y); no check.
    unsigned char* PixelAddress(int x, int y) const;
};

/// An image, as filters handle it: a thin value over a LayerImplement. Shared through std::shared_ptr<Layer>.
class Layer {
  public:
    /// Takes ownership; never null.
    explicit Layer(std::unique_ptr<LayerImplement> implement);
    /// A new layer of the host without pixels.
    explicit Layer(Host& host);

    LayerImplement& Implement() { return *_implement; }
    const LayerImplement& Implement() const { return *_implement; }

    unsigned char* Data() const { return _implement->pixels; }
    const TQ::IP::Bounds& Bounds() const { return _implement->bounds; }
    TQ::IP::Bounds& ValidBounds() { return _implement->validBounds; }
    const TQ::IP::Bounds& ValidBounds() const { return _implement->validBounds; }
    int RowBytes() const { return _implement->rowBytes; }
    int PixelBytes() const { return _implement->pixelBytes; }
    int ChannelBits() const { return _implement->channelBits; }
    int Channels() const { return _implement->channels; }
    int WhiteLevel() const { return _implement->whiteLevel; }
    bool HasPixels() const { return _implement->hasPixels; }
    int Width() const { return TQ::IP::Width(_implement->bounds); }
    int Height() const { return TQ::IP::Height(_implement->bounds); }
    unsigned char* PixelAddress(int x, int y) const { return _implement->PixelAddress(x, y); }
    /// Entry i of GetChannelIndices: position of red, green, blue, alpha.
    int ChannelIndex(int i) const;

    void Allocate(const TQ::IP::Bounds& region, int channelBits, int channels) {
        _implement->Allocate(region, channelBits, channels);
    }
    void AllocateRegionLike(const Layer& other, const TQ::IP::Bounds& region) {
        _implement->AllocateRegionLike(*other._implement, region);
    }
    void ShareRegion(const Layer& other, const TQ::IP::Bounds& region) {
        _implement->ShareRegion(*other._implement, region);
    }
    void CopyFrom(const Layer& other) { _implement->CopyFrom(*other._implement); }
    void Free() { _implement->Free(); }

    /// The whole layer as kernels see it.
    ImageView View() const;

  private:
    std::unique_ptr<LayerImplement> _implement;
};

/// The format record of a layer: depth from bits, float flag and white level; order from the channel indices;
/// rows bottom-up unless `rowBytes` is negative.
PixelFormat FormatOfLayer(const Layer& layer);

/// Raw scratch memory of the host.
class MemoryImplement {
  public:
    virtual ~MemoryImplement();
    virtual void* Data() const = 0;
    virtual std::size_t Size() const = 0;
    virtual void Free() = 0;
    /// Throws std::bad_alloc.
    virtual void Allocate(std::size_t bytes) = 0;
};

/// Owner of one scratch allocation.
class Memory {
  public:
    Memory(Host& host, std::size_t bytes);
    void* Data() const { return _implement->Data(); }
    std::size_t Size() const { return _implement->Size(); }

  private:
    std::unique_ptr<MemoryImplement> _implement;
};

/// What a filter hands to the consumer of its output, and the unit of caching. A pointer that is set does not
/// mean that pixels exist: the producer fills a layer that has none yet.
struct RenderResult {
    std::shared_ptr<Layer> layer;
    std::shared_ptr<GPGPULayer> gpuLayer;  ///< null until devices are built
    Bounds region = unsetBounds;
};

}  // namespace TQ::IP
