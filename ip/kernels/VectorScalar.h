#pragma once

// One lane: plain scalars. See Vector.h.

namespace TQ::IP::TQ_LEVEL {
namespace {

using F = float;
using I = std::int32_t;

TQ_INLINE F Splat(float value) {
    return value;
}

/// The second operand when either is not a number, at every level.
TQ_INLINE F Min(F a, F b) {
    return a < b ? a : b;
}

TQ_INLINE F Max(F a, F b) {
    return a > b ? a : b;
}

TQ_INLINE F Abs(F value) {
    return __builtin_fabsf(value);
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

/// min(|value|, limit); `limit` when `value` is not a number.
TQ_INLINE F MinOfAbs(F value, F limit) {
    return Min(Abs(value), limit);
}

/// 1 / value, to the last bit or two.
TQ_INLINE F Reciprocal(F value) {
    return 1.0F / value;
}

TQ_INLINE I ByteOf(I value, int i) {
    return (value >> (8 * i)) & 0xFF;
}

TQ_INLINE bool IsZero(I value) {
    return value == 0;
}

/// |a - b| of each byte.
TQ_INLINE I ByteDifferences(I a, I b) {
    I differences = 0;
    for (int i = 0; i < 4; ++i) {
        const I difference = ByteOf(a, i) - ByteOf(b, i);
        differences |= (difference < 0 ? -difference : difference) << (8 * i);
    }
    return differences;
}

TQ_INLINE F ToFloat(I value) {
    return static_cast<float>(value);
}

TQ_INLINE I Truncate(F value) {
    return static_cast<I>(static_cast<std::int64_t>(value));
}

TQ_INLINE I RoundToNearest(F value) {
    return Truncate(value < 0 ? value - 0.5F : value + 0.5F);
}

/// value * 2^n, where n stands in the lowest bits of `integers` and the result is a full float.
TQ_INLINE F AddToExponent(F value, F integers) {
    const std::uint32_t bits = Read<std::uint32_t>(&value) + (Read<std::uint32_t>(&integers) << 23);
    return Read<F>(&bits);
}

/// Stores clamp and truncate. A value that is not a number becomes 0.
TQ_INLINE I CodeFromUnit(F value, float white) {
    return Truncate(Min(Max(value, 0.0F), 1.0F) * white);
}
TQ_INLINE I NearestCode(F code, float white) {
    return Truncate(Min(Max(code, 0.0F), white));
}

TQ_INLINE I LimitToByte(I value) {
    return value < 0 ? 0 : (value > 255 ? 255 : value);
}

TQ_INLINE I PackBytes(const I (&c)[4]) {
    return LimitToByte(c[0]) | (LimitToByte(c[1]) << 8) | (LimitToByte(c[2]) << 16) |
           (LimitToByte(c[3]) << 24);
}

/// The same for PackBytes.
TQ_INLINE I ByteFromUnit(F value, float white) {
    return CodeFromUnit(value, white);
}
TQ_INLINE I NearestByte(F code, float white) {
    return NearestCode(code, white);
}

/// A code value from 0 to white as it comes back after it was stored.
TQ_INLINE F StoredCode(F code) {
    return ToFloat(Truncate(code));
}

/// The division, not a product with the reciprocal, so that every code value survives load and truncating
/// store.
TQ_INLINE F UnitFromCode(I code, float white) {
    return ToFloat(code) / white;
}

TQ_INLINE void ReadFloats(const unsigned char* source, F (&v)[4]) {
    __builtin_memcpy(v, source, sizeof(v));
}

TQ_INLINE void SeparateChannels(const F (&v)[4], F (&c)[4]) {
    __builtin_memcpy(c, v, sizeof(c));
}

TQ_INLINE void StoreFloats(unsigned char* target, const F (&c)[4]) {
    __builtin_memcpy(target, c, sizeof(c));
}

TQ_INLINE void LoadPairs(const unsigned char* source, I& first, I& second) {
    first = Read<I>(source);
    second = Read<I>(source + sizeof(I));
}

TQ_INLINE void StorePairs(unsigned char* target, I first, I second) {
    Write(target, first);
    Write(target + sizeof(I), second);
}

TQ_INLINE I LoadBytes(const unsigned char* source) {
    return *source;
}

TQ_INLINE I LoadShorts(const unsigned char* source) {
    return Read<std::uint16_t>(source);
}

TQ_INLINE void StoreBytes(unsigned char* target, I value) {
    *target = static_cast<unsigned char>(LimitToByte(value));
}

TQ_INLINE void StoreShorts(unsigned char* target, I value) {
    Write(target, static_cast<std::uint16_t>(value));
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
