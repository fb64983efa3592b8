#pragma once

// Vectors of 16-bit values. Included by the level files only; see Vector.h. One lane has none: the plain
// form computes value by value.

#include "ip/kernels/FlowKernels.h"
#include "ip/kernels/Vector.h"

#if TQ_LANES > 1

namespace TQ::IP::TQ_LEVEL {
namespace {

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

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL

#endif
