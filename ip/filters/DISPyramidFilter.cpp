#include "ip/filters/DISPyramidFilter.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "ip/filters/DISHalving.h"
#include "ip/filters/Parts.h"
#include "ip/filters/ResizeFilter.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

constexpr std::int32_t valuesPerPixel = 2;
constexpr int greyRowsPerPart = 64;
/// Half a pixel of the larger picture, in pixels of the smaller.
constexpr float centreOfTwo = 0.25F;
/// Grey of white, red, green and blue; the sum is above 255, so that near white all is white.
constexpr float greyWeights[3] = {76.5F, 153.0F, 28.05F};

struct FormatRow {
    SampleStorage storage;
    float white;
    int red, green, blue;
};

/// In the order of KernelFormat.
constexpr FormatRow formatRows[kernelFormatCount] = {
    {SampleStorage::Byte, 255, 0, 1, 2},    {SampleStorage::Byte, 255, 1, 2, 3},
    {SampleStorage::Byte, 255, 2, 1, 0},    {SampleStorage::Byte, 255, 3, 2, 1},
    {SampleStorage::Short, 32768, 1, 2, 3}, {SampleStorage::Short, 32768, 2, 1, 0},
    {SampleStorage::Short, 16384, 0, 1, 2}, {SampleStorage::Short, 16384, 1, 2, 3},
    {SampleStorage::Short, 16384, 2, 1, 0}, {SampleStorage::Short, 16384, 3, 2, 1},
    {SampleStorage::Short, 65535, 0, 1, 2}, {SampleStorage::Float, 1, 0, 1, 2},
    {SampleStorage::Float, 1, 1, 2, 3},     {SampleStorage::Float, 1, 2, 1, 0},
    {SampleStorage::Float, 1, 3, 2, 1},
};

FormatRow FormatRowOf(const Layer& layer) {
    KernelFormat format;
    if (!layer.HasPixels() || !KernelFormatOf(layer, format)) {
        throw Exception("optflow", "There is no processor code for images of this pixel format.");
    }
    return formatRows[static_cast<int>(format)];
}

std::int32_t LevelRow(const DISLevels& levels, std::int32_t level) {
    std::int32_t row = 0;
    for (std::int32_t finer = levels.Finest(); finer < level; ++finer) {
        row += levels.At(finer).height + 2 * flowBorder;
    }
    return row;
}

/// Copies a finished row, border included, to `count` rows at a distance of `pitch`.
void RepeatRow(std::int16_t* row, std::int32_t width, std::int64_t pitch) {
    std::int16_t* source = row - flowBorder;
    for (int i = 1; i <= flowBorder; ++i) {
        std::memcpy(source + i * pitch, source,
                    static_cast<std::size_t>(width + 2 * flowBorder) * sizeof(std::int16_t));
    }
}

GreyParameters GreyOf(const FormatRow& format) {
    GreyParameters parameters{{format.red, format.green, format.blue}, {}, format.white};
    for (int i = 0; i < 3; ++i) {
        parameters.weight[i] = greyWeights[i] / format.white;
    }
    return parameters;
}

void BuildGrey(Host& host, const DISGreyPlane& plane, const Layer& picture) {
    const FormatRow format = FormatRowOf(picture);
    const GreyParameters parameters = GreyOf(format);
    const auto greyRow = BestFlowKernels().greyRow[static_cast<int>(format.storage)];
    const Bounds bounds = picture.Bounds();
    const int width = Width(bounds);
    const int height = Height(bounds);
    const RowParts parts(height, greyRowsPerPart);
    ForParts(host, parts.Count(), [&](int part, int /*slot*/) {
        const RowRange rows = parts.At(part);
        for (int y = rows.begin; y < rows.end; ++y) {
            greyRow(plane.pixels + y * plane.pitch, picture.PixelAddress(bounds.x1, bounds.y1 + y), width,
                    parameters);
            FinishGreyRow(plane, y, width, height);
        }
    });
}

std::shared_ptr<Layer> Halve(Host& host, Layer& picture, const DISLevel& size) {
    const Bounds bounds{0, 0, size.width, size.height};
    auto half = std::make_shared<Layer>(host);
    half->AllocateRegionLike(picture, bounds);
    // The flow takes pixel x of a level for the pixels 2 x and 2 x + 1 of the next finer one, so it is
    // sampled at 2 x + 0.5: asked for rectangles of 2 n - 1 and n pixels, the filter takes steps of
    // exactly 2. It still reads what lies beyond the rectangle.
    const Bounds whole = picture.Bounds();
    picture.ValidBounds() = {whole.x1, whole.y1, whole.x1 + 2 * size.width - 1,
                             whole.y1 + 2 * size.height - 1};
    const auto resize = std::make_shared<ResizeFilter>(std::make_shared<FilterLayer>(&picture), bounds);
    resize->reportsProgress = false;
    resize->sampleOffset = centreOfTwo;
    resize->RunHost(host, *half, {&picture});
    return half;
}

}  // namespace

