#pragma once

// The vector type that the kernels are written over: F holds TQ_LANES floats, I as many 32-bit integers.
// Included by the level files only, which define TQ_LEVEL (the level's namespace) and TQ_LANES before. All of
// it has internal linkage: an inline function that two levels shared could be kept in its widest build and
// crash an older processor.
//
// With one lane F and I are plain scalars, so that every kernel also exists as ordinary scalar code.

#include <cstdint>

#if TQ_LANES > 1
#include <immintrin.h>
#endif

#define TQ_INLINE [[gnu::always_inline]] inline

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int lanes = TQ_LANES;

/// Unaligned access of any type, without breaking the aliasing rules.
template <class T>
TQ_INLINE T Read(const void* source) {
    T value;
    __builtin_memcpy(&value, source, sizeof(T));
    return value;
}

template <class T>
TQ_INLINE void Write(void* target, T value) {
    __builtin_memcpy(target, &value, sizeof(T));
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL

#if TQ_LANES == 1
#include "ip/kernels/VectorScalar.h"
#elif TQ_LANES == 4
#include "ip/kernels/VectorSse.h"
#elif TQ_LANES == 8
#include "ip/kernels/VectorAvx2.h"
#elif TQ_LANES == 16
#include "ip/kernels/VectorAvx512.h"
#endif

namespace TQ::IP::TQ_LEVEL {
namespace {

#if TQ_LANES > 1
TQ_INLINE F ToFloat(I value) {
    return __builtin_convertvector(value, F);
}

TQ_INLINE I Truncate(F value) {
    return __builtin_convertvector(value, I);
}

/// Absolute value; clears the sign bit.
TQ_INLINE F Abs(F value) {
    return reinterpret_cast<F>(reinterpret_cast<I>(value) & INT32_MAX);
}

#if TQ_LANES < 16
/// min(|value|, limit); `limit` when `value` is not a number.
TQ_INLINE F MinOfAbs(F value, F limit) {
    return Min(Abs(value), limit);
}

/// Byte `i` of each 32-bit element.
TQ_INLINE I ByteOf(I value, int i) {
    return (value >> (8 * i)) & 0xFF;
}
#endif

TQ_INLINE F FloatFromBits(I bits) {
    return reinterpret_cast<F>(bits);
}

/// Stores round to nearest. A value that is not a number becomes 0.
TQ_INLINE I CodeFromUnit(F value, float white) {
    return RoundToNearest(Min(Max(value * white, Splat(0)), Splat(white)));
}

TQ_INLINE F UnitFromCode(I code, float white) {
    return ToFloat(code) * (1.0F / white);
}
#endif

/// Pixels of four floats as one vector per channel.
TQ_INLINE void LoadFloats(const unsigned char* source, F (&c)[4]) {
    F pixels[4];
    ReadFloats(source, pixels);
    SeparateChannels(pixels, c);
}

/// exp(x) for x <= 0, within 2e-7 of the value; 0 below -87, where floats without full precision begin.
/// Splits x = n ln 2 + r with |r| <= ln 2 / 2; exp(r) is a polynomial with coefficients near 1 / k!, fitted
/// for the smallest relative error on that interval (Moshier, Cephes, expf), and 2^n goes into the exponent
/// bits.
TQ_INLINE F ExpOfNegative(F x) {
    constexpr float lowest = -87.0F;
    constexpr float log2e = 1.44269504F;
    constexpr float ln2High = 0.693359375F;  // few enough bits that n times it is exact
    constexpr float ln2Low = -2.12194440e-4F;
    const F clamped = Max(x, Splat(lowest));
    const I n = RoundToNearest(clamped * log2e);
    const F nf = ToFloat(n);
    const F r = MultiplyAdd(nf, Splat(-ln2Low), MultiplyAdd(nf, Splat(-ln2High), clamped));
    F p = Splat(1.9875691500e-4F);
    p = MultiplyAdd(p, r, Splat(1.3981999507e-3F));
    p = MultiplyAdd(p, r, Splat(8.3334519073e-3F));
    p = MultiplyAdd(p, r, Splat(4.1665795894e-2F));
    p = MultiplyAdd(p, r, Splat(1.6666665459e-1F));
    p = MultiplyAdd(p, r, Splat(5.0000001201e-1F));
    p = MultiplyAdd(p, r * r, r + 1.0F);
    const F result = p * FloatFromBits((n + 127) << 23);
    return x < lowest ? Splat(0) : result;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
