#pragma once

// Eight lanes, for AVX2 with FMA. See Vector.h.

namespace TQ::IP::TQ_LEVEL {
namespace {

using F = float __attribute__((vector_size(32)));
using I = std::int32_t __attribute__((vector_size(32)));

TQ_INLINE F Splat(float value) {
    return _mm256_set1_ps(value);
}

TQ_INLINE F Min(F a, F b) {
    return _mm256_min_ps(a, b);
}

TQ_INLINE F Max(F a, F b) {
    return _mm256_max_ps(a, b);
}

TQ_INLINE F MultiplyAdd(F a, F b, F c) {
    return _mm256_fmadd_ps(a, b, c);
}

TQ_INLINE F MultiplySubtract(F a, F b, F c) {
    return _mm256_fmsub_ps(a, b, c);
}

/// a - b * c
TQ_INLINE F SubtractProduct(F a, F b, F c) {
    return _mm256_fnmadd_ps(b, c, a);
}

TQ_INLINE F Reciprocal(F value) {
    return Splat(1) / value;
}

TQ_INLINE bool IsZero(I value) {
    return _mm256_testz_si256(reinterpret_cast<__m256i>(value), reinterpret_cast<__m256i>(value)) != 0;
}

/// |a - b| of each byte.
TQ_INLINE I ByteDifferences(I a, I b) {
    const auto x = reinterpret_cast<__m256i>(a);
    const auto y = reinterpret_cast<__m256i>(b);
    return reinterpret_cast<I>(_mm256_sub_epi8(_mm256_max_epu8(x, y), _mm256_min_epu8(x, y)));
}

TQ_INLINE I RoundToNearest(F value) {
    return reinterpret_cast<I>(_mm256_cvtps_epi32(value));
}

/// 16 bytes from each of two places. Most shuffles stay within a half: with pixel n in the lower half and n +
/// 4 in the upper they leave all pixels in their order, and putting the halves in place costs the load alone.
TQ_INLINE F ReadHalves(const unsigned char* lower, const unsigned char* upper) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(Read<__m128>(lower)), Read<__m128>(upper), 1);
}

TQ_INLINE void WriteHalves(unsigned char* lower, unsigned char* upper, F value) {
    Write<__m128>(lower, _mm256_castps256_ps128(value));
    Write<__m128>(upper, _mm256_extractf128_ps(value, 1));
}

/// Eight pixels of four floats, for arithmetic that treats all channels alike.
TQ_INLINE void ReadFloats(const unsigned char* source, F (&v)[4]) {
    for (int i = 0; i < 4; ++i) {
        v[i] = ReadHalves(source + 16 * i, source + 16 * i + 64);
    }
}

/// What ReadFloats gives <-> one vector per channel.
TQ_INLINE void SeparateChannels(const F (&v)[4], F (&c)[4]) {
    const F ab01 = _mm256_unpacklo_ps(v[0], v[1]);
    const F ab23 = _mm256_unpackhi_ps(v[0], v[1]);
    const F de01 = _mm256_unpacklo_ps(v[2], v[3]);
    const F de23 = _mm256_unpackhi_ps(v[2], v[3]);
    c[0] = _mm256_shuffle_ps(ab01, de01, 0x44);
    c[1] = _mm256_shuffle_ps(ab01, de01, 0xEE);
    c[2] = _mm256_shuffle_ps(ab23, de23, 0x44);
    c[3] = _mm256_shuffle_ps(ab23, de23, 0xEE);
}

TQ_INLINE void StoreFloats(unsigned char* target, const F (&c)[4]) {
    const F low01 = _mm256_unpacklo_ps(c[0], c[1]);
    const F high01 = _mm256_unpackhi_ps(c[0], c[1]);
    const F low23 = _mm256_unpacklo_ps(c[2], c[3]);
    const F high23 = _mm256_unpackhi_ps(c[2], c[3]);
    WriteHalves(target, target + 64, _mm256_shuffle_ps(low01, low23, 0x44));
    WriteHalves(target + 16, target + 80, _mm256_shuffle_ps(low01, low23, 0xEE));
    WriteHalves(target + 32, target + 96, _mm256_shuffle_ps(high01, high23, 0x44));
    WriteHalves(target + 48, target + 112, _mm256_shuffle_ps(high01, high23, 0xEE));
}

/// Eight elements of two integers <-> the first and the second integers.
TQ_INLINE void LoadPairs(const unsigned char* source, I& first, I& second) {
    const F low = ReadHalves(source, source + 32);
    const F high = ReadHalves(source + 16, source + 48);
    first = reinterpret_cast<I>(_mm256_shuffle_ps(low, high, 0x88));
    second = reinterpret_cast<I>(_mm256_shuffle_ps(low, high, 0xDD));
}

