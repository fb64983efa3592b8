#pragma once

// Resampling through a flow field (see ip/filters/WarpFilter.h). The two rows are interpolated first, then
// what they give, which leaves an even area exactly as it was. The vector levels take 8-bit pixels in
// integers (see WarpBytes.h), all else is a + f (b - a) without fused multiply-adds, where a pixel's four
// channels are one vector: so floats agree at all levels to the last bit.
//
// Vectors of targets whose neighbours all lie inside the picture are read without looking at its edges; the
// rest goes pixel by pixel, with the same arithmetic. Included by the level files only; see Vector.h.

#include "ip/kernels/PixelAccess.h"
#include "ip/kernels/StreamStores.h"
#include "ip/kernels/WarpBytes.h"
#include "ip/kernels/WarpVector.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

#if TQ_LANES > 1
using Four = float __attribute__((vector_size(16)));

/// Four neighbouring channels. Written in SSE2, as the compiler takes small vectors apart.
template <class Channel>
TQ_INLINE Four LoadFour(const unsigned char* source) {
    if constexpr (sizeof(Channel) == 2) {
        const __m128i shorts = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source));
        return _mm_cvtepi32_ps(_mm_unpacklo_epi16(shorts, _mm_setzero_si128()));
    } else {
        return Read<Four>(source);
    }
}

/// Integers are truncated; `value` lies within their range.
template <class Channel>
TQ_INLINE void StoreFour(unsigned char* target, Four value) {
    if constexpr (sizeof(Channel) == 2) {
#ifdef __SSE4_1__
        const __m128i codes = _mm_cvttps_epi32(value);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target), _mm_packus_epi32(codes, codes));
#else
        // The packing is a signed one: the range is moved there and back.
        const __m128i moved = _mm_sub_epi32(_mm_cvttps_epi32(value), _mm_set1_epi32(32768));
        const __m128i packed = _mm_packs_epi32(moved, moved);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target), _mm_xor_si128(packed, _mm_set1_epi16(-32768)));
#endif
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

/// The kernel's inputs, and of the picture what the fast loop needs, by value: in the images' own records the
/// stores to the output might change it, as far as the compiler knows.
struct WarpSource {
    const ImageView& image;
    const ImageView& flow;
    const unsigned char* upper;
    const unsigned char* lower;  ///< one row further
    std::int32_t x1, y1, rowBytes;
    std::uint32_t columns, rows;  ///< where an upper left neighbour has the other three in the picture
    bool isSmall;  ///< offsets within the picture fit 32 bits, and positions in 1 / fractionOne of a pixel
};

inline WarpSource MakeWarpSource(const ImageView& image, const ImageView& flow) {
    constexpr int farthest = 1 << 16;
    const Bounds& b = image.bounds;
    const std::int64_t width = static_cast<std::int64_t>(b.x2) - b.x1;
    const std::int64_t height = static_cast<std::int64_t>(b.y2) - b.y1;
    const std::int64_t rowBytes = image.rowBytes < 0 ? -image.rowBytes : image.rowBytes;
    const bool isNear = b.x1 > -farthest && b.y1 > -farthest && b.x2 < farthest && b.y2 < farthest;
    return {image,
            flow,
            image.data,
            image.data + image.rowBytes,
            b.x1,
            b.y1,
            static_cast<std::int32_t>(image.rowBytes),
            static_cast<std::uint32_t>(width - 1),
            static_cast<std::uint32_t>(height - 1),
            isNear && height * rowBytes <= INT32_MAX};
}

constexpr int flowBytes = 16;

/// One axis of a sample position: the two neighbours, limited to begin..end - 1, and the fraction between
/// them, also in 1 / fractionOne.
struct WarpTap {
    int first, second;
    float fraction;
    int parts;
};

TQ_INLINE std::int64_t WholeBelow(float value) {
    const auto whole = static_cast<std::int64_t>(value);
    return whole - (static_cast<float>(whole) > value ? 1 : 0);
}

