#pragma once

#include <cstdint>

namespace TQ::IP {

/// A rectangle of pixels in the image's own coordinates, half-open: (x, y) is inside when x1 <= x < x2 and
/// y1 <= y < y2. Rectangles are never relative to a buffer. A plain record without inline members, because
/// the kernels of every instruction-set level share it.
struct Bounds {
    std::int32_t x1, y1, x2, y2;
};

/// Covers every pixel: what a generator without inputs can deliver.
constexpr Bounds infiniteBounds{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
/// The initial value of every region: empty, and neutral for Extend.
constexpr Bounds unsetBounds{INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};

bool operator==(const Bounds& a, const Bounds& b);

/// x2 <= x1 or y2 <= y1.
bool IsEmpty(const Bounds& bounds);
/// All four values equal those of infiniteBounds.
bool IsInfinite(const Bounds& bounds);
/// In pixels; 0 when the rectangle is inverted, at most INT32_MAX.
int Width(const Bounds& bounds);
int Height(const Bounds& bounds);
/// The overlap; an infinite operand leaves the other unchanged. The result may be inverted (empty).
Bounds Intersect(const Bounds& a, const Bounds& b);
/// The smallest rectangle around both.
Bounds Extend(const Bounds& a, const Bounds& b);
/// True when `inner` lies inside `outer` on both axes.
bool Contains(const Bounds& outer, const Bounds& inner);
/// Adds `margin` component by component (so growing takes negative x1, y1 and positive x2, y2). An infinite
/// region or margin leaves the region unchanged.
Bounds Grow(const Bounds& region, const Bounds& margin);

}  // namespace TQ::IP
