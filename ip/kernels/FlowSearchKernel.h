#pragma once

// Inverse search of Dense Inverse Search (Kroeger, Timofte, Dai, Van Gool, "Fast Optical Flow using Dense
// Inverse Search", ECCV 2016): each patch of the reference finds its place in the moved picture, starting
// from what it knows and from what its neighbours found. Included by the level files only; see Vector.h.

#include "ip/kernels/FlowPatch.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// The displacements that keep a patch within the border of the moved picture.
struct PatchReach {
    float low, high;
};

/// A position limited to low..size - 1, both told relative to `origin`.
TQ_INLINE PatchReach ReachOf(int origin, int low, int size) {
    return {static_cast<float>(low - origin), static_cast<float>(size - 1 - origin)};
}

/// A displacement that is not a number becomes the lower limit.
TQ_INLINE std::int64_t FixedPosition(float displacement, PatchReach reach, int origin) {
    const float limited = displacement > reach.low ? displacement : reach.low;
    const float within = limited < reach.high ? limited : reach.high;
    constexpr std::int64_t one = 1 << positionBits;
    return static_cast<std::int64_t>(within * static_cast<float>(one)) + origin * one;
}

TQ_INLINE PatchPosition PositionAt(const FlowLevel& level, std::int64_t x, std::int64_t y) {
    constexpr std::int64_t fraction = (1 << positionBits) - 1;
    return {level.moved + (y >> positionBits) * level.movedPitch + (x >> positionBits),
            static_cast<std::int16_t>(x & fraction), static_cast<std::int16_t>(y & fraction)};
}

/// A place tried for a patch.
struct Trial {
    float u, v;
    std::int64_t cost;            ///< sum of d^2 - (sum of d)^2 / 64, times 64 differenceScale^2
    std::int64_t slopeX, slopeY;  ///< sum of d g - (sum of d) (sum of g) / 64, times 64 differenceScale
};

/// Searches one patch. The cost forgives a difference of brightness: it is the squared difference of the
/// patches after their means were taken away.
class PatchSearch {
  public:
    TQ_INLINE PatchSearch(const FlowLevel& level, int row, int column)
        : _level(level),
          _x(column * level.stride),
          _y(row * level.stride),
          _index(static_cast<std::int64_t>(row) * level.columns + column),
          _sumIndex(row * level.sumPitch + column),
          _reachX(ReachOf(_x, lowestPosition, level.width)),
          _reachY(ReachOf(_y, lowestPosition, level.height)),
          _patch(LoadPatch(level, _x, _y)),
          _best(Try(level.patchU[_index], level.patchV[_index])) {}

    /// Takes over the displacement of a patch `offset` away when it is better.
    TQ_INLINE void TryNeighbour(std::int64_t offset) {
        // Chosen by index, not by a jump: which one is better cannot be predicted.
        const Trial trials[2] = {_best, Try(_level.patchU[_index + offset], _level.patchV[_index + offset])};
        _best = trials[static_cast<int>(trials[1].cost < trials[0].cost)];
    }

    TQ_INLINE void BeginDescent() {
        constexpr float smallestDeterminant = 0.0001F;
        constexpr float unit = 1.0F / (pixels * differenceScale);
        const std::int64_t xx = _level.sumXX[_sumIndex];
        const std::int64_t yy = _level.sumYY[_sumIndex];
        const std::int64_t xy = _level.sumXY[_sumIndex];
        const std::int64_t determinant = xx * yy - xy * xy;
        const float scale = unit / (determinant == 0 ? smallestDeterminant : static_cast<float>(determinant));
        _inverseXX = static_cast<float>(yy) * scale;
        _inverseXY = -static_cast<float>(xy) * scale;
        _inverseYY = static_cast<float>(xx) * scale;
        _u = _best.u;
        _v = _best.v;
    }

    /// A Newton step with the Hessian of the reference patch. Returns whether the cost still falls.
    TQ_INLINE bool Step() {
        const Trial trial = _lowest == INT64_MAX ? _best : Try(_u, _v);
        const auto slopeX = static_cast<float>(trial.slopeX);
        const auto slopeY = static_cast<float>(trial.slopeY);
        _u -= slopeX * _inverseXX + slopeY * _inverseXY;
        _v -= slopeX * _inverseXY + slopeY * _inverseYY;
        const bool falls = trial.cost < _lowest;
        _lowest = trial.cost;
        return falls;
    }

