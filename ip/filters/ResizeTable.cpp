#include "ip/filters/ResizeTable.h"

#include <algorithm>
#include <cmath>

namespace TQ::IP {

namespace {

constexpr float filterWidth = 1.0F;
/// The cubic is 0 outside -2..2.
constexpr float support = 4.0F;
/// A third, as the float below the nearest one and as the nearest one.
constexpr double cubicB = 0x1.555554p-2;
constexpr double cubicC = 0x1.555556p-2;

constexpr std::int64_t copies = 1 + 4;

std::size_t TableBytes(std::int32_t taps) {
    return static_cast<std::size_t>(copies * ResizeTable::phases * taps) * sizeof(float);
}

std::int32_t WholeGroups(std::int32_t taps) {
    return (taps + resizeTapGroup - 1) / resizeTapGroup * resizeTapGroup;
}

}  // namespace

double MitchellCubic(double u) {
    const double a = std::fabs(u);
    constexpr double b = cubicB;
    constexpr double c = cubicC;
    if (a < 1) {
        return ((12 - 9 * b - 6 * c) * a * a * a + (-18 + 12 * b + 6 * c) * a * a + (6 - 2 * b)) / 6;
    }
    if (a < 2) {
        return (-(b + 6 * c) * a * a * a + (6 * b + 30 * c) * a * a - (12 * b + 48 * c) * a + 8 * b +
                24 * c) /
               6;
    }
    return 0;
}

ResizeAxis::ResizeAxis() : step(1.0F), width(filterWidth), start(0.0F), maxLen(1) {
}

ResizeAxis::ResizeAxis(std::int32_t inputSize, std::int32_t outputSize) : step(1.0F) {
    if (inputSize > 1 && outputSize > 1) {
        const float ratio = static_cast<float>(outputSize - 1) / static_cast<float>(inputSize - 1);
        step = 1.0F / ratio;
    }
    const float stretch = std::max(1.0F, step);
    width = stretch * filterWidth;
    start = std::max(1.0F, support * filterWidth) * -stretch * 0.5F;
    maxLen = std::max(static_cast<std::int32_t>(std::ceil(stretch * support * filterWidth)), 1);
}

ResizeTable::ResizeTable(Host& host, const ResizeAxis& axis)
    : _axis(axis),
      _taps(WholeGroups(axis.maxLen)),
      _counts(phases),
      _memory(host, TableBytes(_taps)),
      _data(static_cast<float*>(_memory.Data())) {
    for (std::int32_t phase = 0; phase < phases; ++phase) {
        FillPhase(phase);
    }
}

void ResizeTable::FillPhase(std::int32_t phase) {
    // A tap position is rounded up to a sample, so it lies at or before it: the fraction is negative.
    const double fraction = phase == 0 ? 0.0 : phase / 256.0 - 1.0;
    float* row = _data + std::int64_t{phase} * _taps;
    std::fill(row, row + _taps, 0.0F);
    double sum = 0;
    std::int32_t count = 0;
    for (std::int32_t k = 0; k < _axis.maxLen; ++k) {
        row[k] = static_cast<float>(MitchellCubic((k + _axis.start - fraction) / _axis.width));
        sum += row[k];
        count = row[k] != 0 ? k + 1 : count;
    }
    if (count < 2) {
        count = 1;
        row[0] = 1;
        sum = 1;
    }
    _counts[static_cast<std::size_t>(phase)] = count;
    float* channels = _data + std::int64_t{phases} * _taps + 4 * std::int64_t{phase} * _taps;
    for (std::int32_t k = 0; k < _taps; ++k) {
        row[k] = static_cast<float>(row[k] / sum);
        std::fill(channels + std::int64_t{4} * k, channels + std::int64_t{4} * k + 4, row[k]);
    }
}

ResizePosition ResizeTable::Position(std::int32_t index) const {
    // Rounds up, but forgives a fraction below 1/512: the nearest phase of such a position is 0.
    constexpr double almostOne = 511.0 / 512.0;
    const double x = _axis.Begin(index);
    const double base = std::min(std::floor(x), 0.0);
    const auto first = static_cast<std::int32_t>(static_cast<std::int64_t>(x - base + almostOne) +
                                                 static_cast<std::int64_t>(base));
    double fraction = x - first;
    if (fraction < 0) {
        fraction += 1;
    }
    return {first, static_cast<std::int32_t>(static_cast<std::int64_t>(fraction * 256 + 0.5))};
}

}  // namespace TQ::IP