TQ_INLINE void StorePairs(unsigned char* target, I first, I second) {
    const auto a = reinterpret_cast<F>(first);
    const auto b = reinterpret_cast<F>(second);
    WriteHalves(target, target + 32, _mm256_unpacklo_ps(a, b));
    WriteHalves(target + 16, target + 48, _mm256_unpackhi_ps(a, b));
}

/// Four vectors as bytes, limited to 0..255: first the four elements of each in their first 16 bytes, ...
TQ_INLINE I JoinBytes(const I (&v)[4]) {
    return reinterpret_cast<I>(_mm256_packus_epi16(
        _mm256_packs_epi32(reinterpret_cast<__m256i>(v[0]), reinterpret_cast<__m256i>(v[1])),
        _mm256_packs_epi32(reinterpret_cast<__m256i>(v[2]), reinterpret_cast<__m256i>(v[3]))));
}

/// Four channels of eight pixels, limited to 0..255, as bytes of their pixels.
TQ_INLINE I PackBytes(const I (&c)[4]) {
    const __m128i order = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return reinterpret_cast<I>(
        _mm256_shuffle_epi8(reinterpret_cast<__m256i>(JoinBytes(c)), _mm256_broadcastsi128_si256(order)));
}

/// Eight neighbouring unsigned samples; bytes are limited to 0..255, of 16 bits all values fit.
TQ_INLINE I LoadBytes(const unsigned char* source) {
    return reinterpret_cast<I>(_mm256_cvtepu8_epi32(_mm_cvtsi64_si128(Read<std::int64_t>(source))));
}

TQ_INLINE I LoadShorts(const unsigned char* source) {
    return reinterpret_cast<I>(_mm256_cvtepu16_epi32(Read<__m128i>(source)));
}

TQ_INLINE __m128i PackShorts(I value) {
    const auto whole = reinterpret_cast<__m256i>(value);
    return _mm_packus_epi32(_mm256_castsi256_si128(whole), _mm256_extracti128_si256(whole, 1));
}

TQ_INLINE void StoreBytes(unsigned char* target, I value) {
    const __m128i shorts = PackShorts(value);
    Write<std::int64_t>(target, _mm_cvtsi128_si64(_mm_packus_epi16(shorts, shorts)));
}

TQ_INLINE void StoreShorts(unsigned char* target, I value) {
    Write(target, PackShorts(value));
}

/// Two rows of pixels of `Bytes` bytes, one vector of each <-> their pixels row by row, column after column.
template <int Bytes>
TQ_INLINE void InterleaveRows(const F (&rows)[2], F (&columns)[2]) {
    const auto x = reinterpret_cast<__m256d>(rows[0]);
    const auto y = reinterpret_cast<__m256d>(rows[1]);
    if constexpr (Bytes == 4) {
        columns[0] = __builtin_shufflevector(rows[0], rows[1], 0, 8, 1, 9, 2, 10, 3, 11);
        columns[1] = __builtin_shufflevector(rows[0], rows[1], 4, 12, 5, 13, 6, 14, 7, 15);
    } else if constexpr (Bytes == 8) {
        columns[0] = reinterpret_cast<F>(__builtin_shufflevector(x, y, 0, 4, 1, 5));
        columns[1] = reinterpret_cast<F>(__builtin_shufflevector(x, y, 2, 6, 3, 7));
    } else {
        columns[0] = reinterpret_cast<F>(__builtin_shufflevector(x, y, 0, 1, 4, 5));
        columns[1] = reinterpret_cast<F>(__builtin_shufflevector(x, y, 2, 3, 6, 7));
    }
}

template <int Bytes>
TQ_INLINE void SeparateRows(const F (&columns)[2], F (&rows)[2]) {
    const auto x = reinterpret_cast<__m256d>(columns[0]);
    const auto y = reinterpret_cast<__m256d>(columns[1]);
    if constexpr (Bytes == 4) {
        rows[0] = __builtin_shufflevector(columns[0], columns[1], 0, 2, 4, 6, 8, 10, 12, 14);
        rows[1] = __builtin_shufflevector(columns[0], columns[1], 1, 3, 5, 7, 9, 11, 13, 15);
    } else if constexpr (Bytes == 8) {
        rows[0] = reinterpret_cast<F>(__builtin_shufflevector(x, y, 0, 2, 4, 6));
        rows[1] = reinterpret_cast<F>(__builtin_shufflevector(x, y, 1, 3, 5, 7));
    } else {
        rows[0] = reinterpret_cast<F>(__builtin_shufflevector(x, y, 0, 1, 4, 5));
        rows[1] = reinterpret_cast<F>(__builtin_shufflevector(x, y, 2, 3, 6, 7));
    }
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
