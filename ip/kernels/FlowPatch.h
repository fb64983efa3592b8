#pragma once

// The patch of the moved picture at a position between pixels, compared with a patch of the reference.
// Included by the level files only; see Vector.h.
//
// All of it is 16-bit fixed point: grey values have 7 fractional bits, positions 15. Differences are rounded
// to 5 fractional bits, the most for which the sum of 64 squares fits 32 bits. The rounding is a hundredth of
// a grey level, far below that of the 8-bit grey values; in return all sums are exact and the same at every
// level.

#include "ip/kernels/FlowKernels.h"
#include "ip/kernels/Vector.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int positionBits = 15;
/// Differences are in units of 1 / differenceScale grey levels.
constexpr int differenceScale = 32;

/// Sums over a patch, d being the difference moved minus reference.
struct PatchSums {
    std::uint32_t squares;   ///< of d * d
    std::int32_t plain;      ///< of d
    std::int32_t gradientX;  ///< of d * gx
    std::int32_t gradientY;  ///< of d * gy
};

/// Where a patch of the moved picture begins.
struct PatchPosition {
    const std::int16_t* corner;
    std::int16_t fractionX, fractionY;  ///< in units of 2^-positionBits
};

#if TQ_LANES == 1

struct Patch {
    const std::int16_t* grey;
    std::int64_t greyPitch;
    const std::int16_t* gradientX;
    const std::int16_t* gradientY;
    std::int64_t gradientPitch;
};

TQ_INLINE Patch LoadPatch(const FlowLevel& level, int x, int y) {
    const std::int64_t gradient = y * level.gradientPitch + x;
    return {level.reference + y * level.referencePitch + x, level.referencePitch, level.gradientX + gradient,
            level.gradientY + gradient, level.gradientPitch};
}

/// a * b / 2^15, rounded to nearest.
TQ_INLINE int MultiplyFraction(int a, int fraction) {
    return (a * fraction + (1 << (positionBits - 1))) >> positionBits;
}

/// Moved minus reference at pixel (x, y) of the patch, in grey levels times flowGreyScale.
TQ_INLINE int Difference(const Patch& patch, const PatchPosition& position, std::int64_t pitch, int x,
                         int y) {
    const std::int16_t* top = position.corner + y * pitch + x;
    const std::int16_t* bottom = top + pitch;
    const int above = top[0] + MultiplyFraction(top[1] - top[0], position.fractionX);
    const int below = bottom[0] + MultiplyFraction(bottom[1] - bottom[0], position.fractionX);
    return above + MultiplyFraction(below - above, position.fractionY) - patch.grey[y * patch.greyPitch + x];
}

TQ_INLINE PatchSums ComparePatch(const Patch& patch, const PatchPosition& position, std::int64_t pitch) {
    PatchSums sums{};
    for (int y = 0; y < flowPatchSize; ++y) {
        for (int x = 0; x < flowPatchSize; ++x) {
            const int d = (Difference(patch, position, pitch, x, y) + 2) >> 2;
            const std::int64_t gradient = y * patch.gradientPitch + x;
            sums.squares += static_cast<std::uint32_t>(d * d);
            sums.plain += d;
            sums.gradientX += d * patch.gradientX[gradient];
            sums.gradientY += d * patch.gradientY[gradient];
        }
    }
    return sums;
}

/// The absolute differences of the patch row by row, at least one grey level, in grey levels times
/// flowGreyScale.
TQ_INLINE void PatchDistances(const Patch& patch, const PatchPosition& position, std::int64_t pitch,
                              std::int16_t* distances) {
    for (int i = 0; i < flowPatchSize * flowPatchSize; ++i) {
        const int d = Difference(patch, position, pitch, i % flowPatchSize, i / flowPatchSize);
        const int distance = d < 0 ? -d : d;
        distances[i] = static_cast<std::int16_t>(distance < flowGreyScale ? flowGreyScale : distance);
    }
}

#else

/// A vector holds this many rows of a patch, from the top.
constexpr int blockRows = lanes / 4;
constexpr int blockCount = flowPatchSize / blockRows;
using S = std::int16_t __attribute__((vector_size(16 * blockRows)));

#if TQ_LANES == 16

TQ_INLINE S LoadRows(const std::int16_t* source, std::int64_t pitch) {
    const __m256i upper = _mm256_inserti128_si256(_mm256_castsi128_si256(Read<__m128i>(source)),
                                                  Read<__m128i>(source + pitch), 1);
    const __m256i lower = _mm256_inserti128_si256(_mm256_castsi128_si256(Read<__m128i>(source + 2 * pitch)),
                                                  Read<__m128i>(source + 3 * pitch), 1);
    return reinterpret_cast<S>(_mm512_inserti64x4(_mm512_castsi256_si512(upper), lower, 1));
}

