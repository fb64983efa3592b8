#include "app/picture/Picture.h"

#include <new>

#include "platform/Platform.h"

namespace TQ::App {

namespace {

constexpr std::size_t alignment = 64;

/// An odd number of cache lines: a filter's window takes pixels from above each other, and at a power of two
/// these would fall into a few sets of the processor's caches (in 4096 columns that cost a fifth).
std::size_t RowPitch(std::size_t bytes) {
    return ((bytes + alignment - 1) / alignment | 1) * alignment;
}

}  // namespace

int BytesPerSample(SampleDepth depth) {
    switch (depth) {
        case SampleDepth::Byte:
            return 1;
        case SampleDepth::Short:
            return 2;
        case SampleDepth::Float:
            return 4;
    }
    return 0;
}

Picture::Picture(int width, int height, SampleDepth depth)
    : _width(width),
      _height(height),
      _depth(depth),
      _rowBytes(
          RowPitch(static_cast<std::size_t>(width) * 4 * static_cast<std::size_t>(BytesPerSample(depth)))),
      _pixels(static_cast<std::uint8_t*>(Platform::NewBlock(_rowBytes * static_cast<std::size_t>(height)))) {
    if (_pixels == nullptr) {
        throw std::bad_alloc();
    }
}

Picture::~Picture() {
    Platform::DeleteBlock(_pixels, Bytes());
}

}  // namespace TQ::App