    /// Keeps the start of the descent when the patch wandered farther than its own size.
    TQ_INLINE void End() const {
        constexpr float farthest = 64.0F;  // squared
        const float du = _u - _best.u;
        const float dv = _v - _best.v;
        const bool near = du * du + dv * dv <= farthest;
        _level.patchU[_index] = near ? _u : _best.u;
        _level.patchV[_index] = near ? _v : _best.v;
    }

  private:
    static constexpr int pixels = flowPatchSize * flowPatchSize;
    /// At most one column or row of the patch stays inside the picture.
    static constexpr int lowestPosition = 1 - flowPatchSize;

    TQ_INLINE Trial Try(float u, float v) const {
        const PatchPosition position =
            PositionAt(_level, FixedPosition(u, _reachX, _x), FixedPosition(v, _reachY, _y));
        const PatchSums sums = ComparePatch(_patch, position, _level.movedPitch);
        const std::int64_t plain = sums.plain;
        return {u, v, std::int64_t{sums.squares} * pixels - plain * plain,
                std::int64_t{sums.gradientX} * pixels - plain * _level.sumX[_sumIndex],
                std::int64_t{sums.gradientY} * pixels - plain * _level.sumY[_sumIndex]};
    }

    const FlowLevel& _level;
    int _x, _y;
    std::int64_t _index;     ///< of the displacement
    std::int64_t _sumIndex;  ///< of the sums
    PatchReach _reachX, _reachY;
    Patch _patch;
    Trial _best;  ///< the best start that was found
    float _inverseXX = 0, _inverseXY = 0, _inverseYY = 0;
    float _u = 0, _v = 0;
    std::int64_t _lowest = INT64_MAX;
};

/// Every patch starts from the dense flow at its centre.
TQ_INLINE void StartRow(const FlowLevel& level, int row) {
    constexpr int centre = flowPatchSize / 2;
    const std::int64_t source = (row * level.stride + centre) * level.flowPitch + centre;
    const std::int64_t target = static_cast<std::int64_t>(row) * level.columns;
    for (int column = 0; column < level.columns; ++column) {
        level.patchU[target + column] = level.flowU[source + column * level.stride];
        level.patchV[target + column] = level.flowV[source + column * level.stride];
    }
}

/// A patch with the best of what it and its neighbours know, ready to descend.
TQ_INLINE PatchSearch StartPatch(const FlowLevel& level, int row, int index, bool forward,
                                 bool fromNeighbourRow) {
    const int back = forward ? -1 : 1;
    PatchSearch patch(level, row, forward ? index : level.columns - 1 - index);
    if (index > 0) {
        patch.TryNeighbour(back);
    }
    if (fromNeighbourRow) {
        patch.TryNeighbour(static_cast<std::int64_t>(back) * level.columns);
    }
    patch.BeginDescent();
    return patch;
}

void SearchOneRow(const FlowLevel& level, int row, bool forward, bool fromNeighbourRow, int iterations) {
    for (int index = 0; index < level.columns; ++index) {
        PatchSearch patch = StartPatch(level, row, index, forward, fromNeighbourRow);
        for (int i = 0; i < iterations && patch.Step(); ++i) {
        }
        patch.End();
    }
}

/// The steps of one patch wait for each other; those of two fill the waiting.
void SearchTwoRows(const FlowLevel& level, const int* rows, bool forward, bool fromNeighbourRow,
                   int iterations) {
    for (int index = 0; index < level.columns; ++index) {
        PatchSearch first = StartPatch(level, rows[0], index, forward, fromNeighbourRow);
        PatchSearch second = StartPatch(level, rows[1], index, forward, fromNeighbourRow);
        bool firstFalls = true;
        bool secondFalls = true;
        for (int i = 0; i < iterations && (firstFalls || secondFalls); ++i) {
            firstFalls = firstFalls && first.Step();
            secondFalls = secondFalls && second.Step();
        }
        first.End();
        second.End();
    }
}

void SearchRows(const FlowLevel& level, const int* rows, int count, bool forward, bool fromNeighbourRow,
                int iterations) {
    for (int k = 0; forward && k < count; ++k) {
        StartRow(level, rows[k]);
    }
    int k = 0;
    for (; k + 2 <= count; k += 2) {
        SearchTwoRows(level, rows + k, forward, fromNeighbourRow, iterations);
    }
    if (k < count) {
        SearchOneRow(level, rows[k], forward, fromNeighbourRow, iterations);
    }
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
