#include "host/ofx/Layer.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "host/ofx/Host.h"
#include "ip/records/Exception.h"

namespace TQ::Host::OFX {

namespace {

constexpr std::size_t alignment = 64;

struct DepthRow {
    const char* name;
    int bits;
    bool isFloat;
};
constexpr DepthRow depthTable[] = {
    {kOfxBitDepthByte, 8, false},
    {kOfxBitDepthShort, 16, false},
    {kOfxBitDepthHalf, 16, true},
    {kOfxBitDepthFloat, 32, true},
};

struct ComponentRow {
    const char* name;
    int channels;
    bool hasAlpha;
};
constexpr ComponentRow componentTable[] = {
    {kOfxImageComponentAlpha, 1, true},
    {kOfxImageComponentRGB, 3, false},
    {kOfxImageComponentRGBA, 4, true},
};

/// The row of `table` with this name; null when there is none.
template <class Row, std::size_t count>
const Row* FindRow(const Row (&table)[count], const std::string& name) {
    for (const Row& row : table) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

[[noreturn]] void Fail(const std::string& message) {
    throw Exception("Image of the host", message);
}

/// What `region` has of `bounds`; of no size, but never less, where that is nothing.
IP::Bounds Within(const IP::Bounds& region, const IP::Bounds& bounds) {
    IP::Bounds result = IP::Intersect(region, bounds);
    result.x2 = std::max(result.x2, result.x1);
    result.y2 = std::max(result.y2, result.y1);
    return result;
}

}  // namespace

// --- ClipImage -----------------------------------------------------------------------------------

ClipImage::ClipImage(ClipImage&& other) noexcept
    : _suite(other._suite), _image(std::exchange(other._image, nullptr)) {
}

ClipImage& ClipImage::operator=(ClipImage&& other) noexcept {
    if (this != &other) {
        Release();
        _suite = other._suite;
        _image = std::exchange(other._image, nullptr);
    }
    return *this;
}

void ClipImage::Release() noexcept {
    if (_image != nullptr) {
        _suite->clipReleaseImage(std::exchange(_image, nullptr));
    }
}

// --- HostMemory ----------------------------------------------------------------------------------

HostMemory::HostMemory(Host& host)
    : _effectHandle(host.effectHandle),
      _effectSuite(host.quirks().plainMemory ? nullptr : host.effectSuite),
      _memorySuite(host.memorySuite) {
}

HostMemory::HostMemory(HostMemory&& other) noexcept {
    *this = std::move(other);
}

HostMemory& HostMemory::operator=(HostMemory&& other) noexcept {
    if (this != &other) {
        Free();
        _effectHandle = other._effectHandle;
        _effectSuite = other._effectSuite;
        _memorySuite = other._memorySuite;
        _imageMemory = std::exchange(other._imageMemory, nullptr);
        _plainMemory = std::exchange(other._plainMemory, nullptr);
        _data = std::exchange(other._data, nullptr);
        _size = std::exchange(other._size, 0);
    }
    return *this;
}

bool HostMemory::TryAllocate(std::size_t bytes) {
    void* start = nullptr;
    std::size_t room = bytes + alignment - 1;
    if (_effectSuite != nullptr) {
        if (_effectSuite->imageMemoryAlloc(_effectHandle, room, &_imageMemory) != kOfxStatOK) {
            _imageMemory = nullptr;
            return false;
        }
        if (_effectSuite->imageMemoryLock(_imageMemory, &start) != kOfxStatOK || start == nullptr) {
            _effectSuite->imageMemoryFree(std::exchange(_imageMemory, nullptr));
            return false;
        }
    } else {
        if (_memorySuite->memoryAlloc(_effectHandle, room, &start) != kOfxStatOK || start == nullptr) {
            return false;
        }
        _plainMemory = start;
    }
    _data = std::align(alignment, bytes, start, room);
    _size = bytes;
    return true;
}

void HostMemory::Allocate(std::size_t bytes) {
    Free();
    if (bytes == 0) {
        return;
    }
    if (bytes > SIZE_MAX - alignment) {
        throw std::bad_alloc();
    }
    while (!TryAllocate(bytes)) {
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) {
            throw std::bad_alloc();
        }
        handler();  // makes room, or throws
    }
}

void HostMemory::Free() noexcept {
    if (_imageMemory != nullptr) {
        _effectSuite->imageMemoryUnlock(_imageMemory);
        _effectSuite->imageMemoryFree(std::exchange(_imageMemory, nullptr));
    }
    if (_plainMemory != nullptr) {
        _memorySuite->memoryFree(std::exchange(_plainMemory, nullptr));
    }
    _data = nullptr;
    _size = 0;
}

// --- Layer ---------------------------------------------------------------------------------------

Layer::Layer(Host& host) : owner(&host), memory(host) {
}

void Layer::Bind(ClipImage fetched) {
    Release();
    clipImage = std::move(fetched);
    ReadFormat();
    ReadGeometry();
}

void Layer::ReadFormat() {
    const PropertySet image(owner->propertySuite, clipImage.Handle());
    const std::string depth = image.NeedText(kOfxImageEffectPropPixelDepth);
    const DepthRow* depthRow = FindRow(depthTable, depth);
    if (depthRow == nullptr) {
        Fail("The application delivered an image of the unknown depth \"" + depth +
             "\". Choose 8-bit, 16-bit or float processing there.");
    }
    channelBits = depthRow->bits;
    hostIsFloat = depthRow->isFloat;

    const std::string components = image.NeedText(kOfxImageEffectPropComponents);
    if (components == kOfxImageComponentNone) {
        throw std::invalid_argument("Invalid layer");
    }
    const ComponentRow* componentRow = FindRow(componentTable, components);
    if (componentRow == nullptr) {
        Fail("The application delivered an image of the unknown kind \"" + components +
             "\". Convert the clip to RGBA before the effect.");
    }
    channels = componentRow->channels;
    hasAlpha = componentRow->hasAlpha;
    // Anything else, such as "opaque", leaves colour as it is, which is how premultiplied pixels are treated.
    premultiplied =
        image.Text(kOfxImageEffectPropPreMultiplication, kOfxImagePreMultiplied) != kOfxImageUnPreMultiplied;
}

void Layer::ReadGeometry() {
    const PropertySet image(owner->propertySuite, clipImage.Handle());
    isHostDeviceBuffer = owner->hostDeviceEnabled();
    bounds = {image.NeedInt(kOfxImagePropBounds, 0), image.NeedInt(kOfxImagePropBounds, 1),
              image.NeedInt(kOfxImagePropBounds, 2), image.NeedInt(kOfxImagePropBounds, 3)};
    validBounds = bounds;
    rowBytes = image.NeedInt(kOfxImagePropRowBytes);
    aspect = static_cast<float>(image.Double(kOfxImagePropPixelAspectRatio, 1.0));
    const std::string field = image.Text(kOfxImagePropField, kOfxImageFieldNone);
    fieldScale = field == kOfxImageFieldLower || field == kOfxImageFieldUpper ? 0.5F : 1.0F;
    const auto scale = owner->renderScale();
    scaleX = static_cast<float>(scale[0]);
    scaleY = static_cast<float>(scale[1]);

    if (IP::IsEmpty(bounds)) {
        Fail("The application delivered an image without any pixel. Check the clip and its size there.");
    }
    const std::int64_t width = std::int64_t{bounds.x2} - bounds.x1;
    const std::int64_t height = std::int64_t{bounds.y2} - bounds.y1;
    if (width * PixelBytes() > INT_MAX || height > INT_MAX) {
        Fail("The application delivered an image that is too large. Lower the resolution there.");
    }
    if (height > 1 && std::abs(std::int64_t{rowBytes}) < width * PixelBytes()) {
        Fail("The application delivered an image whose rows (" + std::to_string(rowBytes) +
             " bytes) are shorter than " + std::to_string(width) + " pixels. Report this to its maker.");
    }
    data = static_cast<unsigned char*>(image.Pointer(kOfxImagePropData));
    if (data == nullptr) {
        Fail(
            "The application delivered an image without pixel data. Render again; if it stays, switch the "
            "application's GPU processing off.");
    }
}

void Layer::Allocate(const IP::Bounds& region, int bits, int channelCount) {
    Release();
    channelBits = bits;
    channels = channelCount;
    hostIsFloat = bits == 32;
    hasAlpha = channelCount != 3;
    if (IP::IsEmpty(region)) {
        return;
    }
    const auto roundTo = static_cast<std::int64_t>(hostRowBytesRounding ? alignment : 1);
    const std::int64_t width = std::int64_t{region.x2} - region.x1;
    const std::int64_t height = std::int64_t{region.y2} - region.y1;
    const std::int64_t row = (width * PixelBytes() + roundTo - 1) / roundTo * roundTo;
    if (row > INT_MAX || height > INT_MAX) {
        throw std::bad_alloc();
    }
    memory.Allocate(static_cast<std::size_t>(row) * static_cast<std::size_t>(height));
    data = static_cast<unsigned char*>(memory.Data());
    rowBytes = static_cast<std::int32_t>(row);
    bounds = region;
    validBounds = region;
}

void Layer::ShareRegion(const Layer& other, const IP::Bounds& region) {
    Release();
    const IP::Bounds clipped = Within(region, other.bounds);
    channelBits = other.channelBits;
    channels = other.channels;
    hostIsFloat = other.hostIsFloat;
    hasAlpha = other.hasAlpha;
    premultiplied = other.premultiplied;
    isHostDeviceBuffer = other.isHostDeviceBuffer;
    scaleX = other.scaleX;
    scaleY = other.scaleY;
    aspect = other.aspect;
    fieldScale = other.fieldScale;
    rowBytes = other.rowBytes;
    bounds = clipped;
    validBounds = IP::Intersect(other.validBounds, clipped);
    data = other.data == nullptr ? nullptr : other.PixelAddress(clipped.x1, clipped.y1);
}

void Layer::NarrowTo(const IP::Bounds& region) {
    if (data == nullptr || isHostDeviceBuffer) {
        return;
    }
    const IP::Bounds narrow = Within(region, bounds);
    data = PixelAddress(narrow.x1, narrow.y1);
    bounds = narrow;
    validBounds = IP::Intersect(validBounds, narrow);
}

void Layer::ExtendTo(const IP::Bounds& region) {
    Layer wide(*owner);
    wide.Allocate(region, channelBits, channels);
    std::memset(wide.data, 0, wide.memory.Size());
    const IP::Bounds known = IP::Intersect(bounds, region);
    for (int y = known.y1; y < known.y2 && known.x1 < known.x2; ++y) {
        std::memcpy(wide.PixelAddress(known.x1, y), PixelAddress(known.x1, y),
                    static_cast<std::size_t>(IP::Width(known)) * static_cast<std::size_t>(PixelBytes()));
    }
    wide.hostIsFloat = hostIsFloat;
    wide.hasAlpha = hasAlpha;
    wide.premultiplied = premultiplied;
    wide.scaleX = scaleX;
    wide.scaleY = scaleY;
    wide.aspect = aspect;
    wide.fieldScale = fieldScale;
    *this = std::move(wide);
}

void Layer::Release() noexcept {
    clipImage.Release();
    memory.Free();
    data = nullptr;
    isHostDeviceBuffer = false;
    bounds = validBounds = {0, 0, 0, 0};
}

unsigned char* Layer::PixelAddress(int x, int y) const {
    return data + (std::int64_t{y} - bounds.y1) * rowBytes + (std::int64_t{x} - bounds.x1) * PixelBytes();
}

}  // namespace TQ::Host::OFX
