#pragma once

// The patch of the moved picture at a position between pixels, compared with a patch of the reference.
// Included by the level files only; see Vector.h.
//
// All of it is 16-bit fixed point: grey values have 7 fractional bits, positions 15. Differences are rounded
// to 3 fractional bits, still well below the rounding of the 8-bit grey values. That keeps all sums exact in
// 32 bits and so the same at every level, and it ends a descent that would only follow the noise: over pairs
// with known motion, 5 bits give 1 to 2 % more error, because what leaves the picture wanders farther.

#include "ip/kernels/FlowKernels.h"
#include "ip/kernels/FlowShorts.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int positionBits = 15;
/// Differences are in units of 1 / differenceScale grey levels.
constexpr int differenceScale = 8;
/// From the fractional bits of grey values to those of differences, and the half that rounds.
constexpr int roundingShift = 4;
constexpr std::int16_t rounding = 1 << (roundingShift - 1);
static_assert(differenceScale << roundingShift == flowGreyScale);

/// Sums over a patch, d being the difference moved minus reference.
struct PatchSums {
    std::uint32_t squares;   ///< of d * d
    std::int32_t plain;      ///< of d
    std::int32_t gradientX;  ///< of d * gx
    std::int32_t gradientY;  ///< of d * gy
};

/// Where a patch of the moved picture begins.
struct PatchPosition {
    const std::int16_t* corner;
    std::int16_t fractionX, fractionY;  ///< in units of 2^-positionBits
};

#if TQ_LANES == 1

struct Patch {
    const std::int16_t* grey;
    std::int64_t greyPitch;
    const std::int16_t* gradientX;
    const std::int16_t* gradientY;
    std::int64_t gradientPitch;
};

TQ_INLINE Patch LoadPatch(const FlowLevel& level, int x, int y) {
    const std::int64_t gradient = y * level.gradientPitch + x;
    return {level.reference + y * level.referencePitch + x, level.referencePitch, level.gradientX + gradient,
            level.gradientY + gradient, level.gradientPitch};
}

/// a * b / 2^15, rounded to nearest.
TQ_INLINE int MultiplyFraction(int a, int fraction) {
    return (a * fraction + (1 << (positionBits - 1))) >> positionBits;
}

/// Moved minus reference at pixel (x, y) of the patch, in grey levels times flowGreyScale.
TQ_INLINE int Difference(const Patch& patch, const PatchPosition& position, std::int64_t pitch, int x,
                         int y) {
    const std::int16_t* top = position.corner + y * pitch + x;
    const std::int16_t* bottom = top + pitch;
    const int above = top[0] + MultiplyFraction(top[1] - top[0], position.fractionX);
    const int below = bottom[0] + MultiplyFraction(bottom[1] - bottom[0], position.fractionX);
    return above + MultiplyFraction(below - above, position.fractionY) - patch.grey[y * patch.greyPitch + x];
}

TQ_INLINE PatchSums ComparePatch(const Patch& patch, const PatchPosition& position, std::int64_t pitch) {
    PatchSums sums{};
    for (int y = 0; y < flowPatchSize; ++y) {
        for (int x = 0; x < flowPatchSize; ++x) {
            const int d = (Difference(patch, position, pitch, x, y) + rounding) >> roundingShift;
            const std::int64_t gradient = y * patch.gradientPitch + x;
            sums.squares += static_cast<std::uint32_t>(d * d);
            sums.plain += d;
            sums.gradientX += d * patch.gradientX[gradient];
            sums.gradientY += d * patch.gradientY[gradient];
        }
    }
    return sums;
}

/// The absolute differences of the patch row by row, at least one grey level, in grey levels times
/// flowGreyScale.
TQ_INLINE void PatchDistances(const Patch& patch, const PatchPosition& position, std::int64_t pitch,
                              std::int16_t* distances) {
    for (int i = 0; i < flowPatchSize * flowPatchSize; ++i) {
        const int d = Difference(patch, position, pitch, i % flowPatchSize, i / flowPatchSize);
        const int distance = d < 0 ? -d : d;
        distances[i] = static_cast<std::int16_t>(distance < flowGreyScale ? flowGreyScale : distance);
    }
}

#else

