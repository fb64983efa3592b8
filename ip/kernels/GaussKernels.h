#pragma once

// The sliding recurrence of GaussRows and GaussColumns. Included by the level files only; see Vector.h.
//
// The Gaussian is a cosine series on a window of 2N + 1 samples f: a box term Z0 and two cosine terms Z1, Z2.
// With d(x) = f(x + N + 1) - f(x - N) each slides along the line for a few operations, whatever N is
// (Sugimoto and Kamata, "Efficient constant-time Gaussian filtering with sliding DCT/DST-5 and dual-domain
// error minimization", 2015):
//     y(x)      = Z0(x) + Z1(x) + Z2(x)
//     Z0(x + 1) = Z0(x) + d(x) / (2N + 1)
//     Zk(x + 1) = cfA[k] Zk(x) - Zk(x - 1) + cfB[k] (d(x) - d(x - 1)) / (2N + 1)
// Samples stay in code values. A line starts from the window's sums, written out, and does so again every
// GaussRestart samples, counted from the line's own first: the recurrence does not damp its rounding, and a
// value that is not finite would mark the rest of the line.
//
// Measured against sums in double precision over lines of 8192 samples, noise and square waves, with white at
// 1: the largest error is 9e-7 at sigma 3, 1.2e-5 at 30, 2e-4 at 100 and 1.5e-3 at 300; 8-bit results are
// within 0.51 code values up to sigma 30 and 0.56 at 100. Without fresh starts it is 1.1 to 15 times that.

#include "ip/kernels/KernelParameters.h"
#include "ip/kernels/PixelAccess.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

struct GaussConstants {
    F a1, a2;
    F b1, b2;   ///< cfB / (2N + 1)
    F scale;    ///< 1 / (2N + 1)
    F offset;   ///< in Z0, and so in each result
    F maximum;  ///< of integer stores, in code values
};

TQ_INLINE GaussConstants MakeGaussConstants(const GaussParameters& p, float offset) {
    const float scale = 1.0F / static_cast<float>(2 * p.radius + 1);
    return {Splat(p.cfA[0]), Splat(p.cfA[1]), Splat(p.cfB[0] * scale), Splat(p.cfB[1] * scale),
            Splat(scale),    Splat(offset),   Splat(p.storeMaximum)};
}

/// Z0(x) plus the offset, Zk(x), Zk(x - 1) and d(x - 1) of `lanes` lines.
struct GaussState {
    F z0, z1, z1Before, z2, z2Before, dBefore;
};

/// Returns y(x) plus the offset, and goes on to x + 1; `d` is d(x).
TQ_INLINE F GaussStep(GaussState& s, const GaussConstants& c, F d) {
    const F y = s.z0 + (s.z1 + s.z2);
    const F change = d - s.dBefore;
    const F z1 = MultiplyAdd(c.a1, s.z1, MultiplySubtract(c.b1, change, s.z1Before));
    const F z2 = MultiplyAdd(c.a2, s.z2, MultiplySubtract(c.b2, change, s.z2Before));
    s = {MultiplyAdd(d, c.scale, s.z0), z1, s.z1, z2, s.z2, d};
    return y;
}

/// What the sample at offset j from x, -N - 1 to N, counts in each term of the state at x. Zk(x - 1) has its
/// window one to the left, and d(x - 1) is the difference of the two windows' ends.
struct GaussStartWeights {
    float z0, z1, z1Before, z2, z2Before, dBefore;
};

TQ_INLINE GaussStartWeights MakeStartWeights(const GaussParameters& p, int j) {
    GaussStartWeights w{};
    const int n = p.radius;
    const int distance = j < 0 ? -j : j;
    if (distance <= n) {
        w.z0 = 1;
        w.z1 = p.table[2 * distance];
        w.z2 = p.table[2 * distance + 1];
    }
    const int distanceBefore = j + 1 < 0 ? -(j + 1) : j + 1;
    if (distanceBefore <= n) {
        w.z1Before = p.table[2 * distanceBefore];
        w.z2Before = p.table[2 * distanceBefore + 1];
    }
    w.dBefore = j == n ? 1.0F : (j == -n - 1 ? -1.0F : 0.0F);
    return w;
}

TQ_INLINE void AddToStart(GaussState& s, const GaussStartWeights& w, F f) {
    s.z0 = MultiplyAdd(f, Splat(w.z0), s.z0);
    s.z1 = MultiplyAdd(f, Splat(w.z1), s.z1);
    s.z1Before = MultiplyAdd(f, Splat(w.z1Before), s.z1Before);
    s.z2 = MultiplyAdd(f, Splat(w.z2), s.z2);
    s.z2Before = MultiplyAdd(f, Splat(w.z2Before), s.z2Before);
    s.dBefore = MultiplyAdd(f, Splat(w.dBefore), s.dBefore);
}

/// The same for all offsets but the first and the last one, whose weights in the box and in d(x - 1) are 1
/// and 0.
TQ_INLINE void AddInsideWindow(GaussState& s, const GaussStartWeights& w, F f) {
    s.z0 += f;
    s.z1 = MultiplyAdd(f, Splat(w.z1), s.z1);
    s.z2 = MultiplyAdd(f, Splat(w.z2), s.z2);
    s.z1Before = MultiplyAdd(f, Splat(w.z1Before), s.z1Before);
    s.z2Before = MultiplyAdd(f, Splat(w.z2Before), s.z2Before);
}
TQ_INLINE void AddInsideWindow(GaussState& s, const GaussParameters& p, int j, F f) {
    const float* const here = p.table + 2 * (j < 0 ? -j : j);
    const float* const before = p.table + 2 * (j < -1 ? -j - 1 : j + 1);
    AddInsideWindow(s, {1, here[0], before[0], here[1], before[1], 0}, f);
}

/// The sums over the windows become the state that steps go on from.
TQ_INLINE void FinishStart(GaussState& s, const GaussConstants& c) {
    s.z0 = MultiplyAdd(s.z0, c.scale, c.offset);
    s.z1 = s.z1 * c.scale;
    s.z1Before = s.z1Before * c.scale;
    s.z2 = s.z2 * c.scale;
    s.z2Before = s.z2Before * c.scale;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
