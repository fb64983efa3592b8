#include "ip/filters/DISHalving.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ip/filters/ResizeTable.h"

namespace TQ::IP {

namespace {

constexpr int rowsPerPart = 64;
/// Levels as small as this are not worth a second thread.
constexpr std::int32_t rowsInOnePart = 160;
constexpr std::int32_t border = halvingReach + 1;
constexpr std::int32_t pairCount = halvingTaps / 2;

/// The cubic of the resize filter, stretched to halve, at the middle between two pixels of the larger
/// picture.
HalvingWeights WeightsOfHalving() {
    constexpr int one = 1 << 15;
    constexpr int middle = halvingTaps / 2;
    double cubic[middle];
    double sum = 0;
    for (int i = 0; i < middle; ++i) {
        cubic[i] = MitchellCubic((i + 0.5) / 2);
        sum += 2 * cubic[i];
    }
    HalvingWeights weights{};
    int rest = one / 2;
    for (int i = middle - 1; i >= 0; --i) {
        // What rounding lost goes to the largest weight.
        const auto weight = i == 0 ? rest : static_cast<int>(std::lround(cubic[i] / sum * one));
        weights.tap[middle + i] = weights.tap[middle - 1 - i] = static_cast<std::int16_t>(weight);
        rest -= weight;
    }
    return weights;
}

void RepeatEnds(std::int16_t* row, std::int32_t width) {
    std::fill(row - border, row, row[0]);
    std::fill(row + width, row + width + border, row[width - 1]);
}

}  // namespace

DISHalving::DISHalving(Host& host, const Layer& picture, const DISLevels& levels, SampleStorage storage,
                       const GreyParameters& parameters)
    : _host(host),
      _picture(picture),
      _levels(levels),
      _parameters(parameters),
      _kernels(BestFlowKernels()),
      _storage(static_cast<int>(storage)),
      _weights(WeightsOfHalving()) {
    _larger.size = _levels.At(0);
}

bool DISHalving::Run(Layer& pyramid) {
    for (std::int32_t level = 1; level <= _levels.Coarsest() && _isInside; ++level) {
        _half = NewPlane(level);
        HalveLevel(pyramid, level);
        _larger = std::move(_half);
        _host.CheckAbort(false);
    }
    return _isInside;
}

DISHalving::Plane DISHalving::NewPlane(std::int32_t level) const {
    Plane plane;
    plane.size = _levels.At(level);
    plane.pitch = plane.size.width + 2 * border;
    plane.memory = std::make_unique<Memory>(
        _host, static_cast<std::size_t>(plane.pitch * plane.size.height) * sizeof(std::int16_t));
    plane.pixels = static_cast<std::int16_t*>(plane.memory->Data()) + border;
    return plane;
}

void DISHalving::HalveLevel(Layer& pyramid, std::int32_t level) {
    const DISLevel& size = _half.size;
    const bool isKept = level >= _levels.Finest();
    const DISGreyPlane grey = isKept ? DISPyramidLevel(pyramid, _levels, level) : DISGreyPlane{nullptr, 0};
    const auto pairBytes = static_cast<std::size_t>(pairCount * size.width) * sizeof(std::int32_t);
    const auto rowValues = static_cast<std::size_t>(_larger.size.width + 2 * border);
    std::vector<std::unique_ptr<Memory>> scratch;
    for (int slot = 0; slot < ThreadSlots(_host); ++slot) {
        scratch.push_back(std::make_unique<Memory>(_host, pairBytes + 3 * rowValues * sizeof(std::int16_t)));
    }
    const RowParts parts(size.height, size.height <= rowsInOnePart ? size.height : rowsPerPart);
    ForParts(_host, parts.Count(), [&](int part, int slot) {
        auto* pairs = static_cast<std::int32_t*>(scratch[static_cast<std::size_t>(slot)]->Data());
        auto* rows = reinterpret_cast<std::int16_t*>(pairs + pairCount * size.width);
        HalveBand(parts.At(part), grey, {pairs, rows, rows + 2 * rowValues});
    });
}

void DISHalving::HalveBand(const RowRange& rows, const DISGreyPlane& grey, const Scratch& scratch) {
    const std::int32_t width = _half.size.width;
    int nextPair = rows.begin;
    for (int y = rows.begin; y < rows.end; ++y) {
        for (; nextPair < y + pairCount; ++nextPair) {
            HalvePair(nextPair, scratch);
        }
        const std::int32_t* pairs[pairCount];
        for (int i = 0; i < pairCount; ++i) {
            pairs[i] = scratch.pairs + (y + i) % pairCount * width;
        }
        std::int16_t* fine = _half.pixels + y * _half.pitch;
        const bool isKept = grey.pixels != nullptr;
        _kernels.halveRows(fine, isKept ? grey.pixels + y * grey.pitch : scratch.grey, pairs, width,
                           _weights);
        RepeatEnds(fine, width);
        if (isKept) {
            FinishGreyRow(grey, y, width, _half.size.height);
        }
    }
}

/// Row y of the half takes the pairs y to y + 3.
void DISHalving::HalvePair(std::int32_t pair, const Scratch& scratch) {
    const std::int32_t first = 2 * pair - halvingReach;
    const std::int16_t* above = LargerRow(first, scratch.rows);
    const std::int16_t* below = LargerRow(first + 1, scratch.rows + _larger.size.width + 2 * border);
    _kernels.halveColumns(scratch.pairs + pair % pairCount * _half.size.width, above, below, _half.size.width,
                          _weights);
}

const std::int16_t* DISHalving::LargerRow(std::int32_t y, std::int16_t* scratch) {
    const std::int32_t row = std::clamp(y, 0, _larger.size.height - 1);
    if (_larger.pixels != nullptr) {
        return _larger.pixels + row * _larger.pitch;
    }
    const Bounds& bounds = _picture.Bounds();
    std::int16_t* grey = scratch + border;
    if (!_kernels.fineGreyRow[_storage](grey, _picture.PixelAddress(bounds.x1, bounds.y1 + row),
                                        _larger.size.width, _parameters)) {
        _isInside = false;
    }
    RepeatEnds(grey, _larger.size.width);
    return grey;
}

}  // namespace TQ::IP
