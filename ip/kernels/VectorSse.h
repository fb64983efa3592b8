#pragma once

// Four lanes, for SSE2 and SSE4.1. See Vector.h.

namespace TQ::IP::TQ_LEVEL {
namespace {

using F = float __attribute__((vector_size(16)));
using I = std::int32_t __attribute__((vector_size(16)));

TQ_INLINE F Splat(float value) {
    return _mm_set1_ps(value);
}

TQ_INLINE F Min(F a, F b) {
    return _mm_min_ps(a, b);
}

TQ_INLINE F Max(F a, F b) {
    return _mm_max_ps(a, b);
}

TQ_INLINE F MultiplyAdd(F a, F b, F c) {
    return a * b + c;
}

TQ_INLINE F MultiplySubtract(F a, F b, F c) {
    return a * b - c;
}

/// a - b * c
TQ_INLINE F SubtractProduct(F a, F b, F c) {
    return a - b * c;
}

TQ_INLINE F Reciprocal(F value) {
    return Splat(1) / value;
}

TQ_INLINE bool IsZero(I value) {
    return _mm_movemask_epi8(_mm_cmpeq_epi8(reinterpret_cast<__m128i>(value), _mm_setzero_si128())) == 0xFFFF;
}

/// |a - b| of each byte.
TQ_INLINE I ByteDifferences(I a, I b) {
    const auto x = reinterpret_cast<__m128i>(a);
    const auto y = reinterpret_cast<__m128i>(b);
    return reinterpret_cast<I>(_mm_sub_epi8(_mm_max_epu8(x, y), _mm_min_epu8(x, y)));
}

TQ_INLINE I RoundToNearest(F value) {
    return reinterpret_cast<I>(_mm_cvtps_epi32(value));
}

/// Four pixels of four floats as they are, for arithmetic that treats all channels alike.
TQ_INLINE void ReadFloats(const unsigned char* source, F (&v)[4]) {
    for (int i = 0; i < 4; ++i) {
        v[i] = Read<F>(source + 16 * i);
    }
}

/// What ReadFloats gives <-> one vector per channel.
TQ_INLINE void SeparateChannels(const F (&v)[4], F (&c)[4]) {
    const F ab01 = _mm_unpacklo_ps(v[0], v[1]);
    const F ab23 = _mm_unpackhi_ps(v[0], v[1]);
    const F de01 = _mm_unpacklo_ps(v[2], v[3]);
    const F de23 = _mm_unpackhi_ps(v[2], v[3]);
    c[0] = _mm_movelh_ps(ab01, de01);
    c[1] = _mm_movehl_ps(de01, ab01);
    c[2] = _mm_movelh_ps(ab23, de23);
    c[3] = _mm_movehl_ps(de23, ab23);
}

TQ_INLINE void StoreFloats(unsigned char* target, const F (&c)[4]) {
    const F low01 = _mm_unpacklo_ps(c[0], c[1]);
    const F high01 = _mm_unpackhi_ps(c[0], c[1]);
    const F low23 = _mm_unpacklo_ps(c[2], c[3]);
    const F high23 = _mm_unpackhi_ps(c[2], c[3]);
    Write<F>(target, _mm_movelh_ps(low01, low23));
    Write<F>(target + 16, _mm_movehl_ps(low23, low01));
    Write<F>(target + 32, _mm_movelh_ps(high01, high23));
    Write<F>(target + 48, _mm_movehl_ps(high23, high01));
}

/// Four elements of two integers <-> the first and the second integers.
TQ_INLINE void LoadPairs(const unsigned char* source, I& first, I& second) {
    const F low = Read<F>(source);
    const F high = Read<F>(source + 16);
    first = reinterpret_cast<I>(_mm_shuffle_ps(low, high, 0x88));
    second = reinterpret_cast<I>(_mm_shuffle_ps(low, high, 0xDD));
}

TQ_INLINE void StorePairs(unsigned char* target, I first, I second) {
    const auto a = reinterpret_cast<__m128i>(first);
    const auto b = reinterpret_cast<__m128i>(second);
    Write(target, _mm_unpacklo_epi32(a, b));
    Write(target + 16, _mm_unpackhi_epi32(a, b));
}

/// Four vectors as bytes, limited to 0..255.
TQ_INLINE I JoinBytes(const I (&v)[4]) {
    return reinterpret_cast<I>(
        _mm_packus_epi16(_mm_packs_epi32(reinterpret_cast<__m128i>(v[0]), reinterpret_cast<__m128i>(v[1])),
                         _mm_packs_epi32(reinterpret_cast<__m128i>(v[2]), reinterpret_cast<__m128i>(v[3]))));
}

/// Four channels of four pixels, limited to 0..255, as bytes of their pixels.
TQ_INLINE I PackBytes(const I (&c)[4]) {
    const __m128i even = _mm_packs_epi32(reinterpret_cast<__m128i>(c[0]), reinterpret_cast<__m128i>(c[2]));
    const __m128i odd = _mm_packs_epi32(reinterpret_cast<__m128i>(c[1]), reinterpret_cast<__m128i>(c[3]));
    const __m128i planes = _mm_packus_epi16(even, odd);
    const __m128i pairs = _mm_unpacklo_epi8(planes, _mm_srli_si128(planes, 8));
    return reinterpret_cast<I>(_mm_unpacklo_epi16(pairs, _mm_srli_si128(pairs, 8)));
}

/// Four neighbouring unsigned samples; bytes are limited to 0..255, of 16 bits all values fit.
TQ_INLINE I LoadBytes(const unsigned char* source) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i bytes = _mm_cvtsi32_si128(Read<std::int32_t>(source));
    return reinterpret_cast<I>(_mm_unpacklo_epi16(_mm_unpacklo_epi8(bytes, zero), zero));
}

TQ_INLINE I LoadShorts(const unsigned char* source) {
    const __m128i shorts = _mm_cvtsi64_si128(Read<std::int64_t>(source));
    return reinterpret_cast<I>(_mm_unpacklo_epi16(shorts, _mm_setzero_si128()));
}

TQ_INLINE void StoreBytes(unsigned char* target, I value) {
    const __m128i shorts = _mm_packs_epi32(reinterpret_cast<__m128i>(value), _mm_setzero_si128());
    Write<std::int32_t>(target, _mm_cvtsi128_si32(_mm_packus_epi16(shorts, shorts)));
}

TQ_INLINE void StoreShorts(unsigned char* target, I value) {
    // SSE2 packs signed values only: move the bits into that range first.
    const __m128i asSigned = _mm_srai_epi32(_mm_slli_epi32(reinterpret_cast<__m128i>(value), 16), 16);
    Write<std::int64_t>(target, _mm_cvtsi128_si64(_mm_packs_epi32(asSigned, asSigned)));
}

/// A vector holds one row: nothing to interleave.
template <int Bytes>
TQ_INLINE void InterleaveRows(const F (&rows)[1], F (&columns)[1]) {
    columns[0] = rows[0];
}

template <int Bytes>
TQ_INLINE void SeparateRows(const F (&columns)[1], F (&rows)[1]) {
    rows[0] = columns[0];
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
