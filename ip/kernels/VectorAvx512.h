#pragma once

// Sixteen lanes, for AVX-512. See Vector.h.

namespace TQ::IP::TQ_LEVEL {
namespace {

using F = float __attribute__((vector_size(64)));
using I = std::int32_t __attribute__((vector_size(64)));

TQ_INLINE F Splat(float value) {
    return _mm512_set1_ps(value);
}

TQ_INLINE F Min(F a, F b) {
    return _mm512_min_ps(a, b);
}

TQ_INLINE F Max(F a, F b) {
    return _mm512_max_ps(a, b);
}

TQ_INLINE F MultiplyAdd(F a, F b, F c) {
    return _mm512_fmadd_ps(a, b, c);
}

TQ_INLINE F MultiplySubtract(F a, F b, F c) {
    return _mm512_fmsub_ps(a, b, c);
}

/// a - b * c
TQ_INLINE F SubtractProduct(F a, F b, F c) {
    return _mm512_fnmadd_ps(b, c, a);
}

/// min(|value|, limit) for positive limits; `limit` when `value` is not a number.
TQ_INLINE F MinOfAbs(F value, F limit) {
    constexpr int smallerMagnitude = 2;
    constexpr int withoutSign = 2 << 2;
    return _mm512_range_ps(value, limit, smallerMagnitude | withoutSign);
}

/// 1 / value. The divider works beside everything else, while an estimate and a step of Newton's method are
/// three operations.
TQ_INLINE F Reciprocal(F value) {
    return Splat(1) / value;
}

/// Byte `i` of each 32-bit element: one shuffle, or what costs less at the ends.
TQ_INLINE I ByteOf(I value, int i) {
    if (i == 0) {
        return value & 0xFF;
    }
    if (i == 3) {
        return reinterpret_cast<I>(_mm512_srli_epi32(reinterpret_cast<__m512i>(value), 24));
    }
    const auto zero = static_cast<char>(0x80);
    const auto b = static_cast<char>(i);
    const auto c = [b](int element) { return static_cast<char>(b + 4 * element); };
    const __m128i order = _mm_setr_epi8(c(0), zero, zero, zero, c(1), zero, zero, zero, c(2), zero, zero,
                                        zero, c(3), zero, zero, zero);
    return reinterpret_cast<I>(
        _mm512_shuffle_epi8(reinterpret_cast<__m512i>(value), _mm512_broadcast_i32x4(order)));
}

TQ_INLINE bool IsZero(I value) {
    return _mm512_test_epi32_mask(reinterpret_cast<__m512i>(value), reinterpret_cast<__m512i>(value)) == 0;
}

/// |a - b| of each byte.
TQ_INLINE I ByteDifferences(I a, I b) {
    const auto x = reinterpret_cast<__m512i>(a);
    const auto y = reinterpret_cast<__m512i>(b);
    return reinterpret_cast<I>(_mm512_sub_epi8(_mm512_max_epu8(x, y), _mm512_min_epu8(x, y)));
}

/// Sixteen elements of the row that `a` and `b` make, from element `First` on.
template <int First>
TQ_INLINE F Shifted(F a, F b) {
    return reinterpret_cast<F>(
        _mm512_alignr_epi32(reinterpret_cast<__m512i>(b), reinterpret_cast<__m512i>(a), First));
}

TQ_INLINE I RoundToNearest(F value) {
    return reinterpret_cast<I>(_mm512_cvtps_epi32(value));
}

/// Elements of `Bytes` bytes: every second one of the row that `a` and `b` make, from the first or the second
/// on.
template <int Bytes>
TQ_INLINE F Even(F a, F b) {
    const auto x = reinterpret_cast<__m512d>(a);
    const auto y = reinterpret_cast<__m512d>(b);
    if constexpr (Bytes == 4) {
        return __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    } else if constexpr (Bytes == 8) {
        return reinterpret_cast<F>(__builtin_shufflevector(x, y, 0, 2, 4, 6, 8, 10, 12, 14));
    } else {
        return reinterpret_cast<F>(__builtin_shufflevector(x, y, 0, 1, 4, 5, 8, 9, 12, 13));
    }
}

template <int Bytes>
TQ_INLINE F Odd(F a, F b) {
    const auto x = reinterpret_cast<__m512d>(a);
    const auto y = reinterpret_cast<__m512d>(b);
    if constexpr (Bytes == 4) {
        return __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    } else if constexpr (Bytes == 8) {
        return reinterpret_cast<F>(__builtin_shufflevector(x, y, 1, 3, 5, 7, 9, 11, 13, 15));
    } else {
        return reinterpret_cast<F>(__builtin_shufflevector(x, y, 2, 3, 6, 7, 10, 11, 14, 15));
    }
}

/// Elements of `a` and `b` in turn, out of the lower or the upper halves.
template <int Bytes>
TQ_INLINE F ZipLow(F a, F b) {
    const auto x = reinterpret_cast<__m512d>(a);
    const auto y = reinterpret_cast<__m512d>(b);
    if constexpr (Bytes == 4) {
        return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    } else if constexpr (Bytes == 8) {
        return reinterpret_cast<F>(__builtin_shufflevector(x, y, 0, 8, 1, 9, 2, 10, 3, 11));
    } else {
        return reinterpret_cast<F>(__builtin_shufflevector(x, y, 0, 1, 8, 9, 2, 3, 10, 11));
    }
}

template <int Bytes>
TQ_INLINE F ZipHigh(F a, F b) {
    const auto x = reinterpret_cast<__m512d>(a);
    const auto y = reinterpret_cast<__m512d>(b);
    if constexpr (Bytes == 4) {
        return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
    } else if constexpr (Bytes == 8) {
        return reinterpret_cast<F>(__builtin_shufflevector(x, y, 4, 12, 5, 13, 6, 14, 7, 15));
    } else {
        return reinterpret_cast<F>(__builtin_shufflevector(x, y, 4, 5, 12, 13, 6, 7, 14, 15));
    }
}

/// Sixteen pixels of four floats as they are, for arithmetic that treats all channels alike.
TQ_INLINE void ReadFloats(const unsigned char* source, F (&v)[4]) {
    for (int i = 0; i < 4; ++i) {
        v[i] = Read<F>(source + 64 * i);
    }
}

/// What ReadFloats gives <-> one vector per channel.
TQ_INLINE void SeparateChannels(const F (&v)[4], F (&c)[4]) {
    const F evenLow = Even<4>(v[0], v[1]);
    const F evenHigh = Even<4>(v[2], v[3]);
    const F oddLow = Odd<4>(v[0], v[1]);
    const F oddHigh = Odd<4>(v[2], v[3]);
    c[0] = Even<4>(evenLow, evenHigh);
    c[1] = Even<4>(oddLow, oddHigh);
    c[2] = Odd<4>(evenLow, evenHigh);
    c[3] = Odd<4>(oddLow, oddHigh);
}

TQ_INLINE void StoreFloats(unsigned char* target, const F (&c)[4]) {
    const F evenLow = ZipLow<4>(c[0], c[2]);
    const F evenHigh = ZipHigh<4>(c[0], c[2]);
    const F oddLow = ZipLow<4>(c[1], c[3]);
    const F oddHigh = ZipHigh<4>(c[1], c[3]);
    Write<F>(target, ZipLow<4>(evenLow, oddLow));
    Write<F>(target + 64, ZipHigh<4>(evenLow, oddLow));
    Write<F>(target + 128, ZipLow<4>(evenHigh, oddHigh));
    Write<F>(target + 192, ZipHigh<4>(evenHigh, oddHigh));
}

/// Sixteen elements of two integers <-> the first and the second integers.
TQ_INLINE void LoadPairs(const unsigned char* source, I& first, I& second) {
    const F low = Read<F>(source);
    const F high = Read<F>(source + 64);
    first = reinterpret_cast<I>(Even<4>(low, high));
    second = reinterpret_cast<I>(Odd<4>(low, high));
}

TQ_INLINE void StorePairs(unsigned char* target, I first, I second) {
    const auto a = reinterpret_cast<F>(first);
    const auto b = reinterpret_cast<F>(second);
    Write<F>(target, ZipLow<4>(a, b));
    Write<F>(target + 64, ZipHigh<4>(a, b));
}

/// Four vectors as bytes, limited to 0..255: first the four elements of each in their first 16 bytes, ...
TQ_INLINE I JoinBytes(const I (&v)[4]) {
    return reinterpret_cast<I>(_mm512_packus_epi16(
        _mm512_packs_epi32(reinterpret_cast<__m512i>(v[0]), reinterpret_cast<__m512i>(v[1])),
        _mm512_packs_epi32(reinterpret_cast<__m512i>(v[2]), reinterpret_cast<__m512i>(v[3]))));
}

/// Four channels of sixteen pixels, limited to 0..255, as bytes of their pixels.
TQ_INLINE I PackBytes(const I (&c)[4]) {
    const __m128i order = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return reinterpret_cast<I>(
        _mm512_shuffle_epi8(reinterpret_cast<__m512i>(JoinBytes(c)), _mm512_broadcast_i32x4(order)));
}

/// Sixteen neighbouring unsigned samples; bytes are limited to 0..255, of 16 bits all values fit.
TQ_INLINE I LoadBytes(const unsigned char* source) {
    return reinterpret_cast<I>(_mm512_cvtepu8_epi32(Read<__m128i>(source)));
}

TQ_INLINE I LoadShorts(const unsigned char* source) {
    return reinterpret_cast<I>(_mm512_cvtepu16_epi32(Read<__m256i>(source)));
}

TQ_INLINE void StoreBytes(unsigned char* target, I value) {
    Write(target,
          _mm512_cvtusepi32_epi8(_mm512_max_epi32(reinterpret_cast<__m512i>(value), _mm512_setzero_si512())));
}

TQ_INLINE void StoreShorts(unsigned char* target, I value) {
    Write(target, _mm512_cvtepi32_epi16(reinterpret_cast<__m512i>(value)));
}

/// Four rows of pixels of `Bytes` bytes, one vector of each <-> their pixels row by row, column after column.
template <int Bytes>
TQ_INLINE void SeparateRows(const F (&columns)[4], F (&rows)[4]) {
    const F evenLow = Even<Bytes>(columns[0], columns[1]);
    const F evenHigh = Even<Bytes>(columns[2], columns[3]);
    const F oddLow = Odd<Bytes>(columns[0], columns[1]);
    const F oddHigh = Odd<Bytes>(columns[2], columns[3]);
    rows[0] = Even<Bytes>(evenLow, evenHigh);
    rows[1] = Even<Bytes>(oddLow, oddHigh);
    rows[2] = Odd<Bytes>(evenLow, evenHigh);
    rows[3] = Odd<Bytes>(oddLow, oddHigh);
}

template <int Bytes>
TQ_INLINE void InterleaveRows(const F (&rows)[4], F (&columns)[4]) {
    if constexpr (Bytes == 16) {
        // Four pixels of four rows: the way back is the same.
        SeparateRows<Bytes>(rows, columns);
        return;
    }
    const F evenLow = ZipLow<Bytes>(rows[0], rows[2]);
    const F evenHigh = ZipHigh<Bytes>(rows[0], rows[2]);
    const F oddLow = ZipLow<Bytes>(rows[1], rows[3]);
    const F oddHigh = ZipHigh<Bytes>(rows[1], rows[3]);
    columns[0] = ZipLow<Bytes>(evenLow, oddLow);
    columns[1] = ZipHigh<Bytes>(evenLow, oddLow);
    columns[2] = ZipLow<Bytes>(evenHigh, oddHigh);
    columns[3] = ZipHigh<Bytes>(evenHigh, oddHigh);
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
