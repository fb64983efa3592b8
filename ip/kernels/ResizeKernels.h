#pragma once

// Rows of a resized picture. Included by the level files only; see Vector.h.

#include "ip/kernels/FlowKernels.h"
#include "ip/kernels/FlowSamples.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

template <class Samples>
void ConvertSamples(float* target, const unsigned char* source, int count) {
    using Channel = typename Samples::Channel;
    int i = 0;
    for (; i + lanes <= count; i += lanes) {
        Write(target + i, Samples::Load(source + i * std::int64_t{sizeof(Channel)}));
    }
    for (; i < count; ++i) {
        target[i] = static_cast<float>(Read<Channel>(source + i * std::int64_t{sizeof(Channel)}));
    }
}

/// One pixel: its four channels, the four partial sums one after the other. The scalar form is the reference.
TQ_INLINE void FilterPixel(float* target, const float* source, const float* weights, int taps) {
    float sums[4][4];
    for (int k = 0; k < 4; ++k) {
        for (int c = 0; c < 4; ++c) {
            sums[k][c] = weights[4 * k + c] * source[4 * k + c];
        }
    }
    for (int k = resizeTapGroup; k < taps; ++k) {
        for (int c = 0; c < 4; ++c) {
            sums[k % 4][c] += weights[4 * k + c] * source[4 * k + c];
        }
    }
    for (int c = 0; c < 4; ++c) {
        target[c] = (sums[0][c] + sums[1][c]) + (sums[2][c] + sums[3][c]);
    }
}

#if TQ_LANES > 1
/// The partial sums of one pixel, four floats each, in as many vectors as they fill.
struct PartialSums {
    static constexpr int vectors = 16 / lanes;
    F part[vectors];
};

/// `Taps` 0: as many as `taps` says.
template <int Taps>
TQ_INLINE PartialSums SumTaps(const float* source, const float* weights, int taps) {
    const int count = Taps == 0 ? taps : Taps;
    PartialSums sums;
#pragma GCC unroll 4
    for (int i = 0; i < PartialSums::vectors; ++i) {
        sums.part[i] = Read<F>(weights + i * lanes) * Read<F>(source + i * lanes);
    }
#pragma GCC unroll 2
    for (int k = resizeTapGroup; k < count; k += resizeTapGroup) {
#pragma GCC unroll 4
        for (int i = 0; i < PartialSums::vectors; ++i) {
            sums.part[i] += Read<F>(weights + 4 * k + i * lanes) * Read<F>(source + 4 * k + i * lanes);
        }
    }
    return sums;
}
#endif

#if TQ_LANES == 16
/// The sums of neighbouring quarters of `a` and of `b`.
TQ_INLINE F AddQuarters(F a, F b) {
    return _mm512_shuffle_f32x4(a, b, 0x88) + _mm512_shuffle_f32x4(a, b, 0xDD);
}
#elif TQ_LANES == 8
TQ_INLINE __m128 AddHalves(F a) {
    return _mm256_castps256_ps128(a) + _mm256_extractf128_ps(a, 1);
}
#endif

template <int Taps>
TQ_INLINE void FilterPixels(float* target, const float* source, const ResizePosition* positions, int width,
                            const float* weights, int taps) {
    const std::int64_t rowFloats = std::int64_t{4} * taps;
    const auto sourceOf = [&](int x) { return source + std::int64_t{4} * positions[x].first; };
    const auto weightsOf = [&](int x) { return weights + rowFloats * positions[x].phase; };
    int x = 0;
#if TQ_LANES == 16
    for (; x + 4 <= width; x += 4) {
        F sums[4];
#pragma GCC unroll 4
        for (int i = 0; i < 4; ++i) {
            sums[i] = SumTaps<Taps>(sourceOf(x + i), weightsOf(x + i), taps).part[0];
        }
        Write(target + std::int64_t{4} * x,
              AddQuarters(AddQuarters(sums[0], sums[1]), AddQuarters(sums[2], sums[3])));
    }
#elif TQ_LANES == 8
    for (; x < width; ++x) {
        const PartialSums sums = SumTaps<Taps>(sourceOf(x), weightsOf(x), taps);
        Write(target + std::int64_t{4} * x, AddHalves(sums.part[0]) + AddHalves(sums.part[1]));
    }
#elif TQ_LANES == 4
    for (; x < width; ++x) {
        const PartialSums sums = SumTaps<Taps>(sourceOf(x), weightsOf(x), taps);
        Write(target + std::int64_t{4} * x, (sums.part[0] + sums.part[1]) + (sums.part[2] + sums.part[3]));
    }
#endif
    for (; x < width; ++x) {
        FilterPixel(target + std::int64_t{4} * x, sourceOf(x), weightsOf(x), taps);
    }
}

void FilterRow(float* target, const float* source, const ResizePosition* positions, int width,
               const float* weights, int taps) {
    // Halving takes 8 taps, or a few more when the sizes do not divide; that is worth unrolled loops.
    switch (taps) {
        case 8:
            return FilterPixels<8>(target, source, positions, width, weights, taps);
        case 12:
            return FilterPixels<12>(target, source, positions, width, weights, taps);
        default:
            return FilterPixels<0>(target, source, positions, width, weights, taps);
    }
}

/// `vectors` vectors of samples from sample `at` on.
template <class Samples, int Vectors>
TQ_INLINE void SumVectors(unsigned char* target, const float* const* rows, const float* weights, int taps,
                          int at, float maximum) {
    F sums[Vectors];
    for (int i = 0; i < Vectors; ++i) {
        sums[i] = Read<F>(rows[0] + at + i * lanes) * weights[0];
    }
    for (int k = 1; k < taps; ++k) {
        for (int i = 0; i < Vectors; ++i) {
            sums[i] += Read<F>(rows[k] + at + i * lanes) * weights[k];
        }
    }
    for (int i = 0; i < Vectors; ++i) {
        Samples::Store(target + (at + i * lanes) * std::int64_t{sizeof(typename Samples::Channel)}, sums[i],
                       maximum);
    }
}

/// The rows are padded, so that the last vector may be read whole.
template <class Samples>
void SumRows(unsigned char* target, const float* const* rows, const float* weights, int taps, int count,
             float maximum) {
    constexpr int together = 4;
    constexpr int channelBytes = static_cast<int>(sizeof(typename Samples::Channel));
    int i = 0;
    for (; i + together * lanes <= count; i += together * lanes) {
        SumVectors<Samples, together>(target, rows, weights, taps, i, maximum);
    }
    for (; i + lanes <= count; i += lanes) {
        SumVectors<Samples, 1>(target, rows, weights, taps, i, maximum);
    }
    for (; i < count; ++i) {
        float sum = rows[0][i] * weights[0];
        for (int k = 1; k < taps; ++k) {
            sum += rows[k][i] * weights[k];
        }
        unsigned char value[4 * lanes];
        Samples::Store(value, Splat(sum), maximum);
        CopyBytes(target + i * std::int64_t{channelBytes}, value, channelBytes);
    }
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
