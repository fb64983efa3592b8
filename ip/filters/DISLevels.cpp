#include "ip/filters/DISLevels.h"

#include <algorithm>
#include <cmath>

#include "ip/kernels/FlowKernels.h"

namespace TQ::IP {

std::int32_t CoarsestByWidth(std::int32_t width) {
    const float octaves = std::log(2.0F * static_cast<float>(std::max(width, 1)) * 0.03125F) / std::log(2.0F);
    return std::max(static_cast<std::int32_t>(octaves + 0.5F) - 1, 0);
}

DISLevels::DISLevels(std::int32_t width, std::int32_t height, std::int32_t finestScale,
                     std::int32_t patchStride)
    : _width(width), _height(height), _stride(patchStride) {
    _coarsest = CoarsestByWidth(width);
    _finest = std::min(_coarsest, finestScale);
    while (_coarsest >= _finest && std::min(width >> _coarsest, height >> _coarsest) < flowPatchSize) {
        --_coarsest;
    }
}

DISLevel DISLevels::At(std::int32_t level) const {
    const std::int32_t width = _width >> level;
    const std::int32_t height = _height >> level;
    return {width, height, (width - flowPatchSize) / _stride + 1, (height - flowPatchSize) / _stride + 1};
}

}  // namespace TQ::IP
