#pragma once

#include <cstdint>

#include "ip/records/Bounds.h"

namespace TQ::IP {

/// The size of one pyramid level and of its grid of patches.
struct DISLevel {
    std::int32_t width, height;  ///< in pixels
    std::int32_t columns, rows;  ///< patches
};

/// The pyramid levels that are computed for one size of picture. Level 0 is full size, each further one half
/// of it.
class DISLevels {
  public:
    /// `finestScale`: the finest level wanted; the coarsest follows from the width. Levels that are narrower
    /// or lower than a patch are left out, so there may be none.
    DISLevels(std::int32_t width, std::int32_t height, std::int32_t finestScale, std::int32_t patchStride);

    std::int32_t Stride() const { return _stride; }
    bool IsNone() const { return _coarsest < _finest; }
    std::int32_t Finest() const { return _finest; }
    std::int32_t Coarsest() const { return _coarsest; }
    DISLevel At(std::int32_t level) const;

    bool operator==(const DISLevels&) const = default;

  private:
    std::int32_t _width, _height, _stride;
    std::int32_t _finest, _coarsest;
};

/// The coarsest level of a picture of that width by the width alone: about 32 pixels wide.
std::int32_t CoarsestByWidth(std::int32_t width);

}  // namespace TQ::IP
