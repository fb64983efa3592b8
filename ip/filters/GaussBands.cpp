#include "ip/filters/GaussBands.h"

namespace TQ::IP {

namespace {

/// The largest code value that an integer result is clamped to. 14384 is no slip for 16384: pictures with
/// white at 16384 keep what lies above white.
float StoreMaximum(const Layer& layer) {
    if (layer.ChannelBits() == 8) {
        return 255.0F;
    }
    const int white = layer.WhiteLevel();
    return white == 32768 || white == 14384 ? static_cast<float>(white) : 65535.0F;
}

}  // namespace

GaussParameters GaussParametersOf(const GaussCoefficients& axis, const Layer& layer,
                                  bool subtractFromSource) {
    return {axis.radius,         axis.table.data(), {axis.cfA[0], axis.cfA[1]}, {axis.cfB[0], axis.cfB[1]},
            StoreMaximum(layer), subtractFromSource};
}

GaussBands::GaussBands(const Bounds& output, const Bounds& lines, int radiusX, int radiusY, int threads)
    : _output(output),
      _columns{lines.x1, GaussRestart(radiusX, Width(lines))},
      _rows{lines.y1, GaussRestart(radiusY, Height(lines))},
      _columnBands(_columns.Count(output.x1, output.x2)),
      _rowBands(_columnBands >= threads ? 1 : _rows.Count(output.y1, output.y2)) {
}

Bounds GaussBands::At(int index) const {
    const Range columns = _columns.Part(_output.x1, index % _columnBands);
    Bounds band = Intersect(_output, {columns.begin, _output.y1, columns.end, _output.y2});
    if (_rowBands > 1) {
        const Range rows = _rows.Part(_output.y1, index / _columnBands);
        band = Intersect(band, {_output.x1, rows.begin, _output.x2, rows.end});
    }
    return band;
}

}  // namespace TQ::IP
