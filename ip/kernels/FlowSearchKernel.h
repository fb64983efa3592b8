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
          _reachX(ReachOf(_x, lowestPosition, level.width)),
          _reachY(ReachOf(_y, lowestPosition, level.height)),
          _patch(LoadPatch(level, _x, _y)) {}

    TQ_INLINE Trial Try(float u, float v) const {
        const PatchPosition position =
            PositionAt(_level, FixedPosition(u, _reachX, _x), FixedPosition(v, _reachY, _y));
        const PatchSums sums = ComparePatch(_patch, position, _level.movedPitch);
        const std::int64_t plain = sums.plain;
        return {u, v, std::int64_t{sums.squares} * pixels - plain * plain,
                std::int64_t{sums.gradientX} * pixels - plain * _level.sumX[_index],
                std::int64_t{sums.gradientY} * pixels - plain * _level.sumY[_index]};
    }

    TQ_INLINE void TryNeighbour(std::int64_t neighbour, Trial& best) const {
        const Trial trial = Try(_level.patchU[neighbour], _level.patchV[neighbour]);
        if (trial.cost < best.cost) {
            best = trial;
        }
    }

    /// Newton steps with the Hessian of the reference patch, until the cost stops falling. Keeps the start
    /// when the patch wandered farther than its own size.
    TQ_INLINE void Descend(Trial trial, int iterations) const {
        constexpr float smallestDeterminant = 0.0001F;
        constexpr float farthest = 64.0F;  // squared
        constexpr float unit = 1.0F / (pixels * differenceScale);
        const std::int64_t xx = _level.sumXX[_index];
        const std::int64_t yy = _level.sumYY[_index];
        const std::int64_t xy = _level.sumXY[_index];
        const std::int64_t determinant = xx * yy - xy * xy;
        const float divisor = determinant == 0 ? smallestDeterminant : static_cast<float>(determinant);
        const float inverseXX = static_cast<float>(yy) / divisor * unit;
        const float inverseXY = -static_cast<float>(xy) / divisor * unit;
        const float inverseYY = static_cast<float>(xx) / divisor * unit;
        const float startU = trial.u;
        const float startV = trial.v;
        float u = startU;
        float v = startV;
        std::int64_t lowest = INT64_MAX;
        for (int i = 0; i < iterations; ++i) {
            if (i > 0) {
                trial = Try(u, v);
            }
            const auto slopeX = static_cast<float>(trial.slopeX);
            const auto slopeY = static_cast<float>(trial.slopeY);
            u -= slopeX * inverseXX + slopeY * inverseXY;
            v -= slopeX * inverseXY + slopeY * inverseYY;
            if (trial.cost >= lowest) {
                break;
            }
            lowest = trial.cost;
        }
        const float du = u - startU;
        const float dv = v - startV;
        const bool near = du * du + dv * dv <= farthest;
        _level.patchU[_index] = near ? u : startU;
        _level.patchV[_index] = near ? v : startV;
    }

    std::int64_t Index() const { return _index; }

  private:
    static constexpr int pixels = flowPatchSize * flowPatchSize;
    /// At most one column or row of the patch stays inside the picture.
    static constexpr int lowestPosition = 1 - flowPatchSize;

    const FlowLevel& _level;
    int _x, _y;
    std::int64_t _index;
    PatchReach _reachX, _reachY;
    Patch _patch;
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

void SearchRow(const FlowLevel& level, int row, bool forward, bool fromNeighbourRow, int iterations) {
    if (forward) {
        StartRow(level, row);
    }
    const int back = forward ? -1 : 1;
    for (int i = 0; i < level.columns; ++i) {
        const PatchSearch search(level, row, forward ? i : level.columns - 1 - i);
        const std::int64_t index = search.Index();
        Trial best = search.Try(level.patchU[index], level.patchV[index]);
        if (i > 0) {
            search.TryNeighbour(index + back, best);
        }
        if (fromNeighbourRow) {
            search.TryNeighbour(index + static_cast<std::int64_t>(back) * level.columns, best);
        }
        search.Descend(best, iterations);
    }
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
