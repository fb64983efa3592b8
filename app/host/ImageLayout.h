#pragma once

#include <cstddef>
#include <cstdint>

#include "app/host/HostProfile.h"
#include "host/ofx/abi/OfxCore.h"

namespace TQ::App {

/// Pixels as the interface counts them: the leftmost of the lowest row, and the way to the row above.
struct Raster {
    std::uint8_t* pixels = nullptr;
    std::ptrdiff_t rowBytes = 0;
};

inline int WidthOf(const OfxRectI& bounds) {
    return bounds.x2 - bounds.x1;
}
inline int HeightOf(const OfxRectI& bounds) {
    return bounds.y2 - bounds.y1;
}

/// What both have in common; of no size where that is nothing.
OfxRectI Intersection(const OfxRectI& a, const OfxRectI& b);

/// The part `bounds` of a picture that covers `whole`. `upright`: row numbers grow from the picture's bottom
/// to its top, otherwise the other way. The pixels are the picture's own; whether they may be written is for
/// the caller to know.
Raster RasterOf(const Picture& picture, const OfxRectI& whole, const OfxRectI& bounds, bool upright);

/// Copies rows of `bytes` bytes.
void CopyRows(const Raster& from, const Raster& to, int rows, std::size_t bytes);

}  // namespace TQ::App
