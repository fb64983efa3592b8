#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace TQ::App {

/// How the host's pixels are stored: always four channels, red, green, blue, alpha.
enum class SampleDepth { Byte, Short, Float };

int BytesPerSample(SampleDepth depth);

/// One RGBA picture in memory that this host owns. Rows run from the top of the picture to its bottom,
/// `rowBytes` apart (an odd multiple of 64); the block is aligned to 64 bytes. Byte samples have white 255,
/// Short 65535, Float 1.
class Picture {
  public:
    /// Uninitialised pixels. Throws std::bad_alloc. Width and height are at least 1.
    Picture(int width, int height, SampleDepth depth);
    ~Picture();
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    int Width() const { return _width; }
    int Height() const { return _height; }
    SampleDepth Depth() const { return _depth; }
    std::size_t RowBytes() const { return _rowBytes; }
    std::size_t Bytes() const { return _rowBytes * static_cast<std::size_t>(_height); }
    /// Row 0 is the top row.
    std::uint8_t* Row(int y) { return _pixels + _rowBytes * static_cast<std::size_t>(y); }
    const std::uint8_t* Row(int y) const { return _pixels + _rowBytes * static_cast<std::size_t>(y); }

  private:
    int _width;
    int _height;
    SampleDepth _depth;
    std::size_t _rowBytes;
    std::uint8_t* _pixels;
};

using PicturePointer = std::shared_ptr<Picture>;
using ConstPicturePointer = std::shared_ptr<const Picture>;

}  // namespace TQ::App
