#pragma once

#include <algorithm>
#include <cstdint>

#include "ip/Layer.h"
#include "ip/filters/GaussCoefficients.h"
#include "ip/kernels/KernelParameters.h"

namespace TQ::IP {

/// What the kernels take for one axis over `layer`, whose format gives the largest value stored. Looks at the
/// table of `axis`.
GaussParameters GaussParametersOf(const GaussCoefficients& axis, const Layer& layer, bool subtractFromSource);

/// Cuts the output of a blur into bands that the kernel GaussBlur can compute each by itself: columns of one
/// restart, and rows of one restart as well where that is needed to give every thread a band.
class GaussBands {
  public:
    /// `lines` is the part of the input that is read; radii are those of the windows.
    GaussBands(const Bounds& output, const Bounds& lines, int radiusX, int radiusY, int threads);

    int Count() const { return _columnBands * _rowBands; }
    /// Columns of the widest band.
    int MostColumns() const { return std::min(_columns.step, Width(_output)); }
    Bounds At(int index) const;

  private:
    struct Range {
        std::int32_t begin, end;
    };
    /// Cuts at multiples of `step` from `origin`.
    struct Axis {
        std::int32_t origin, step;
        int First(std::int32_t begin) const { return (begin - origin) / step; }
        int Count(std::int32_t begin, std::int32_t end) const { return First(end - 1) - First(begin) + 1; }
        Range Part(std::int32_t begin, int index) const {
            const std::int64_t at = origin + std::int64_t{First(begin) + index} * step;
            return {static_cast<std::int32_t>(at),
                    static_cast<std::int32_t>(std::min<std::int64_t>(at + step, INT32_MAX))};
        }
    };

    Bounds _output;
    Axis _columns, _rows;
    int _columnBands, _rowBands;
};

}  // namespace TQ::IP
