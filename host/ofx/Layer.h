#pragma once

#include <cstddef>
#include <cstdint>

#include "host/ofx/abi/OfxImageEffect.h"
#include "host/ofx/abi/OfxMemory.h"
#include "ip/records/Bounds.h"

namespace TQ::Host::OFX {

class Host;

/// Owns one image fetched from a clip: gives it back exactly once.
class ClipImage {
  public:
    ClipImage() = default;
    ClipImage(const OfxImageEffectSuiteV1* suite, OfxPropertySetHandle image)
        : _suite(suite), _image(image) {}
    ~ClipImage() { Release(); }
    ClipImage(ClipImage&& other) noexcept;
    ClipImage& operator=(ClipImage&& other) noexcept;
    ClipImage(const ClipImage&) = delete;
    ClipImage& operator=(const ClipImage&) = delete;

    OfxPropertySetHandle Handle() const { return _image; }
    explicit operator bool() const { return _image != nullptr; }
    void Release() noexcept;

  private:
    const OfxImageEffectSuiteV1* _suite = nullptr;
    OfxPropertySetHandle _image = nullptr;
};

/// Owns one block of scratch memory of the host: image memory, or plain memory on hosts where that is to be
/// used.
class HostMemory {
  public:
    HostMemory() = default;
    /// `host` is looked at and outlives the block.
    explicit HostMemory(Host& host);
    ~HostMemory() { Free(); }
    HostMemory(HostMemory&& other) noexcept;
    HostMemory& operator=(HostMemory&& other) noexcept;
    HostMemory(const HostMemory&) = delete;
    HostMemory& operator=(const HostMemory&) = delete;

    /// Frees what is held and gets `bytes`, at least 64-byte aligned. 0 bytes only free. Throws
    /// std::bad_alloc.
    void Allocate(std::size_t bytes);
    void Free() noexcept;
    void* Data() const { return _data; }
    std::size_t Size() const { return _size; }

  private:
    bool TryAllocate(std::size_t bytes);

    OfxImageEffectHandle _effectHandle = nullptr;
    const OfxImageEffectSuiteV1* _effectSuite = nullptr;  ///< null: plain memory is used
    const OfxMemorySuiteV1* _memorySuite = nullptr;
    OfxImageMemoryHandle _imageMemory = nullptr;
    void* _plainMemory = nullptr;
    void* _data = nullptr;
    std::size_t _size = 0;
};

/// One image as the bridge handles it: fetched from a clip, or scratch memory of the host. What it holds is
/// given back when it goes.
class Layer {
  public:
    explicit Layer(Host& host);
    Layer(Layer&&) noexcept = default;
    Layer& operator=(Layer&&) noexcept = default;

    /// There are pixels, on the host or on a device of it.
    bool HasImage() const { return data != nullptr; }
    int PixelBytes() const { return channels * channelBits / 8; }
    /// Takes over a fetched image and reads its properties. Throws std::invalid_argument for an image without
    /// components, and TQ::Exception for one that cannot be used as it is (unknown depth or components, no
    /// pixels, empty bounds, rows shorter than their pixels).
    void Bind(ClipImage fetched);
    /// New pixels with undefined content; rows are padded to 64 bytes unless hostRowBytesRounding is off. An
    /// empty region only frees. Throws std::bad_alloc.
    void Allocate(const IP::Bounds& region, int bits, int channelCount);
    /// Becomes a view of `other` over `region` within its bounds.
    void ShareRegion(const Layer& other, const IP::Bounds& region);
    /// Leaves only what lies within `region`; image and memory stay held. A device buffer stays whole, as its
    /// address may be none to calculate with.
    void NarrowTo(const IP::Bounds& region);
    /// Becomes memory of its own over `region`, with the pixels that there are and transparent ones around
    /// them. Throws std::bad_alloc.
    void ExtendTo(const IP::Bounds& region);
    /// Gives back image and memory; no pixels and zero bounds after it.
    void Release() noexcept;
    bool OwnsPixels() const { return static_cast<bool>(clipImage) || memory.Data() != nullptr; }
    /// Address of pixel (x, y), no check.
    unsigned char* PixelAddress(int x, int y) const;

    Host* owner;
    HostMemory memory;
    ClipImage clipImage;
    unsigned char* data = nullptr;  ///< pixel (bounds.x1, bounds.y1); on the device when isHostDeviceBuffer
    IP::Bounds bounds{0, 0, 0, 0};
    IP::Bounds validBounds{0, 0, 0, 0};
    float scaleX = 1.0F, scaleY = 1.0F;  ///< render scale of the action
    float aspect = 1.0F;                 ///< pixel aspect ratio of the image
    float fieldScale = 1.0F;             ///< 0.5 for the image of one field; changes no geometry
    std::int32_t rowBytes = 0;           ///< negative: rows run downwards in memory
    std::int32_t channelBits = 8;        ///< 8, 16 or 32
    std::int32_t channels = 4;           ///< 1, 3 or 4
    bool hostIsFloat = false;            ///< half or 32-bit float
    bool hasAlpha = true;
    bool premultiplied = true;
    bool hostRowBytesRounding = true;
    bool isHostDeviceBuffer = false;

  private:
    void ReadFormat();
    void ReadGeometry();
};

}  // namespace TQ::Host::OFX