TQ_INLINE S LoadOneRow(const std::int16_t* source) {
    return reinterpret_cast<S>(_mm512_zextsi128_si512(Read<__m128i>(source)));
}

/// The rows of `a` from its second on, then the first row of `b`.
TQ_INLINE S NextRows(S a, S b) {
    return reinterpret_cast<S>(
        _mm512_alignr_epi64(reinterpret_cast<__m512i>(b), reinterpret_cast<__m512i>(a), 2));
}

TQ_INLINE S MultiplyFraction(S a, S fraction) {
    return reinterpret_cast<S>(
        _mm512_mulhrs_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(fraction)));
}

TQ_INLINE I MultiplyPairs(S a, S b) {
    return reinterpret_cast<I>(_mm512_madd_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}

TQ_INLINE S Larger(S a, S b) {
    return reinterpret_cast<S>(_mm512_max_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}

TQ_INLINE __m128i SumOfRows(__m512i value) {
    const __m256i half = _mm256_add_epi32(_mm512_castsi512_si256(value), _mm512_extracti64x4_epi64(value, 1));
    return _mm_add_epi32(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
}

TQ_INLINE __m512i ZipLow32(__m512i a, __m512i b) {
    return _mm512_unpacklo_epi32(a, b);
}

TQ_INLINE __m512i ZipHigh32(__m512i a, __m512i b) {
    return _mm512_unpackhi_epi32(a, b);
}

using Raw = __m512i;

#elif TQ_LANES == 8

TQ_INLINE S LoadRows(const std::int16_t* source, std::int64_t pitch) {
    return reinterpret_cast<S>(_mm256_inserti128_si256(_mm256_castsi128_si256(Read<__m128i>(source)),
                                                       Read<__m128i>(source + pitch), 1));
}

TQ_INLINE S LoadOneRow(const std::int16_t* source) {
    return reinterpret_cast<S>(_mm256_zextsi128_si256(Read<__m128i>(source)));
}

TQ_INLINE S NextRows(S a, S b) {
    return reinterpret_cast<S>(
        _mm256_permute2x128_si256(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b), 0x21));
}

TQ_INLINE S MultiplyFraction(S a, S fraction) {
    return reinterpret_cast<S>(
        _mm256_mulhrs_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(fraction)));
}

TQ_INLINE I MultiplyPairs(S a, S b) {
    return reinterpret_cast<I>(_mm256_madd_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}

TQ_INLINE S Larger(S a, S b) {
    return reinterpret_cast<S>(_mm256_max_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}

TQ_INLINE __m128i SumOfRows(__m256i value) {
    return _mm_add_epi32(_mm256_castsi256_si128(value), _mm256_extracti128_si256(value, 1));
}

TQ_INLINE __m256i ZipLow32(__m256i a, __m256i b) {
    return _mm256_unpacklo_epi32(a, b);
}

TQ_INLINE __m256i ZipHigh32(__m256i a, __m256i b) {
    return _mm256_unpackhi_epi32(a, b);
}

using Raw = __m256i;

#else

TQ_INLINE S LoadRows(const std::int16_t* source, std::int64_t /*pitch*/) {
    return Read<S>(source);
}

TQ_INLINE S LoadOneRow(const std::int16_t* source) {
    return Read<S>(source);
}

TQ_INLINE S NextRows(S /*a*/, S b) {
    return b;
}

/// SSE2 knows the upper and the lower half of the product only; the bit below the result rounds it.
TQ_INLINE S MultiplyFraction(S a, S fraction) {
    const auto x = reinterpret_cast<__m128i>(a);
    const auto y = reinterpret_cast<__m128i>(fraction);
    const __m128i high = _mm_mulhi_epi16(x, y);
    const __m128i low = _mm_mullo_epi16(x, y);
    const __m128i truncated = _mm_or_si128(_mm_slli_epi16(high, 1), _mm_srli_epi16(low, 15));
    const __m128i halfBit = _mm_and_si128(_mm_srli_epi16(low, 14), _mm_set1_epi16(1));
    return reinterpret_cast<S>(_mm_add_epi16(truncated, halfBit));
}

TQ_INLINE I MultiplyPairs(S a, S b) {
    return reinterpret_cast<I>(_mm_madd_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}

TQ_INLINE S Larger(S a, S b) {
    return reinterpret_cast<S>(_mm_max_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}

TQ_INLINE __m128i SumOfRows(__m128i value) {
    return value;
}

TQ_INLINE __m128i ZipLow32(__m128i a, __m128i b) {
    return _mm_unpacklo_epi32(a, b);
}

TQ_INLINE __m128i ZipHigh32(__m128i a, __m128i b) {
    return _mm_unpackhi_epi32(a, b);
}

using Raw = __m128i;

#endif

TQ_INLINE S SplatShort(std::int16_t value) {
    return S{} + value;
}

/// The sums of all lanes of four vectors.
TQ_INLINE __m128i SumLanes(I a, I b, I c, I d) {
    const auto sumHalves = [](Raw x, Raw y) {
        return reinterpret_cast<Raw>(reinterpret_cast<I>(ZipLow32(x, y)) +
                                     reinterpret_cast<I>(ZipHigh32(x, y)));
    };
    const Raw ac = sumHalves(reinterpret_cast<Raw>(a), reinterpret_cast<Raw>(c));
    const Raw bd = sumHalves(reinterpret_cast<Raw>(b), reinterpret_cast<Raw>(d));
    return SumOfRows(sumHalves(ac, bd));
}

/// Differences are shifted from 7 to 5 fractional bits; the half that rounds them is in the patch already.
constexpr int roundingShift = 2;
constexpr std::int16_t rounding = 1 << (roundingShift - 1);

/// A patch of the reference, kept in registers while positions are tried.
struct Patch {
    S grey[blockCount];  ///< less `rounding`
    S gradientX[blockCount];
    S gradientY[blockCount];
};

TQ_INLINE Patch LoadPatch(const FlowLevel& level, int x, int y) {
    const std::int64_t gradient = y * level.gradientPitch + x;
    Patch patch;
#pragma GCC unroll 8
    for (int i = 0; i < blockCount; ++i) {
        const int row = i * blockRows;
        patch.grey[i] =
            LoadRows(level.reference + (y + row) * level.referencePitch + x, level.referencePitch) - rounding;
        patch.gradientX[i] =
            LoadRows(level.gradientX + gradient + row * level.gradientPitch, level.gradientPitch);
        patch.gradientY[i] =
            LoadRows(level.gradientY + gradient + row * level.gradientPitch, level.gradientPitch);
    }
    return patch;
}

/// Moved minus reference plus `rounding`, in grey levels times flowGreyScale.
TQ_INLINE void Differences(const Patch& patch, const PatchPosition& position, std::int64_t pitch,
                           S (&differences)[blockCount]) {
    const S fractionX = SplatShort(position.fractionX);
    const S fractionY = SplatShort(position.fractionY);
    S rows[blockCount + 1];
#pragma GCC unroll 9
    for (int i = 0; i <= blockCount; ++i) {
        const std::int16_t* source = position.corner + i * blockRows * pitch;
        const S left = i < blockCount ? LoadRows(source, pitch) : LoadOneRow(source);
        const S right = i < blockCount ? LoadRows(source + 1, pitch) : LoadOneRow(source + 1);
        rows[i] = left + MultiplyFraction(right - left, fractionX);
    }
#pragma GCC unroll 8
    for (int i = 0; i < blockCount; ++i) {
        const S below = NextRows(rows[i], rows[i + 1]);
        differences[i] = rows[i] + MultiplyFraction(below - rows[i], fractionY) - patch.grey[i];
    }
}

TQ_INLINE PatchSums ComparePatch(const Patch& patch, const PatchPosition& position, std::int64_t pitch) {
    S differences[blockCount];
    Differences(patch, position, pitch, differences);
    I squares{};
    I gradientX{};
    I gradientY{};
    S plain{};
#pragma GCC unroll 8
    for (int i = 0; i < blockCount; ++i) {
        const S d = differences[i] >> roundingShift;
        squares += MultiplyPairs(d, d);
        gradientX += MultiplyPairs(d, patch.gradientX[i]);
        gradientY += MultiplyPairs(d, patch.gradientY[i]);
        // Up to four fit 16 bits; more are summed in pairs first.
        plain = blockCount <= 4 ? plain + d : plain;
    }
    I sum = MultiplyPairs(plain, SplatShort(1));
    if constexpr (blockCount > 4) {
        for (int i = 0; i < blockCount; ++i) {
            sum += MultiplyPairs(differences[i] >> roundingShift, SplatShort(1));
        }
    }
    const __m128i all = SumLanes(squares, sum, gradientX, gradientY);
    // Two moves out of the vector are cheaper than four.
    const auto halves = reinterpret_cast<std::uint64_t __attribute__((vector_size(16)))>(all);
    const std::uint64_t low = halves[0];
    const std::uint64_t high = halves[1];
    return {static_cast<std::uint32_t>(low), static_cast<std::int32_t>(low >> 32),
            static_cast<std::int32_t>(high), static_cast<std::int32_t>(high >> 32)};
}

TQ_INLINE void PatchDistances(const Patch& patch, const PatchPosition& position, std::int64_t pitch,
                              std::int16_t* distances) {
    S differences[blockCount];
    Differences(patch, position, pitch, differences);
#pragma GCC unroll 8
    for (int i = 0; i < blockCount; ++i) {
        const S d = differences[i] - rounding;
        Write(distances + i * blockRows * flowPatchSize, Larger(Larger(d, -d), SplatShort(flowGreyScale)));
    }
}

#endif

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
