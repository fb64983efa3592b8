#pragma once

// From the displacements of patches to a flow at every pixel, and from one resolution to the next. Included
// by the level files only; see Vector.h.

#include "ip/kernels/FlowSamples.h"
#include "ip/kernels/FlowSearchKernel.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

TQ_INLINE int LowerOf(int a, int b) {
    return a < b ? a : b;
}

/// What the patches of one patch row add to the pixels that they cover.
struct PatchRowSums {
    float* weight;
    float* u;
    float* v;
    std::int64_t pitch;
};

/// The patch rows that cover a pixel row follow each other closely, so a ring of them is enough.
TQ_INLINE PatchRowSums RingEntry(const FlowLevel& level, float* scratch, int row) {
    const int entries = (flowPatchSize + level.stride - 1) / level.stride;
    const std::int64_t plane = std::int64_t{flowPatchSize} * level.width;
    float* first = scratch + row % entries * 3 * plane;
    return {first, first + plane, first + 2 * plane, level.width};
}

/// A patch votes at each of its pixels, the more the better the moved picture fits there.
TQ_INLINE void AddPatch(const FlowLevel& level, int row, int column, const PatchRowSums& sums) {
    // A patch that lies entirely beyond the edge reads the same repeated pixels wherever it is.
    constexpr int lowest = -flowPatchSize;
    const int x = column * level.stride;
    const int y = row * level.stride;
    const std::int64_t index = static_cast<std::int64_t>(row) * level.columns + column;
    const float u = level.patchU[index];
    const float v = level.patchV[index];
    const PatchPosition position = PositionAt(level, FixedPosition(u, ReachOf(x, lowest, level.width), x),
                                              FixedPosition(v, ReachOf(y, lowest, level.height), y));
    alignas(64) std::int16_t distances[flowPatchSize * flowPatchSize];
    PatchDistances(LoadPatch(level, x, y), position, level.movedPitch, distances);
    for (int r = 0; r < flowPatchSize; ++r) {
        float* __restrict weights = sums.weight + r * sums.pitch + x;
        float* __restrict sumU = sums.u + r * sums.pitch + x;
        float* __restrict sumV = sums.v + r * sums.pitch + x;
        for (int i = 0; i < flowPatchSize; ++i) {
            const float weight = 1.0F / static_cast<float>(distances[r * flowPatchSize + i]);
            weights[i] += weight;
            sumU[i] += weight * u;
            sumV[i] += weight * v;
        }
    }
}

void AddPatchRow(const FlowLevel& level, int row, const PatchRowSums& sums) {
    const std::int64_t count = 3 * flowPatchSize * sums.pitch;
    for (std::int64_t i = 0; i < count; ++i) {
        sums.weight[i] = 0;
    }
    for (int column = 0; column < level.columns; ++column) {
        AddPatch(level, row, column, sums);
    }
}

TQ_INLINE void AddValues(float* __restrict target, const float* __restrict source, int count) {
    for (int i = 0; i < count; ++i) {
        target[i] += source[i];
    }
}

TQ_INLINE void RepeatLast(float* values, int from, int count) {
    for (int i = from; i < count; ++i) {
        values[i] = values[from - 1];
    }
}

/// The mean of the votes at pixel row `y`, which the patch rows first to last cover. Uses up their entries
/// for `y`.
void MeanOfVotes(const FlowLevel& level, int y, int first, int last, float* scratch, float* flowU,
                 float* flowV) {
    const int covered = (level.columns - 1) * level.stride + flowPatchSize;
    const PatchRowSums target = RingEntry(level, scratch, first);
    const std::int64_t at = (y - first * level.stride) * target.pitch;
    for (int row = first + 1; row <= last; ++row) {
        const PatchRowSums source = RingEntry(level, scratch, row);
        const std::int64_t from = (y - row * level.stride) * source.pitch;
        AddValues(target.weight + at, source.weight + from, covered);
        AddValues(target.u + at, source.u + from, covered);
        AddValues(target.v + at, source.v + from, covered);
    }
    for (int x = 0; x < covered; ++x) {
        flowU[x] = target.u[at + x] / target.weight[at + x];
        flowV[x] = target.v[at + x] / target.weight[at + x];
    }
    RepeatLast(flowU, covered, level.width);
    RepeatLast(flowV, covered, level.width);
}

