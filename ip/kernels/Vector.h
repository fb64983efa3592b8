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

/// value * 2^n, where n stands in the lowest bits of `integers` and the result is a full float.
TQ_INLINE F AddToExponent(F value, F integers) {
    using Bits = std::uint32_t __attribute__((vector_size(sizeof(F))));
    return reinterpret_cast<F>(reinterpret_cast<Bits>(value) + (reinterpret_cast<Bits>(integers) << 23));
}

/// Stores round to nearest. A value that is not a number becomes 0.
TQ_INLINE I NearestCode(F code, float white) {
    return RoundToNearest(Min(Max(code, Splat(0)), Splat(white)));
}
TQ_INLINE I CodeFromUnit(F value, float white) {
    return NearestCode(value * white, white);
}

/// The same for PackBytes, which limits from below: what is not a number goes through the minimum and becomes
/// the lowest integer.
TQ_INLINE I NearestByte(F code, float white) {
    return RoundToNearest(Min(Splat(white), code));
}
TQ_INLINE I ByteFromUnit(F value, float white) {
    return NearestByte(value * white, white);
}

/// A code value from 0 to white as it comes back after it was stored.
TQ_INLINE F StoredCode(F code) {
    return ToFloat(RoundToNearest(code));
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

/// exp(x) for x <= 0, within 8e-8 (of its value 5e-7 down to -8, 4e-6 at the end); 0 below -87, where floats
/// without full precision begin, and for what is not a number. Splits x log2(e) = n + r with |r| <= 1/2 by
/// adding a number whose last bit is 1; 2^r is the polynomial with the smallest relative error (3e-9) that is
/// exact at 0, and n is added to the exponent's bits.
TQ_INLINE F ExpOfNegative(F x) {
    const F log2e = Splat(1.44269504F);
    const F whole = Splat(12582912.0F);  // 1.5 * 2^23: the lowest bits of what it is added to hold n
    const F shifted = MultiplyAdd(x, log2e, whole);
    const F r = MultiplySubtract(x, log2e, shifted - whole);
    F p = Splat(1.55946775e-4F);
    p = MultiplyAdd(p, r, Splat(1.34066439e-3F));
    p = MultiplyAdd(p, r, Splat(9.61769297e-3F));
    p = MultiplyAdd(p, r, Splat(5.55031055e-2F));
    p = MultiplyAdd(p, r, Splat(2.40226528e-1F));
    p = MultiplyAdd(p, r, Splat(6.93147215e-1F));
    p = MultiplyAdd(p, r, Splat(1.0F));
    const F result = AddToExponent(p, shifted);
    return x >= -87.0F ? result : Splat(0);
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
