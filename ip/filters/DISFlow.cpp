#include "ip/filters/DISFlow.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "ip/filters/DISGradientsFilter.h"
#include "ip/filters/DISPyramidFilter.h"
#include "ip/filters/Parts.h"

namespace TQ::IP {

namespace {

constexpr int rowsPerPart = 64;
constexpr int fewestBandRows = 2;

std::unique_ptr<Memory> NewMemory(Host& host, std::int64_t count, std::size_t size) {
    return std::make_unique<Memory>(host, static_cast<std::size_t>(count) * size);
}

template <class Value>
Value* Data(const Memory& memory) {
    return static_cast<Value*>(memory.Data());
}

/// One working area of `floats` floats for each thread.
std::vector<std::unique_ptr<Memory>> NewScratch(Host& host, std::int64_t floats) {
    std::vector<std::unique_ptr<Memory>> scratch;
    for (int slot = 0; slot < ThreadSlots(host); ++slot) {
        scratch.push_back(NewMemory(host, floats, sizeof(float)));
    }
    return scratch;
}

std::int64_t PixelsOf(const DISLevels& levels, std::int32_t level) {
    const DISLevel size = levels.At(level);
    return std::int64_t{size.width} * size.height;
}

std::int64_t CoarserPixelsOf(const DISLevels& levels) {
    return levels.Coarsest() > levels.Finest() ? PixelsOf(levels, levels.Finest() + 1) : 0;
}

std::int64_t PatchesOf(const DISLevels& levels) {
    const DISLevel size = levels.At(levels.Finest());
    return std::int64_t{size.columns} * size.rows;
}

}  // namespace

DISFlow::DISFlow(Host& host, const DISLevels& levels, std::int32_t iterations, std::int32_t bands)
    : _host(host),
      _levels(levels),
      _iterations(iterations),
      _bands(bands),
      _kernels(BestFlowKernels()),
      _pixels(PixelsOf(levels, levels.Finest())),
      _patches(PatchesOf(levels)),
      _coarserPixels(CoarserPixelsOf(levels)),
      _displacements(NewMemory(host, 2 * _patches, sizeof(float))),
      _flow(NewMemory(host, 2 * (_pixels + _coarserPixels), sizeof(float))) {
}

std::uint64_t DISFlow::MemoryNeeded(const DISLevels& levels) {
    const std::int64_t pixels = PixelsOf(levels, levels.Finest());
    const std::int64_t patches = PatchesOf(levels);
    const std::int64_t scratch = DensifyScratch(levels.At(levels.Finest()).width, levels.Stride());
    const std::int64_t words = 2 * patches + 2 * (pixels + CoarserPixelsOf(levels)) + scratch;
    return static_cast<std::uint64_t>(words) * sizeof(float);
}

DISFlow::Plane DISFlow::PlaneOf(std::int32_t index) const {
    const DISLevel size = _levels.At(index);
    const bool second = (index - _levels.Finest()) % 2 != 0;
    auto* u = Data<float>(*_flow) + (second ? 2 * _pixels : 0);
    return {u, u + std::int64_t{size.width} * size.height, size.width, size.height, size.width};
}

FlowLevel DISFlow::View(std::int32_t index, const DISPictures& pictures) const {
    FlowLevel level = DISGradientsLevel(pictures.gradients, pictures.reference, _levels, index);
    const DISGreyPlane moved = DISPyramidLevel(pictures.moved, _levels, index);
    const Plane flow = PlaneOf(index);
    level.moved = moved.pixels;
    level.movedPitch = moved.pitch;
    level.patchU = Data<float>(*_displacements);
    level.patchV = level.patchU + _patches;
    level.flowU = flow.u;
    level.flowV = flow.v;
    level.flowPitch = flow.pitch;
    return level;
}

void DISFlow::Run(Layer& output, const Bounds& frame, const DISPictures& pictures) {
    for (std::int32_t index = _levels.Coarsest(); index >= _levels.Finest(); --index) {
        const FlowLevel level = View(index, pictures);
        const Plane flow = PlaneOf(index);
        if (index == _levels.Coarsest()) {
            std::fill(flow.u, flow.u + 2 * flow.pitch * flow.height, 0.0F);
        } else {
            Enlarge(PlaneOf(index + 1), flow);
        }
        EndStages(4);  // pyramids and gradients
        Search(level);
        Densify(level);
    }
    Store(PlaneOf(_levels.Finest()), output, frame);
}

void DISFlow::EndStages(int count) {
    _host.GetProgressState().levels[0].current += static_cast<std::uint64_t>(count);
    _host.CheckAbort(false);
}

void DISFlow::SearchBands(const FlowLevel& level, const RowParts& bands, RowRange group, bool forward) {
    const RowRange first = bands.At(group.begin);
    const int mostRows = first.end - first.begin + 1;  // bands differ by one row at most
    for (int step = 0; step < mostRows; ++step) {
        _host.CheckAbort(true);
        int rows[flowRowsTogether];
        int count = 0;
        for (int band = group.begin; band < group.end; ++band) {
            const RowRange range = bands.At(band);
            if (step < range.end - range.begin) {
                rows[count++] = forward ? range.begin + step : range.end - 1 - step;
            }
        }
        _kernels.searchRows(level, rows, count, forward, step > 0, _iterations / 2);
    }
}

void DISFlow::Search(const FlowLevel& level) {
    const RowParts bands =
        RowParts::InParts(level.rows, std::min(_bands, std::max(level.rows / fewestBandRows, 1)));
    // Bands side by side are faster, but enough work must be left for every thread.
    const bool isEnough = bands.Count() >= 2 * flowRowsTogether * ThreadSlots(_host);
    const int together = isEnough ? flowRowsTogether : 1;
    ForParts(_host, (bands.Count() + together - 1) / together, [&](int part, int /*slot*/) {
        const int begin = part * together;
        const RowRange group{begin, std::min(begin + together, bands.Count())};
        SearchBands(level, bands, group, true);
        SearchBands(level, bands, group, false);
    });
    EndStages(1);
}

void DISFlow::Densify(const FlowLevel& level) {
    const RowParts parts(level.height, rowsPerPart);
    const auto scratch = NewScratch(_host, DensifyScratch(level.width, _levels.Stride()));
    ForParts(_host, parts.Count(), [&](int part, int slot) {
        const RowRange rows = parts.At(part);
        _kernels.densifyRows(level, rows.begin, rows.end,
                             Data<float>(*scratch[static_cast<std::size_t>(slot)]));
    });
    EndStages(1);
}

void DISFlow::EnlargeRow(const Plane& source, int x, int y, int count, int factor, float* u, float* v) const {
    const float position = (static_cast<float>(y) + 0.5F) / static_cast<float>(factor) - 0.5F;
    const int row = static_cast<int>(std::floor(position));
    const float blend = position - static_cast<float>(row);
    const std::int64_t above = std::clamp(row, 0, source.height - 1) * source.pitch;
    const std::int64_t below = std::clamp(row + 1, 0, source.height - 1) * source.pitch;
    _kernels.enlargeRow(u, x, count, source.u + above, source.u + below, blend, source.width, factor);
    _kernels.enlargeRow(v, x, count, source.v + above, source.v + below, blend, source.width, factor);
}

void DISFlow::Enlarge(const Plane& source, const Plane& target) {
    const RowParts parts(target.height, rowsPerPart);
    ForParts(_host, parts.Count(), [&](int part, int /*slot*/) {
        const RowRange rows = parts.At(part);
        for (int y = rows.begin; y < rows.end; ++y) {
            EnlargeRow(source, 0, y, target.width, 2, target.u + y * target.pitch,
                       target.v + y * target.pitch);
        }
    });
    EndStages(1);
}

void DISFlow::Store(const Plane& source, Layer& output, const Bounds& frame) {
    const Bounds region = Intersect(output.Bounds(), frame);
    const int width = Width(region);
    const RowParts parts(Height(region), rowsPerPart);
    const auto scratch = NewScratch(_host, 2 * std::int64_t{width});
    ForParts(_host, parts.Count(), [&](int part, int slot) {
        const RowRange rows = parts.At(part);
        auto* u = Data<float>(*scratch[static_cast<std::size_t>(slot)]);
        for (int y = region.y1 + rows.begin; y < region.y1 + rows.end; ++y) {
            EnlargeRow(source, region.x1 - frame.x1, y - frame.y1, width, 1 << _levels.Finest(), u,
                       u + width);
            _kernels.storeFlow(output.PixelAddress(region.x1, y), u, u + width, width);
        }
    });
    EndStages(1);
}

}  // namespace TQ::IP