/// Pixels right of the last patch and below it, fewer than the stride, take the flow of the nearest covered
/// one.
void DensifyRows(const FlowLevel& level, int y1, int y2, float* scratch) {
    const int covered = (level.rows - 1) * level.stride + flowPatchSize;
    const auto firstRowAt = [&](int y) {
        return y < flowPatchSize ? 0 : (y - flowPatchSize) / level.stride + 1;
    };
    int next = firstRowAt(LowerOf(y1, covered - 1));
    for (int y = y1; y < y2; ++y) {
        float* flowU = level.flowU + y * level.flowPitch;
        float* flowV = level.flowV + y * level.flowPitch;
        if (y >= covered && y > y1) {
            CopyBytes(flowU, flowU - level.flowPitch, level.width * std::int64_t{sizeof(float)});
            CopyBytes(flowV, flowV - level.flowPitch, level.width * std::int64_t{sizeof(float)});
            continue;
        }
        const int source = LowerOf(y, covered - 1);
        const int last = LowerOf(source / level.stride, level.rows - 1);
        for (; next <= last; ++next) {
            AddPatchRow(level, next, RingEntry(level, scratch, next));
        }
        MeanOfVotes(level, source, firstRowAt(source), last, scratch, flowU, flowV);
    }
}

/// Blends the two rows at a column and scales the displacement.
TQ_INLINE float RowValue(const float* above, const float* below, float blend, int column, float scale) {
    return (above[column] + (below[column] - above[column]) * blend) * scale;
}

/// Column x of the larger row lies at (x + 0.5) / factor - 0.5, between two columns of the small one.
void EnlargeRow(float* target, int x, int count, const float* above, const float* below, float blend,
                int width, int factor) {
    const auto scale = static_cast<float>(factor);
    const int half = factor / 2;
    const auto enlargeCell = [&](int cell, int begin, int end) {
        const int left = cell < 0 ? 0 : LowerOf(cell, width - 1);
        const int right = cell < 0 ? 0 : LowerOf(cell + 1, width - 1);
        const float a = RowValue(above, below, blend, left, scale);
        const float b = RowValue(above, below, blend, right, scale);
        for (int i = begin; i < end; ++i) {
            const float t = (static_cast<float>(i - cell * factor - half) + 0.5F) / scale;
            target[i - x] = factor == 1 ? a : a + (b - a) * t;
        }
    };
    const int end = x + count;
    const int firstCell = x < half ? -1 : (x - half) / factor;
    const int endCell = end <= half ? 0 : (end - 1 - half) / factor + 1;
    const auto cut = [&](int i) { return i < x ? x : LowerOf(i, end); };
    for (int cell = firstCell; cell < endCell; ++cell) {
        const int begin = cell * factor + half;
        if (factor != 2 || cell < 0 || cell + 1 >= width || begin < x || begin + factor > end) {
            enlargeCell(cell, cut(begin), cut(begin + factor));
            continue;
        }
        const int cells = LowerOf(width - 1 - cell, (end - begin) / 2);
        float* __restrict pairs = target + (begin - x);
        for (int i = 0; i < cells; ++i) {
            const float a = RowValue(above, below, blend, cell + i, scale);
            const float b = RowValue(above, below, blend, cell + i + 1, scale);
            pairs[2 * i] = a + (b - a) * 0.25F;
            pairs[2 * i + 1] = a + (b - a) * 0.75F;
        }
        cell += cells - 1;
    }
}

void StoreFlow(unsigned char* target, const float* u, const float* v, int count) {
    int x = 0;
    for (; x + lanes <= count; x += lanes) {
        StoreFloats(target + std::int64_t{16} * x, {Read<F>(u + x), Read<F>(v + x), Splat(0), Splat(0)});
    }
    for (; x < count; ++x) {
        const float pixel[4] = {u[x], v[x], 0, 0};
        CopyBytes(target + std::int64_t{16} * x, pixel, sizeof pixel);
    }
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
