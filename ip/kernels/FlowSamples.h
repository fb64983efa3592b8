#pragma once

// Samples in memory <-> vectors of code values. Included by the level files only; see Vector.h. Unlike
// PixelAccess.h, whose levels may differ in the last bit, these round alike at every level.

#include "ip/kernels/Vector.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// Rounds to nearest, halves upward, within 0..maximum.
TQ_INLINE I RoundedCode(F value, float maximum) {
    return Truncate(Min(Max(value, Splat(0)), Splat(maximum)) + 0.5F);
}

struct ByteSamples {
    using Channel = std::uint8_t;

    TQ_INLINE static void LoadPixels(const unsigned char* source, F (&c)[4]) {
        const I pixels = Read<I>(source);
        for (int i = 0; i < 4; ++i) {
            c[i] = ToFloat((pixels >> (8 * i)) & 0xFF);
        }
    }
    TQ_INLINE static F Load(const unsigned char* source) { return ToFloat(LoadBytes(source)); }
    TQ_INLINE static void Store(unsigned char* target, F value, float maximum) {
        StoreBytes(target, RoundedCode(value, maximum));
    }
};

struct ShortSamples {
    using Channel = std::uint16_t;

    TQ_INLINE static void LoadPixels(const unsigned char* source, F (&c)[4]) {
        I pairs[2];
        LoadPairs(source, pairs[0], pairs[1]);
        for (int i = 0; i < 4; ++i) {
            c[i] = ToFloat((pairs[i / 2] >> (16 * (i & 1))) & 0xFFFF);
        }
    }
    TQ_INLINE static F Load(const unsigned char* source) { return ToFloat(LoadShorts(source)); }
    TQ_INLINE static void Store(unsigned char* target, F value, float maximum) {
        StoreShorts(target, RoundedCode(value, maximum));
    }
};

struct FloatSamples {
    using Channel = float;

    TQ_INLINE static void LoadPixels(const unsigned char* source, F (&c)[4]) { LoadFloats(source, c); }
    TQ_INLINE static F Load(const unsigned char* source) { return Read<F>(source); }
    TQ_INLINE static void Store(unsigned char* target, F value, float /*maximum*/) { Write(target, value); }
};

TQ_INLINE void CopyBytes(void* target, const void* source, std::int64_t bytes) {
    __builtin_memcpy(target, source, static_cast<unsigned long long>(bytes));
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