TQ_INLINE WarpTap TapAt(float position, int begin, int end) {
    // Beyond one pixel outside nothing changes any more. Written so that a flow that is not a number lands
    // here too.
    const auto low = static_cast<float>(begin - 1);
    const auto high = static_cast<float>(end);
    position = position > low ? position : low;
    position = position < high ? position : high;
    const auto whole = static_cast<int>(WholeBelow(position));
    // Not from the fraction, which is rounded just below 0.
    const auto parts = static_cast<int>(WholeBelow(position * fractionOne) & (fractionOne - 1));
    return {Clamp(whole, begin, end - 1), Clamp(whole + 1, begin, end - 1),
            position - static_cast<float>(whole), parts};
}

/// The four neighbours of a sample, and where it lies between them.
struct WarpSample {
    const unsigned char* upperLeft;
    const unsigned char* upperRight;
    const unsigned char* lowerLeft;
    const unsigned char* lowerRight;
    const WarpTap& column;
    const WarpTap& row;
};

template <class Channel>
TQ_INLINE void StoreSample(unsigned char* target, const WarpSample& s) {
    if constexpr (lanes > 1 && sizeof(Channel) == 1) {
        for (int i = 0; i < 4; ++i) {
            const int left = MixCodes(s.upperLeft[i], s.lowerLeft[i], s.row.parts) >> droppedBits;
            const int right = MixCodes(s.upperRight[i], s.lowerRight[i], s.row.parts) >> droppedBits;
            target[i] = static_cast<unsigned char>(MixCodes(left, right, s.column.parts) >> lastBits);
        }
    } else {
        const Four upperLeft = LoadFour<Channel>(s.upperLeft);
        const Four upperRight = LoadFour<Channel>(s.upperRight);
        const Four left = upperLeft + (LoadFour<Channel>(s.lowerLeft) - upperLeft) * s.row.fraction;
        const Four right = upperRight + (LoadFour<Channel>(s.lowerRight) - upperRight) * s.row.fraction;
        StoreFour<Channel>(target, left + (right - left) * s.column.fraction);
    }
}

/// Pixel by pixel, with every neighbour limited to the picture.
template <class Channel>
[[gnu::noinline]] void WarpAnywhere(const WarpSource& source, unsigned char* target, int x, int y,
                                    int count) {
    constexpr int pixelBytes = 4 * static_cast<int>(sizeof(Channel));
    const ImageView& image = source.image;
    const Bounds& b = image.bounds;
    const unsigned char* flow = PixelAt(source.flow, x, y, flowBytes);
    for (int i = 0; i < count; ++i, flow += flowBytes, target += pixelBytes) {
        const WarpTap column = TapAt(static_cast<float>(x + i) + Read<float>(flow), b.x1, b.x2);
        const WarpTap row = TapAt(static_cast<float>(y) + Read<float>(flow + 4), b.y1, b.y2);
        const WarpSample sample{PixelAt(image, column.first, row.first, pixelBytes),
                                PixelAt(image, column.second, row.first, pixelBytes),
                                PixelAt(image, column.first, row.second, pixelBytes),
                                PixelAt(image, column.second, row.second, pixelBytes),
                                column,
                                row};
        StoreSample<Channel>(target, sample);
    }
}

#if TQ_LANES > 1
#if TQ_LANES == 16
/// Two neighbouring pixels from each of two places.
template <class Channel>
TQ_INLINE F LoadNeighbours(const unsigned char* first, const unsigned char* second) {
    if constexpr (sizeof(Channel) == 2) {
        const __m256i shorts =
            _mm256_inserti128_si256(_mm256_castsi128_si256(Read<__m128i>(first)), Read<__m128i>(second), 1);
        return _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(shorts));
    } else {
        return _mm512_insertf32x8(_mm512_castps256_ps512(Read<__m256>(first)), Read<__m256>(second), 1);
    }
}

/// Four floats, each in all channels of a pixel: of the pixels that `order` names.
TQ_INLINE F SpreadFractions(const float* fractions, __m512i order) {
    return _mm512_permutevar_ps(_mm512_broadcast_f32x4(Read<__m128>(fractions)), order);
}

