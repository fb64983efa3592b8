#pragma once

// The next coarser resolution of a grey picture. Included by the level files only; see Vector.h. Integers
// throughout, so that every level gives the same values.

#include "ip/kernels/FlowSamples.h"
#include "ip/kernels/FlowShorts.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

template <class Samples>
TQ_INLINE I FineGreyOfPixels(const unsigned char* source, const GreyParameters& p, I& outside) {
    F c[4];
    Samples::LoadPixels(source, c);
    F sum = Splat(0);
    for (int i = 0; i < 3; ++i) {
        F value = c[p.position[i]];
        if constexpr (sizeof(typename Samples::Channel) > 1) {  // bytes cannot be outside
            const F within = Min(Max(value, Splat(0)), Splat(p.white));
            outside |= within != value;
            value = within;
        }
        sum = sum + value * p.weight[i];
    }
    return Truncate(sum * static_cast<float>(1 << fineGreyBits) + 0.5F);
}

template <class Samples>
bool FineGreyRow(std::int16_t* target, const unsigned char* source, int width,
                 const GreyParameters& parameters) {
    constexpr int pixelBytes = 4 * static_cast<int>(sizeof(typename Samples::Channel));
    I outside{};
    int x = 0;
    for (; x + lanes <= width; x += lanes) {
        StoreShorts(reinterpret_cast<unsigned char*>(target + x),
                    FineGreyOfPixels<Samples>(source + static_cast<std::int64_t>(x) * pixelBytes, parameters,
                                              outside));
    }
    if (x < width) {
        unsigned char pixels[lanes * pixelBytes] = {};
        std::int16_t grey[lanes];
        CopyBytes(pixels, source + static_cast<std::int64_t>(x) * pixelBytes, (width - x) * pixelBytes);
        StoreShorts(reinterpret_cast<unsigned char*>(grey),
                    FineGreyOfPixels<Samples>(pixels, parameters, outside));
        CopyBytes(target + x, grey, (width - x) * std::int64_t{2});
    }
    std::int32_t flags[lanes];
    Write(flags, outside);
    std::int32_t any = 0;
    for (const std::int32_t flag : flags) {
        any |= flag;
    }
    return any == 0;
}

constexpr int weightBits = 15;
constexpr int halfWeight = 1 << (weightBits - 1);

TQ_INLINE int HalvedValue(const std::int16_t* source, const HalvingWeights& weights) {
    int sum = halfWeight;
    for (int k = 0; k < halvingTaps; ++k) {
        sum += source[k] * weights.tap[k];
    }
    return sum >> weightBits;
}

TQ_INLINE std::int32_t PackPair(std::int32_t first, std::int32_t second) {
    return static_cast<std::int32_t>((static_cast<std::uint32_t>(first) & 0xFFFFU) |
                                     (static_cast<std::uint32_t>(second) << 16));
}

#if TQ_LANES > 1
/// Weights 2 i and 2 i + 1, again and again.
TQ_INLINE S WeightPair(const HalvingWeights& weights, int i) {
    return reinterpret_cast<S>(I{} + PackPair(weights.tap[2 * i], weights.tap[2 * i + 1]));
}

TQ_INLINE I HalvedValues(const std::int16_t* source, const S (&pairs)[halvingTaps / 2]) {
    I sum = I{} + halfWeight;
    for (int i = 0; i < halvingTaps / 2; ++i) {
        sum += MultiplyPairs(Read<S>(source + 2 * i), pairs[i]);
    }
    return sum >> weightBits;
}
#endif

void HalveColumns(std::int32_t* target, const std::int16_t* above, const std::int16_t* below, int width,
                  const HalvingWeights& weights) {
    const std::int16_t* first = above - halvingReach;
    const std::int16_t* second = below - halvingReach;
    int x = 0;
#if TQ_LANES > 1
    S pairs[halvingTaps / 2];
    for (int i = 0; i < halvingTaps / 2; ++i) {
        pairs[i] = WeightPair(weights, i);
    }
    for (; x + lanes <= width; x += lanes) {
        Write(target + x,
              (HalvedValues(first + 2 * x, pairs) & 0xFFFF) | (HalvedValues(second + 2 * x, pairs) << 16));
    }
#endif
    for (; x < width; ++x) {
        target[x] = PackPair(HalvedValue(first + 2 * x, weights), HalvedValue(second + 2 * x, weights));
    }
}

void HalveRows(std::int16_t* fine, std::int16_t* grey, const std::int32_t* const* pairs, int width,
               const HalvingWeights& weights) {
    constexpr int toWhole = 1 << (fineGreyBits - 1);
    int x = 0;
#if TQ_LANES > 1
    S weightPairs[halvingTaps / 2];
    for (int i = 0; i < halvingTaps / 2; ++i) {
        weightPairs[i] = WeightPair(weights, i);
    }
    for (; x + lanes <= width; x += lanes) {
        I sum = I{} + halfWeight;
        for (int i = 0; i < halvingTaps / 2; ++i) {
            sum += MultiplyPairs(Read<S>(pairs[i] + x), weightPairs[i]);
        }
        sum >>= weightBits;
        sum = sum < 0 ? I{} : sum;
        sum = sum > fineGreyWhite ? I{} + fineGreyWhite : sum;
        StoreShorts(reinterpret_cast<unsigned char*>(fine + x), sum);
        const I whole = (sum + toWhole) >> fineGreyBits;
        StoreShorts(reinterpret_cast<unsigned char*>(grey + x),
                    (whole > 255 ? I{} + 255 : whole) * flowGreyScale);
    }
#endif
    for (; x < width; ++x) {
        std::int16_t column[halvingTaps];
        for (int k = 0; k < halvingTaps / 2; ++k) {
            CopyBytes(column + 2 * k, pairs[k] + x, sizeof(std::int32_t));
        }
        const int sum = HalvedValue(column, weights);
        const int value = sum < 0 ? 0 : sum > fineGreyWhite ? fineGreyWhite : sum;
        const int whole = (value + toWhole) >> fineGreyBits;
        fine[x] = static_cast<std::int16_t>(value);
        grey[x] = static_cast<std::int16_t>((whole > 255 ? 255 : whole) * flowGreyScale);
    }
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