Bounds DISPyramidBounds(const DISLevels& levels) {
    const std::int32_t width = levels.At(levels.Finest()).width + 2 * flowBorder;
    return {0, 0, (width + valuesPerPixel - 1) / valuesPerPixel, LevelRow(levels, levels.Coarsest() + 1)};
}

DISGreyPlane DISPyramidLevel(const Layer& pyramid, const DISLevels& levels, std::int32_t level) {
    const std::int64_t pitch = pyramid.RowBytes() / static_cast<std::int64_t>(sizeof(std::int16_t));
    auto* first = reinterpret_cast<std::int16_t*>(pyramid.PixelAddress(0, LevelRow(levels, level)));
    return {first + flowBorder * pitch + flowBorder, pitch};
}

void FinishGreyRow(const DISGreyPlane& plane, std::int32_t y, std::int32_t width, std::int32_t height) {
    std::int16_t* row = plane.pixels + y * plane.pitch;
    std::fill(row - flowBorder, row, row[0]);
    std::fill(row + width, row + width + flowBorder, row[width - 1]);
    if (y == 0) {
        RepeatRow(row, width, -plane.pitch);
    }
    if (y == height - 1) {
        RepeatRow(row, width, plane.pitch);
    }
}

void BuildDISPyramid(Host& host, Layer& pyramid, const Layer& picture, const Bounds& frame,
                     const DISLevels& levels) {
    const FormatRow format = FormatRowOf(picture);
    auto current = std::make_shared<Layer>(host);
    current->ShareRegion(picture, frame);
    if (levels.Finest() == 0) {
        BuildGrey(host, DISPyramidLevel(pyramid, levels, 0), *current);
    }
    if (DISHalving(host, *current, levels, format.storage, GreyOf(format)).Run(pyramid)) {
        return;
    }
    for (std::int32_t level = 1; level <= levels.Coarsest(); ++level) {
        current = Halve(host, *current, levels.At(level));
        if (level >= levels.Finest()) {
            BuildGrey(host, DISPyramidLevel(pyramid, levels, level), *current);
        }
        host.CheckAbort(false);
    }
}

DISPyramidFilter::DISPyramidFilter(std::shared_ptr<FilterBase> input, const Bounds& frame,
                                   const DISLevels& levels)
    : _frame(frame), _levels(levels) {
    if (!input || IsEmpty(frame) || levels.IsNone()) {
        throw Exception("optflow", "Missing input.");
    }
    AddInput(std::move(input));
}

bool DISPyramidFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const DISPyramidFilter*>(&other);
    return same != nullptr && _frame == same->_frame && _levels == same->_levels;
}

Bounds DISPyramidFilter::GetBounds() const {
    return DISPyramidBounds(_levels);
}

Bounds DISPyramidFilter::GetInputRegion(const Bounds& /*wanted*/, int input) const {
    return inputs[static_cast<std::size_t>(input)]->GetBounds();
}

PixelFormat DISPyramidFilter::AdjustFormat(const PixelFormat& inputFormat) const {
    PixelFormat bytes = inputFormat;
    bytes.channels = 4;
    bytes.depth = PixelDepth::Unsigned8;
    bytes.whiteLevel = 0;
    return bytes;
}

PixelFormat DISPyramidFilter::GetInputFormat(const PixelFormat& /*wanted*/, int input) const {
    return inputs[static_cast<std::size_t>(input)]->GetFormat();
}

std::uint64_t DISPyramidFilter::ExtraMemoryNeeded(const GPGPUContext* /*context*/,
                                                  const Bounds& /*outputRegion*/,
                                                  const PixelFormat& /*outputFormat*/) const {
    // Two reduced pictures exist at a time; the first two are the largest.
    const auto bytes = [&](std::int32_t level) {
        const DISLevel size = _levels.At(level);
        return static_cast<std::uint64_t>(size.width) * static_cast<std::uint64_t>(size.height) *
               static_cast<std::uint64_t>(BytesPerPixel(inputs[0]->GetFormat()));
    };
    return _levels.Coarsest() == 0 ? 0 : bytes(1) + (_levels.Coarsest() > 1 ? bytes(2) : 0);
}

void DISPyramidFilter::RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) {
    BuildDISPyramid(host, output, *inputLayers.at(0), _frame, _levels);
}

}  // namespace TQ::IP
