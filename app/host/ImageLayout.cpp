#include "app/host/ImageLayout.h"

#include <algorithm>
#include <cstring>

namespace TQ::App {

OfxRectI Intersection(const OfxRectI& a, const OfxRectI& b) {
    OfxRectI both{std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)};
    both.x2 = std::max(both.x1, both.x2);
    both.y2 = std::max(both.y1, both.y2);
    return both;
}

Raster RasterOf(const Picture& picture, const OfxRectI& whole, const OfxRectI& bounds, bool upright) {
    const auto rowBytes = static_cast<std::ptrdiff_t>(picture.RowBytes());
    // A picture has its top row first.
    const int row = upright ? whole.y2 - 1 - bounds.y1 : bounds.y1 - whole.y1;
    const int pixelBytes = 4 * BytesPerSample(picture.Depth());
    const std::ptrdiff_t column = std::ptrdiff_t{bounds.x1 - whole.x1} * pixelBytes;
    return {const_cast<std::uint8_t*>(picture.Row(row)) + column, upright ? -rowBytes : rowBytes};
}

void CopyRows(const Raster& from, const Raster& to, int rows, std::size_t bytes) {
    for (std::ptrdiff_t row = 0; row < rows; ++row) {
        std::memcpy(to.pixels + row * to.rowBytes, from.pixels + row * from.rowBytes, bytes);
    }
}

}  // namespace TQ::App
