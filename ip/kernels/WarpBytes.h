#pragma once

// The warp of 8-bit pixels in integers: fractions in 1 / 16384, which is finer than what is lost by storing
// whole codes. Included by the level files only; see Vector.h.

#include "ip/kernels/RawVector.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int fractionBits = 14;
constexpr int fractionOne = 1 << fractionBits;
/// Of the mean of two rows this many bits are dropped, so that it fits 16 bits with a sign.
constexpr int droppedBits = 7;
constexpr int lastBits = 2 * fractionBits - droppedBits;

/// (1 - fraction) a + fraction b, times fractionOne.
TQ_INLINE int MixCodes(int a, int b, int fraction) {
    return a * (fractionOne - fraction) + b * fraction;
}

#if TQ_LANES > 1
/// Two neighbouring pixels from each of two places for each group: those of offsets[4 g + First] and the
/// next.
template <int First>
TQ_INLINE Raw LoadNeighbours(const unsigned char* data, const std::int32_t (&offsets)[lanes]) {
    // Loads, as gathers are slow on some processors.
    const auto at = [&](int i) { return Read<std::int64_t>(data + offsets[i + First]); };
#if TQ_LANES == 16
    const auto group = [&](int i) { return _mm_set_epi64x(at(i + 1), at(i)); };
    return _mm512_inserti64x4(_mm512_castsi256_si512(_mm256_set_m128i(group(4), group(0))),
                              _mm256_set_m128i(group(12), group(8)), 1);
#elif TQ_LANES == 8
    return _mm256_set_epi64x(at(5), at(4), at(1), at(0));
#else
    return _mm_set_epi64x(at(1), at(0));
#endif
}

/// Two weights of 16 bits for each pixel, of the first and the second neighbour.
TQ_INLINE Raw WeightsOf(I fractions) {
    return reinterpret_cast<Raw>((fractions << 16) - fractions + fractionOne);
}

/// The upper halves of the integers from `high`, the lower from `low`.
TQ_INLINE Raw JoinHalves(Raw low, Raw high) {
#if TQ_LANES == 16
    return _mm512_ternarylogic_epi32(_mm512_set1_epi32(0xFFFF), low, high, 0xCA);
#elif TQ_LANES == 8
    return _mm256_blend_epi16(low, high, 0xAA);
#else
    return _mm_or_si128(low, _mm_andnot_si128(_mm_set1_epi32(0xFFFF), high));
#endif
}

/// One pixel of each group, as four integers. `rows`: its neighbours, bytes of the upper and the lower row in
/// turn, left before right.
template <int Index>
TQ_INLINE Raw MixPixel(Raw rows, Raw columnWeights, Raw rowWeights) {
    const Raw zero = Raw{};
    constexpr auto all = static_cast<_MM_PERM_ENUM>(Index * 0x55);
    const Raw down = TQ_RAW(shuffle_epi32)(rowWeights, all);
    const Raw across = TQ_RAW(shuffle_epi32)(columnWeights, all);
    const Raw left = TQ_RAW(madd_epi16)(TQ_RAW(unpacklo_epi8)(rows, zero), down);
    const Raw right = TQ_RAW(madd_epi16)(TQ_RAW(unpackhi_epi8)(rows, zero), down);
    const Raw both =
        JoinHalves(TQ_RAW(srli_epi32)(left, droppedBits), TQ_RAW(slli_epi32)(right, 16 - droppedBits));
    return TQ_RAW(srli_epi32)(TQ_RAW(madd_epi16)(both, across), lastBits);
}

/// `lanes` pixels. The offsets are of the upper left neighbours from `upper` on, and of the lower from
/// `lower` on.
TQ_INLINE Raw MixPixels(const unsigned char* upper, const unsigned char* lower,
                        const std::int32_t (&offsets)[lanes], I columnFractions, I rowFractions) {
    const Raw columns = WeightsOf(columnFractions);
    const Raw rows = WeightsOf(rowFractions);
    const Raw upper01 = LoadNeighbours<0>(upper, offsets);
    const Raw lower01 = LoadNeighbours<0>(lower, offsets);
    const Raw upper23 = LoadNeighbours<2>(upper, offsets);
    const Raw lower23 = LoadNeighbours<2>(lower, offsets);
    const Raw first = MixPixel<0>(TQ_RAW(unpacklo_epi8)(upper01, lower01), columns, rows);
    const Raw second = MixPixel<1>(TQ_RAW(unpackhi_epi8)(upper01, lower01), columns, rows);
    const Raw third = MixPixel<2>(TQ_RAW(unpacklo_epi8)(upper23, lower23), columns, rows);
    const Raw fourth = MixPixel<3>(TQ_RAW(unpackhi_epi8)(upper23, lower23), columns, rows);
    return TQ_RAW(packus_epi16)(TQ_RAW(packs_epi32)(first, second), TQ_RAW(packs_epi32)(third, fourth));
}
#endif

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