/// The sums of all lanes of four vectors.
TQ_INLINE __m128i SumLanes(I a, I b, I c, I d) {
    const auto sumHalves = [](Raw x, Raw y) {
        return reinterpret_cast<Raw>(reinterpret_cast<I>(ZipLow32(x, y)) +
                                     reinterpret_cast<I>(ZipHigh32(x, y)));
    };
    const Raw ac = sumHalves(reinterpret_cast<Raw>(a), reinterpret_cast<Raw>(c));
    const Raw bd = sumHalves(reinterpret_cast<Raw>(b), reinterpret_cast<Raw>(d));
    return SumOfRows(sumHalves(ac, bd));
}

/// A patch of the reference, kept in registers while positions are tried.
struct Patch {
    S grey[blockCount];  ///< less `rounding`
    S gradientX[blockCount];
    S gradientY[blockCount];
};

TQ_INLINE Patch LoadPatch(const FlowLevel& level, int x, int y) {
    const std::int64_t gradient = y * level.gradientPitch + x;
    Patch patch;
#pragma GCC unroll 8
    for (int i = 0; i < blockCount; ++i) {
        const int row = i * blockRows;
        patch.grey[i] =
            LoadRows(level.reference + (y + row) * level.referencePitch + x, level.referencePitch) - rounding;
        patch.gradientX[i] =
            LoadRows(level.gradientX + gradient + row * level.gradientPitch, level.gradientPitch);
        patch.gradientY[i] =
            LoadRows(level.gradientY + gradient + row * level.gradientPitch, level.gradientPitch);
    }
    return patch;
}

/// Moved minus reference plus `rounding`, in grey levels times flowGreyScale.
TQ_INLINE void Differences(const Patch& patch, const PatchPosition& position, std::int64_t pitch,
                           S (&differences)[blockCount]) {
    const S fractionX = SplatShort(position.fractionX);
    const S fractionY = SplatShort(position.fractionY);
    S rows[blockCount + 1];
#pragma GCC unroll 9
    for (int i = 0; i <= blockCount; ++i) {
        const std::int16_t* source = position.corner + i * blockRows * pitch;
        const S left = i < blockCount ? LoadRows(source, pitch) : LoadOneRow(source);
        const S right = i < blockCount ? LoadRows(source + 1, pitch) : LoadOneRow(source + 1);
        rows[i] = left + MultiplyFraction(right - left, fractionX);
    }
#pragma GCC unroll 8
    for (int i = 0; i < blockCount; ++i) {
        const S below = NextRows(rows[i], rows[i + 1]);
        differences[i] = rows[i] + MultiplyFraction(below - rows[i], fractionY) - patch.grey[i];
    }
}

TQ_INLINE PatchSums ComparePatch(const Patch& patch, const PatchPosition& position, std::int64_t pitch) {
    S differences[blockCount];
    Differences(patch, position, pitch, differences);
    I squares{};
    I gradientX{};
    I gradientY{};
    S plain{};
#pragma GCC unroll 8
    for (int i = 0; i < blockCount; ++i) {
        const S d = differences[i] >> roundingShift;
        squares += MultiplyPairs(d, d);
        gradientX += MultiplyPairs(d, patch.gradientX[i]);
        gradientY += MultiplyPairs(d, patch.gradientY[i]);
        // Up to four fit 16 bits; more are summed in pairs first.
        plain = blockCount <= 4 ? plain + d : plain;
    }
    I sum = MultiplyPairs(plain, SplatShort(1));
    if constexpr (blockCount > 4) {
        for (int i = 0; i < blockCount; ++i) {
            sum += MultiplyPairs(differences[i] >> roundingShift, SplatShort(1));
        }
    }
    const __m128i all = SumLanes(squares, sum, gradientX, gradientY);
    // Two moves out of the vector are cheaper than four.
    const auto halves = reinterpret_cast<std::uint64_t __attribute__((vector_size(16)))>(all);
    const std::uint64_t low = halves[0];
    const std::uint64_t high = halves[1];
    return {static_cast<std::uint32_t>(low), static_cast<std::int32_t>(low >> 32),
            static_cast<std::int32_t>(high), static_cast<std::int32_t>(high >> 32)};
}

TQ_INLINE void PatchDistances(const Patch& patch, const PatchPosition& position, std::int64_t pitch,
                              std::int16_t* distances) {
    S differences[blockCount];
    Differences(patch, position, pitch, differences);
#pragma GCC unroll 8
    for (int i = 0; i < blockCount; ++i) {
        const S d = differences[i] - rounding;
        Write(distances + i * blockRows * flowPatchSize, Larger(Larger(d, -d), SplatShort(flowGreyScale)));
    }
}

#endif

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
