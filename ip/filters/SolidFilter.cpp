#include "ip/filters/SolidFilter.h"

#include <algorithm>
#include <cmath>

namespace TQ::IP {

namespace {

constexpr KernelUse solidUse{"solid", KernelId::Solid, KernelUse::formatOfOutput, LayerKind::Picture, {}};
constexpr KernelUse rampUse{"ramp", KernelId::Ramp, KernelUse::formatOfOutput, LayerKind::Picture, {}};

}  // namespace

SolidFilter::SolidFilter(float red, float green, float blue) {
    _colors.fill({red, green, blue});
}

void SolidFilter::SetAmounts(float amount1, float amount2) {
    _amount1 = amount1;
    _amount2 = amount2;
}

void SolidFilter::SetColors(const std::array<Color, 4>& colors) {
    _colors = colors;
}

void SolidFilter::SetPoints(const Point& start, const Point& end) {
    _start = start;
    _end = end;
}

bool SolidFilter::IsSolid() const {
    return std::all_of(_colors.begin(), _colors.end(),
                       [&](const Color& color) { return color == _colors[0]; });
}

const KernelUse& SolidFilter::Use() const {
    return IsSolid() ? solidUse : rampUse;
}

bool SolidFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const SolidFilter*>(&other);
    return same != nullptr && KernelFilter::IsEqual(other) && _amount1 == same->_amount1 &&
           _amount2 == same->_amount2 && _colors == same->_colors && _start == same->_start &&
           _end == same->_end;
}

RampParameters SolidFilter::MakeRampParameters() const {
    RampParameters parameters{_amount1, _amount2, {_start[0], _start[1]}, {}, {}};
    float x = _end[0] - _start[0];
    float y = _end[1] - _start[1];
    const float squaredLength = x * x + y * y;
    if (squaredLength > 0.0F) {
        // Divided by the squared length, so that the product with an offset counts in lengths of the line.
        const float inverseLength = 1.0F / std::sqrt(squaredLength);
        x = x * inverseLength * inverseLength;
        y = y * inverseLength * inverseLength;
    }
    parameters.direction[0] = x;
    parameters.direction[1] = y;
    for (std::size_t i = 0; i < _colors.size(); ++i) {
        std::copy(_colors[i].begin(), _colors[i].end(), parameters.colors[i]);
    }
    return parameters;
}

void SolidFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    if (IsSolid()) {
        const SolidParameters parameters{{_colors[0][0], _colors[0][1], _colors[0][2]}};
        RunKernelRows(rows, &parameters, threadIndex);
    } else {
        const RampParameters parameters = MakeRampParameters();
        RunKernelRows(rows, &parameters, threadIndex);
    }
}

}  // namespace TQ::IP
