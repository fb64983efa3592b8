#include "ip/records/Bounds.h"

#include <algorithm>

namespace TQ::IP {

namespace {

// Rectangles may reach to the ends of the number range (a clip that is endless along one axis), where a sum
// or difference leaves it.
std::int32_t Clamped(std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
}

std::int32_t Sum(std::int32_t a, std::int32_t b) {
    return Clamped(std::int64_t{a} + b);
}

std::int32_t Length(std::int32_t begin, std::int32_t end) {
    return end < begin ? 0 : Clamped(std::int64_t{end} - begin);
}

}  // namespace

bool operator==(const Bounds& a, const Bounds& b) {
    return a.x1 == b.x1 && a.y1 == b.y1 && a.x2 == b.x2 && a.y2 == b.y2;
}

bool IsEmpty(const Bounds& bounds) {
    return bounds.x2 <= bounds.x1 || bounds.y2 <= bounds.y1;
}

bool IsInfinite(const Bounds& bounds) {
    return bounds == infiniteBounds;
}

int Width(const Bounds& bounds) {
    return Length(bounds.x1, bounds.x2);
}

int Height(const Bounds& bounds) {
    return Length(bounds.y1, bounds.y2);
}

Bounds Intersect(const Bounds& a, const Bounds& b) {
    if (IsInfinite(b)) {
        return a;
    }
    if (IsInfinite(a)) {
        return b;
    }
    return {std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)};
}

Bounds Extend(const Bounds& a, const Bounds& b) {
    return {std::min(a.x1, b.x1), std::min(a.y1, b.y1), std::max(a.x2, b.x2), std::max(a.y2, b.y2)};
}

bool Contains(const Bounds& outer, const Bounds& inner) {
    return outer.x1 <= inner.x1 && outer.x2 >= inner.x2 && outer.y1 <= inner.y1 && outer.y2 >= inner.y2;
}

Bounds Grow(const Bounds& region, const Bounds& margin) {
    if (IsInfinite(region) || IsInfinite(margin)) {
        return region;
    }
    return {Sum(region.x1, margin.x1), Sum(region.y1, margin.y1), Sum(region.x2, margin.x2),
            Sum(region.y2, margin.y2)};
}

}  // namespace TQ::IP
