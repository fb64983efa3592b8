#pragma once

// Resampling through a flow field (see ip/filters/WarpFilter.h). A pixel's four channels are one vector, and
// the four neighbours are interpolated as a + f (b - a), which leaves an even area exactly as it was.
// Included by the level files only; see Vector.h.

#include "ip/kernels/PixelAccess.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

#if TQ_LANES > 1
using Four = float __attribute__((vector_size(16)));

TQ_INLINE Four FromIntegers(__m128i whole) {
    return _mm_cvtepi32_ps(whole);
}

/// Four neighbouring channels. Written in SSE2, as the compiler takes vectors of four bytes apart.
template <class Channel>
TQ_INLINE Four LoadFour(const unsigned char* source) {
    const __m128i zero = _mm_setzero_si128();
    if constexpr (sizeof(Channel) == 1) {
        const __m128i bytes = _mm_cvtsi32_si128(Read<std::int32_t>(source));
        return FromIntegers(_mm_unpacklo_epi16(_mm_unpacklo_epi8(bytes, zero), zero));
    } else if constexpr (sizeof(Channel) == 2) {
        const __m128i shorts = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source));
        return FromIntegers(_mm_unpacklo_epi16(shorts, zero));
    } else {
        return Read<Four>(source);
    }
}

/// Integers are truncated; `value` lies within their range.
template <class Channel>
TQ_INLINE void StoreFour(unsigned char* target, Four value) {
    if constexpr (sizeof(Channel) == 1) {
        const __m128i shorts = _mm_packs_epi32(_mm_cvttps_epi32(value), _mm_setzero_si128());
        Write(target, _mm_cvtsi128_si32(_mm_packus_epi16(shorts, shorts)));
    } else if constexpr (sizeof(Channel) == 2) {
        // The packing is a signed one: the range is moved there and back.
        const __m128i moved = _mm_sub_epi32(_mm_cvttps_epi32(value), _mm_set1_epi32(32768));
        const __m128i packed = _mm_packs_epi32(moved, moved);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target), _mm_xor_si128(packed, _mm_set1_epi16(-32768)));
    } else {
        Write(target, value);
    }
}
#else
struct Four {
    float c[4];
};

TQ_INLINE Four operator+(Four x, Four y) {
    return {{x.c[0] + y.c[0], x.c[1] + y.c[1], x.c[2] + y.c[2], x.c[3] + y.c[3]}};
}

TQ_INLINE Four operator-(Four x, Four y) {
    return {{x.c[0] - y.c[0], x.c[1] - y.c[1], x.c[2] - y.c[2], x.c[3] - y.c[3]}};
}

TQ_INLINE Four operator*(Four x, float factor) {
    return {{x.c[0] * factor, x.c[1] * factor, x.c[2] * factor, x.c[3] * factor}};
}

template <class Channel>
TQ_INLINE Four LoadFour(const unsigned char* source) {
    Four value{};
    for (int i = 0; i < 4; ++i) {
        value.c[i] = static_cast<float>(Read<Channel>(source + i * static_cast<int>(sizeof(Channel))));
    }
    return value;
}

template <class Channel>
TQ_INLINE void StoreFour(unsigned char* target, Four value) {
    for (int i = 0; i < 4; ++i) {
        Write(target + i * static_cast<int>(sizeof(Channel)), static_cast<Channel>(value.c[i]));
    }
}
#endif

/// One axis of a sample position: the two neighbours, limited to begin..end - 1, and the fraction between
/// them.
struct WarpTap {
    int first, second;
    float fraction;
};

TQ_INLINE WarpTap TapAt(float position, int begin, int end) {
    // Beyond one pixel outside nothing changes any more. Written so that a flow that is not a number lands
    // here too.
    const auto low = static_cast<float>(begin - 1);
    const auto high = static_cast<float>(end);
    position = position > low ? position : low;
    position = position < high ? position : high;
    int whole = static_cast<int>(position);
    whole -= static_cast<float>(whole) > position ? 1 : 0;
    return {Clamp(whole, begin, end - 1), Clamp(whole + 1, begin, end - 1),
            position - static_cast<float>(whole)};
}

template <class Storage>
bool RunWarp(const ImageView& output, const ImageView* inputs, const Bounds& band, const void*,
             Image::Progress& progress) {
    using Channel = typename Storage::Channel;
    constexpr int pixelBytes = 4 * static_cast<int>(sizeof(Channel));
    constexpr int flowBytes = 16;
    const ImageView& image = inputs[0];
    const Bounds& b = image.bounds;
    for (int y = band.y1; y < band.y2; ++y) {
        unsigned char* target = PixelAt(output, band.x1, y, pixelBytes);
        const unsigned char* flow = PixelAt(inputs[1], band.x1, y, flowBytes);
        for (int x = band.x1; x < band.x2; ++x) {
            const WarpTap column = TapAt(static_cast<float>(x) + Read<float>(flow), b.x1, b.x2);
            const WarpTap row = TapAt(static_cast<float>(y) + Read<float>(flow + 4), b.y1, b.y2);
            const unsigned char* upper = RowAt(image, row.first);
            const unsigned char* lower = RowAt(image, row.second);
            const std::int64_t left = static_cast<std::int64_t>(column.first - b.x1) * pixelBytes;
            const std::int64_t right = static_cast<std::int64_t>(column.second - b.x1) * pixelBytes;
            const Four upperLeft = LoadFour<Channel>(upper + left);
            const Four lowerLeft = LoadFour<Channel>(lower + left);
            const Four above = upperLeft + (LoadFour<Channel>(upper + right) - upperLeft) * column.fraction;
            const Four below = lowerLeft + (LoadFour<Channel>(lower + right) - lowerLeft) * column.fraction;
            StoreFour<Channel>(target, above + (below - above) * row.fraction);
            target += pixelBytes;
            flow += flowBytes;
        }
        ReportRow(progress, band, y);
    }
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
