#include "ip/filters/DISGradientsFilter.h"

#include <algorithm>
#include <utility>

#include "ip/filters/DISPyramidFilter.h"
#include "ip/filters/Parts.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

constexpr int rowsPerPart = 64;
constexpr std::int32_t sumKinds = 5;

std::int32_t LevelRow(const DISLevels& levels, std::int32_t level) {
    std::int32_t row = 0;
    for (std::int32_t finer = levels.Finest(); finer < level; ++finer) {
        row += levels.At(finer).height + sumKinds * levels.At(finer).rows;
    }
    return row;
}

}  // namespace

Bounds DISGradientsBounds(const DISLevels& levels) {
    return {0, 0, levels.At(levels.Finest()).width, LevelRow(levels, levels.Coarsest() + 1)};
}

FlowLevel DISGradientsLevel(const Layer& gradients, const Layer& pyramid, const DISLevels& levels,
                            std::int32_t level) {
    const DISLevel size = levels.At(level);
    const std::int32_t row = LevelRow(levels, level);
    const DISGreyPlane grey = DISPyramidLevel(pyramid, levels, level);
    const auto sums = [&](std::int32_t kind) {
        return reinterpret_cast<std::int32_t*>(
            gradients.PixelAddress(0, row + size.height + kind * size.rows));
    };
    FlowLevel view{};
    view.width = size.width;
    view.height = size.height;
    view.columns = size.columns;
    view.rows = size.rows;
    view.stride = levels.Stride();
    view.reference = grey.pixels;
    view.referencePitch = grey.pitch;
    view.gradientX = reinterpret_cast<std::int16_t*>(gradients.PixelAddress(0, row));
    view.gradientY = view.gradientX + size.width;
    view.gradientPitch = gradients.RowBytes() / static_cast<std::int64_t>(sizeof(std::int16_t));
    view.sumXX = sums(0);
    view.sumYY = sums(1);
    view.sumXY = sums(2);
    view.sumX = sums(3);
    view.sumY = sums(4);
    view.sumPitch = gradients.RowBytes() / static_cast<std::int64_t>(sizeof(std::int32_t));
    return view;
}

void BuildDISGradients(Host& host, Layer& gradients, const Layer& pyramid, const DISLevels& levels) {
    const FlowKernels& kernels = BestFlowKernels();
    for (std::int32_t index = levels.Finest(); index <= levels.Coarsest(); ++index) {
        const FlowLevel level = DISGradientsLevel(gradients, pyramid, levels, index);
        const RowParts pixelRows(level.height, rowsPerPart);
        ForParts(host, pixelRows.Count(), [&](int part, int /*slot*/) {
            const RowRange rows = pixelRows.At(part);
            for (int y = rows.begin; y < rows.end; ++y) {
                kernels.sobelRow(level, y);
            }
        });
        const RowParts patchRows = RowParts::InParts(level.rows, std::min(pixelRows.Count(), level.rows));
        ForParts(host, patchRows.Count(), [&](int part, int /*slot*/) {
            const RowRange rows = patchRows.At(part);
            for (int row = rows.begin; row < rows.end; ++row) {
                kernels.structureRow(level, row);
            }
        });
        host.CheckAbort(false);
    }
}

DISGradientsFilter::DISGradientsFilter(std::shared_ptr<FilterBase> pyramid, const DISLevels& levels)
    : _levels(levels) {
    if (!pyramid || levels.IsNone()) {
        throw Exception("optflow", "Missing input.");
    }
    AddInput(std::move(pyramid));
}

bool DISGradientsFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const DISGradientsFilter*>(&other);
    return same != nullptr && _levels == same->_levels;
}

Bounds DISGradientsFilter::GetBounds() const {
    return DISGradientsBounds(_levels);
}

Bounds DISGradientsFilter::GetInputRegion(const Bounds& /*wanted*/, int input) const {
    return inputs[static_cast<std::size_t>(input)]->GetBounds();
}

PixelFormat DISGradientsFilter::GetInputFormat(const PixelFormat& /*wanted*/, int input) const {
    return inputs[static_cast<std::size_t>(input)]->GetFormat();
}

void DISGradientsFilter::RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) {
    BuildDISGradients(host, output, *inputLayers.at(0), _levels);
}

}  // namespace TQ::IP