/// Four pixels at a time: the rows of two of them fill a vector, and so does what the rows gave for all four.
template <class Channel>
TQ_INLINE void MixInside(const WarpSource& source, const std::int32_t (&offsets)[lanes],
                         const float (&columns)[lanes], const float (&rows)[lanes], unsigned char* target) {
    const __m512i all = _mm512_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
    const __m512i early = _mm512_srli_epi32(all, 1);
    const __m512i late = _mm512_add_epi32(early, _mm512_set1_epi32(2));
    const auto mixRows = [&](int i, F fractions) {
        const F above = LoadNeighbours<Channel>(source.upper + offsets[i], source.upper + offsets[i + 1]);
        const F below = LoadNeighbours<Channel>(source.lower + offsets[i], source.lower + offsets[i + 1]);
        return above + (below - above) * fractions;
    };
    for (int i = 0; i < lanes; i += 4) {
        const F first = mixRows(i, SpreadFractions(rows + i, early));
        const F second = mixRows(i + 2, SpreadFractions(rows + i, late));
        const F left = _mm512_shuffle_f32x4(first, second, 0x88);
        const F right = _mm512_shuffle_f32x4(first, second, 0xDD);
        const F mixed = left + (right - left) * SpreadFractions(columns + i, all);
        if constexpr (sizeof(Channel) == 2) {
            StoreShorts(target + 8 * i, Truncate(mixed));
        } else {
            Write(target + 16 * i, mixed);
        }
    }
}
#else
#if TQ_LANES == 8
/// Two neighbouring pixels.
using Two = float __attribute__((vector_size(32)));

template <class Channel>
TQ_INLINE Two LoadTwo(const unsigned char* source) {
    if constexpr (sizeof(Channel) == 2) {
        return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(Read<__m128i>(source)));
    } else {
        return Read<Two>(source);
    }
}

TQ_INLINE Four LeftOf(Two pixels) {
    return _mm256_castps256_ps128(pixels);
}

TQ_INLINE Four RightOf(Two pixels) {
    return _mm256_extractf128_ps(pixels, 1);
}
#else
struct Two {
    Four left, right;
};

TQ_INLINE Two operator+(Two x, Two y) {
    return {x.left + y.left, x.right + y.right};
}

TQ_INLINE Two operator-(Two x, Two y) {
    return {x.left - y.left, x.right - y.right};
}

TQ_INLINE Two operator*(Two x, float factor) {
    return {x.left * factor, x.right * factor};
}

template <class Channel>
TQ_INLINE Two LoadTwo(const unsigned char* source) {
    return {LoadFour<Channel>(source), LoadFour<Channel>(source + 4 * sizeof(Channel))};
}

TQ_INLINE Four LeftOf(Two pixels) {
    return pixels.left;
}

TQ_INLINE Four RightOf(Two pixels) {
    return pixels.right;
}
#endif

template <class Channel>
TQ_INLINE void MixInside(const WarpSource& source, const std::int32_t (&offsets)[lanes],
                         const float (&columns)[lanes], const float (&rows)[lanes], unsigned char* target) {
    for (int i = 0; i < lanes; ++i) {
        const Two above = LoadTwo<Channel>(source.upper + offsets[i]);
        const Two below = LoadTwo<Channel>(source.lower + offsets[i]);
        const Two between = above + (below - above) * rows[i];
        const Four left = LeftOf(between);
        StoreFour<Channel>(target + i * 4 * static_cast<int>(sizeof(Channel)),
                           left + (RightOf(between) - left) * columns[i]);
    }
}
#endif

/// `lanes` neighbouring sample positions.
struct WarpPositions {
    F x, y;
};

