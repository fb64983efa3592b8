#pragma once

// One colour everywhere. Included by the level files only; see Vector.h.

#include "ip/kernels/KernelParameters.h"
#include "ip/kernels/PixelAccess.h"
#include "ip/kernels/StreamStores.h"
#include "ip/records/Progress.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// Stores one vector of pixels, or the first `count` of it.
template <class Format>
TQ_INLINE void StoreSome(unsigned char* target, const Pixel& pixel, int count) {
    if (count == lanes) {
        Format::Store(target, pixel);
        return;
    }
    unsigned char buffer[Format::vectorBytes];
    Format::Store(buffer, pixel);
    Copy(target, buffer, count * Format::pixelBytes);
}

/// The colour with its channels in the order of memory.
template <bool BlueFirst>
TQ_INLINE Color InMemoryOrder(Color color) {
    return BlueFirst ? Color{color.b, color.g, color.r} : color;
}

TQ_INLINE Color SplatColor(const float (&rgb)[3]) {
    return {Splat(rgb[0]), Splat(rgb[1]), Splat(rgb[2])};
}

/// Fills a row with a pattern of whole pixels.
template <int PixelBytes>
TQ_INLINE void FillRow(unsigned char* target, __m128i pattern, int pixels, bool stream) {
    unsigned char* const end = target + static_cast<std::int64_t>(pixels) * PixelBytes;
    for (; stream && target < end && !IsAligned(target); target += PixelBytes) {
        __builtin_memcpy(target, &pattern, PixelBytes);
    }
    for (; end - target >= 16; target += 16) {
        StoreOrStream(target, pattern, stream);
    }
    Copy(target, reinterpret_cast<const unsigned char*>(&pattern), static_cast<int>(end - target));
}

template <class Format, bool BlueFirst>
bool RunSolid(const ImageView& output, const ImageView*, const Bounds& band, const void* parameters,
              Image::Progress& progress) {
    const auto& record = *static_cast<const SolidParameters*>(parameters);
    const Pixel pixel = {InMemoryOrder<BlueFirst>(SplatColor(record.color)), Splat(1)};
    unsigned char packed[Format::vectorBytes];
    Format::Store(packed, pixel);
    unsigned char pattern[16];
    for (int i = 0; i < 16; i += Format::pixelBytes) {
        __builtin_memcpy(pattern + i, packed, Format::pixelBytes);
    }
    const bool stream = IsStreamed(output, Format::pixelBytes);
    for (int y = band.y1; y < band.y2; ++y) {
        FillRow<Format::pixelBytes>(PixelAt(output, band.x1, y, Format::pixelBytes), Read<__m128i>(pattern),
                                    band.x2 - band.x1, stream);
        ReportRow(progress, band, y);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
