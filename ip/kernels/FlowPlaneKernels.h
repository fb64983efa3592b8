#pragma once

// What the flow prepares of each picture. Included by the level files only; see Vector.h.

#include "ip/kernels/FlowKernels.h"
#include "ip/kernels/FlowSamples.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

template <class Samples>
TQ_INLINE I GreyOfPixels(const unsigned char* source, const GreyParameters& p) {
    F c[4];
    Samples::LoadPixels(source, c);
    F sum = Splat(0);
    for (int i = 0; i < 3; ++i) {
        sum = sum + Min(Max(c[p.position[i]], Splat(0)), Splat(p.white)) * p.weight[i];
    }
    return RoundedCode(sum, 255) * flowGreyScale;
}

template <class Samples>
void GreyRow(std::int16_t* target, const unsigned char* source, int width, const GreyParameters& parameters) {
    constexpr int pixelBytes = 4 * static_cast<int>(sizeof(typename Samples::Channel));
    int x = 0;
    for (; x + lanes <= width; x += lanes) {
        StoreShorts(reinterpret_cast<unsigned char*>(target + x),
                    GreyOfPixels<Samples>(source + static_cast<std::int64_t>(x) * pixelBytes, parameters));
    }
    if (x < width) {
        unsigned char pixels[lanes * pixelBytes] = {};
        std::int16_t grey[lanes];
        CopyBytes(pixels, source + static_cast<std::int64_t>(x) * pixelBytes, (width - x) * pixelBytes);
        StoreShorts(reinterpret_cast<unsigned char*>(grey), GreyOfPixels<Samples>(pixels, parameters));
        CopyBytes(target + x, grey, (width - x) * std::int64_t{2});
    }
}

/// The Sobel operator; coordinates beyond the picture read the repeated edge.
void SobelRow(const FlowLevel& level, int y) {
    const std::int16_t* row = level.reference + y * level.referencePitch;
    const std::int16_t* above = row - level.referencePitch;
    const std::int16_t* below = row + level.referencePitch;
    std::int16_t* __restrict gx = level.gradientX + y * level.gradientPitch;
    std::int16_t* __restrict gy = level.gradientY + y * level.gradientPitch;
    const auto grey = [](const std::int16_t* line, int x) {
        return static_cast<std::int16_t>(line[x] / flowGreyScale);
    };
    for (int x = 0; x < level.width; ++x) {
        const int topLeft = grey(above, x - 1);
        const int topRight = grey(above, x + 1);
        const int bottomLeft = grey(below, x - 1);
        const int bottomRight = grey(below, x + 1);
        gx[x] = static_cast<std::int16_t>(topRight - topLeft + 2 * (grey(row, x + 1) - grey(row, x - 1)) +
                                          bottomRight - bottomLeft);
        gy[x] = static_cast<std::int16_t>(bottomLeft - topLeft + 2 * (grey(below, x) - grey(above, x)) +
                                          bottomRight - topRight);
    }
}

/// Patches whose sums are computed together.
constexpr int structureTile = 64;
constexpr int structureColumns = structureTile * flowPatchSize + flowPatchSize;

/// Replaces each of the first `count` values by the sum of the eight that begin there.
TQ_INLINE void SumEight(std::int32_t* values, int count) {
    for (int step = 1; step < flowPatchSize; step *= 2) {
        for (int x = 0; x < count + flowPatchSize - 2 * step; ++x) {
            values[x] += values[x + step];
        }
    }
}

void StructureTile(const FlowLevel& level, int row, int column, int patches) {
    std::int32_t xx[structureColumns] = {}, yy[structureColumns] = {}, xy[structureColumns] = {};
    std::int32_t sx[structureColumns] = {}, sy[structureColumns] = {};
    const int count = (patches - 1) * level.stride + 1;
    const int columns = count + flowPatchSize - 1;
    for (int r = 0; r < flowPatchSize; ++r) {
        const std::int64_t offset = (row * level.stride + r) * level.gradientPitch + column * level.stride;
        const std::int16_t* gx = level.gradientX + offset;
        const std::int16_t* gy = level.gradientY + offset;
        for (int x = 0; x < columns; ++x) {
            xx[x] += gx[x] * gx[x];
            yy[x] += gy[x] * gy[x];
            xy[x] += gx[x] * gy[x];
            sx[x] += gx[x];
            sy[x] += gy[x];
        }
    }
    std::int32_t* const sums[5] = {xx, yy, xy, sx, sy};
    std::int32_t* const targets[5] = {level.sumXX, level.sumYY, level.sumXY, level.sumX, level.sumY};
    for (int i = 0; i < 5; ++i) {
        SumEight(sums[i], count);
        std::int32_t* target = targets[i] + row * level.sumPitch + column;
        for (int j = 0; j < patches; ++j) {
            target[j] = sums[i][j * level.stride];
        }
    }
}

void StructureRow(const FlowLevel& level, int row) {
    for (int column = 0; column < level.columns; column += structureTile) {
        const int left = level.columns - column;
        StructureTile(level, row, column, left < structureTile ? left : structureTile);
    }
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