TQ_INLINE WarpPositions ReadPositions(const unsigned char* flow, float x, float y) {
    static constexpr float laneNumbers[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    F c[4];
    LoadFloats(flow, c);
    return {Read<F>(laneNumbers) + x + c[0], c[1] + y};
}

/// The offsets of the upper left neighbours. Returns false when a neighbour lies outside the picture.
template <int PixelBytes>
TQ_INLINE bool FindOffsets(const WarpSource& source, I left, I upper, std::int32_t (&offsets)[lanes]) {
    const U column = reinterpret_cast<U>(left) - static_cast<std::uint32_t>(source.x1);
    const U row = reinterpret_cast<U>(upper) - static_cast<std::uint32_t>(source.y1);
    Write(offsets, row * static_cast<std::uint32_t>(source.rowBytes) + column * std::uint32_t{PixelBytes});
    if (!AllBelow(column, source.columns) || !AllBelow(row, source.rows)) {
        return false;
    }
    Prefetch<lanes * PixelBytes>(source.lower + offsets[0] + 2 * std::int64_t{source.rowBytes});
    return true;
}

TQ_INLINE bool WarpBytesInside(const WarpSource& source, WarpPositions at, unsigned char* target) {
    std::int32_t offsets[lanes];
    const I x = Floor(at.x * fractionOne);
    const I y = Floor(at.y * fractionOne);
    if (!FindOffsets<4>(source, x >> fractionBits, y >> fractionBits, offsets)) {
        return false;
    }
#if TQ_LANES == 16
    asm("" : "+m"(offsets));  // each is read where it lies, which is faster than to take it out of a vector
#endif
    Write(target,
          MixPixels(source.upper, source.lower, offsets, x & (fractionOne - 1), y & (fractionOne - 1)));
    return true;
}

template <class Channel>
TQ_INLINE bool WarpPixelsInside(const WarpSource& source, WarpPositions at, unsigned char* target) {
    constexpr int pixelBytes = 4 * static_cast<int>(sizeof(Channel));
    std::int32_t offsets[lanes];
    const I left = Floor(at.x);
    const I upper = Floor(at.y);
    if (!FindOffsets<pixelBytes>(source, left, upper, offsets)) {
        return false;
    }
    float columns[lanes];
    float rows[lanes];
    Write(columns, at.x - ToFloat(left));
    Write(rows, at.y - ToFloat(upper));
    MixInside<Channel>(source, offsets, columns, rows, target);
    return true;
}

/// `lanes` pixels whose neighbours all lie inside the picture. Returns false otherwise.
template <class Channel>
TQ_INLINE bool WarpInside(const WarpSource& source, WarpPositions at, unsigned char* target) {
    if constexpr (sizeof(Channel) == 1) {
        return WarpBytesInside(source, at, target);
    } else {
        return WarpPixelsInside<Channel>(source, at, target);
    }
}
#endif

template <class Channel>
TQ_INLINE void WarpRow(const WarpSource& source, unsigned char* target, int x, int end, int y,
                       [[maybe_unused]] bool stream) {
#if TQ_LANES > 1
    constexpr int pixelBytes = 4 * static_cast<int>(sizeof(Channel));
    // Pixels that go through a buffer on their way past the caches; more of them at once take longer.
    constexpr int most = 256 / pixelBytes;
    static_assert(most % lanes == 0);
    alignas(64) unsigned char buffer[most * pixelBytes];
    const auto fy = static_cast<float>(y);
    while (source.isSmall && x + lanes <= end) {
        const int count = Smaller(most, (end - x) / lanes * lanes);
        unsigned char* to = stream ? buffer : target;
        const unsigned char* flow = PixelAt(source.flow, x, y, flowBytes);
        for (int i = 0; i < count; i += lanes, to += lanes * pixelBytes, flow += lanes * flowBytes) {
            Prefetch<lanes * flowBytes>(flow + source.flow.rowBytes);
            if (!WarpInside<Channel>(source, ReadPositions(flow, static_cast<float>(x + i), fy), to)) {
                WarpAnywhere<Channel>(source, to, x + i, y, lanes);
            }
        }
        if (stream) {
            CopyOrStream(target, buffer, count * pixelBytes, true);
        }
        x += count;
        target += count * pixelBytes;
    }
#endif
    WarpAnywhere<Channel>(source, target, x, y, end - x);
}

template <class Storage>
bool RunWarp(const ImageView& output, const ImageView* inputs, const Bounds& band, const void*,
             Image::Progress& progress) {
    using Channel = typename Storage::Channel;
    constexpr int pixelBytes = 4 * static_cast<int>(sizeof(Channel));
    const WarpSource source = MakeWarpSource(inputs[0], inputs[1]);
    const bool stream = IsStreamed(output, pixelBytes);
    for (int y = band.y1; y < band.y2; ++y) {
        WarpRow<Channel>(source, PixelAt(output, band.x1, y, pixelBytes), band.x1, band.x2, y, stream);
        ReportRow(progress, band, y);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
