#include "ip/filters/ResizeRun.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace TQ::IP {

namespace {

constexpr int channels = 4;
constexpr std::size_t rowAlignment = 64;
constexpr std::int32_t noRow = INT32_MIN;

std::size_t Aligned(std::size_t bytes) {
    return (bytes + rowAlignment - 1) / rowAlignment * rowAlignment;
}

std::size_t RowFloats(std::size_t pixels) {
    return Aligned(pixels * channels * sizeof(float)) / sizeof(float);
}

/// Pictures with white at 16384 keep what lies above white.
float StoreMaximum(const Layer& layer) {
    if (layer.ChannelBits() == 8) {
        return 255.0F;
    }
    return layer.WhiteLevel() == 32768 ? 32768.0F : 65535.0F;
}

int StorageOf(const Layer& layer) {
    const auto storage = layer.ChannelBits() == 8    ? SampleStorage::Byte
                         : layer.ChannelBits() == 16 ? SampleStorage::Short
                                                     : SampleStorage::Float;
    return static_cast<int>(storage);
}

void FillPixels(float* target, std::int32_t count, const float* pixel) {
    for (std::int32_t i = 0; i < count; ++i) {
        std::memcpy(target + std::int64_t{channels} * i, pixel, channels * sizeof(float));
    }
}

}  // namespace

ResizeRun::ResizeRun(Host& host, Layer& target, const Bounds& outBounds, const Layer& source,
                     const Bounds& inBounds, const ResizeAxis& alongX, const ResizeAxis& alongY)
    : _host(host),
      _target(target),
      _source(source),
      _outBounds(outBounds),
      _sourceBounds({source.Bounds().x1 - inBounds.x1, source.Bounds().y1 - inBounds.y1,
                     source.Bounds().x2 - inBounds.x1, source.Bounds().y2 - inBounds.y1}),
      _alongX(host, alongX),
      _alongY(host, alongY),
      _kernels(BestFlowKernels()),
      _storage(StorageOf(source)),
      _maximum(StoreMaximum(source)) {
    const Bounds& region = target.Bounds();
    for (std::int32_t x = region.x1; x < region.x2; ++x) {
        _columns.push_back(_alongX.Position(x - outBounds.x1));
    }
    _firstSample = _columns.front().first;
    _sampleCount = _columns.back().first + _alongX.Taps() - _firstSample;
    for (ResizePosition& column : _columns) {
        column.first -= _firstSample;
    }
    for (int i = 0; i < std::max(host.GetThreadCount(), 1); ++i) {
        _scratch.push_back(std::make_unique<Memory>(host, ScratchBytes()));
    }
}

std::size_t ResizeRun::ScratchBytes() const {
    const auto rows = static_cast<std::size_t>(_alongY.Taps());
    return rowAlignment +
           (RowFloats(static_cast<std::size_t>(_sampleCount)) + rows * RowFloats(_columns.size())) *
               sizeof(float) +
           rows * (sizeof(const float*) + sizeof(std::int32_t));
}

ResizeRun::Scratch ResizeRun::ScratchOf(int index) const {
    const auto rows = static_cast<std::size_t>(_alongY.Taps());
    void* data = _scratch[static_cast<std::size_t>(index)]->Data();
    std::size_t space = ScratchBytes();
    data = std::align(rowAlignment, ScratchBytes() - rowAlignment, data, space);
    Scratch scratch{};
    scratch.samples = static_cast<float*>(data);
    scratch.ring = scratch.samples + RowFloats(static_cast<std::size_t>(_sampleCount));
    scratch.tapRows = reinterpret_cast<const float**>(scratch.ring + rows * RowFloats(_columns.size()));
    scratch.ringRows = reinterpret_cast<std::int32_t*>(scratch.tapRows + rows);
    std::fill(scratch.ringRows, scratch.ringRows + rows, noRow);
    return scratch;
}

void ResizeRun::Run() {
    const BandFunction runBand = [](int index, int count, int /*threadIndex*/, void* argument) {
        const auto& self = *static_cast<const ResizeRun*>(argument);
        const Bounds& region = self._target.Bounds();
        const std::int64_t height = Height(region);
        self.RunBand(static_cast<std::int32_t>(region.y1 + height * index / count),
                     static_cast<std::int32_t>(region.y1 + height * (index + 1) / count),
                     self.ScratchOf(index));
    };
    _host.ParallelFor(runBand, this, static_cast<int>(_scratch.size()));
}

void ResizeRun::LoadRow(std::int32_t row, float* samples) const {
    const std::int32_t begin = std::clamp(_firstSample, _sourceBounds.x1, _sourceBounds.x2 - 1);
    const std::int32_t end = std::clamp(_firstSample + _sampleCount, begin + 1, _sourceBounds.x2);
    const unsigned char* pixels = _source.PixelAddress(_source.Bounds().x1 + begin - _sourceBounds.x1,
                                                       _source.Bounds().y1 + row - _sourceBounds.y1);
    // Taps that all lie right of the source read its last pixel.
    const std::int32_t before = std::clamp(begin - _firstSample, 0, _sampleCount - 1);
    const std::int32_t inside = std::min(end - begin, _sampleCount - before);
    float* first = samples + std::int64_t{channels} * before;
    _kernels.loadSamples[_storage](first, pixels, inside * channels);
    FillPixels(samples, before, first);
    const float* last = first + std::int64_t{channels} * (inside - 1);
    FillPixels(first + std::int64_t{channels} * inside, _sampleCount - before - inside, last);
}

const float* ResizeRun::FilteredRow(std::int32_t row, const Scratch& scratch) const {
    const std::int32_t source = std::clamp(row, _sourceBounds.y1, _sourceBounds.y2 - 1);
    // The rows in use at a time are fewer than the ring has, so that no two of them share a place.
    const std::int32_t slot = (source - _sourceBounds.y1) % _alongY.Taps();
    float* filtered = scratch.ring + static_cast<std::size_t>(slot) * RowFloats(_columns.size());
    if (scratch.ringRows[slot] != source) {
        LoadRow(source, scratch.samples);
        _kernels.filterRow(filtered, scratch.samples, _columns.data(), static_cast<int>(_columns.size()),
                           _alongX.ChannelWeights(), _alongX.Taps());
        scratch.ringRows[slot] = source;
    }
    return filtered;
}

void ResizeRun::RunBand(std::int32_t y1, std::int32_t y2, const Scratch& scratch) const {
    const int count = static_cast<int>(_columns.size()) * channels;
    for (std::int32_t y = y1; y < y2; ++y) {
        const ResizePosition position = _alongY.Position(y - _outBounds.y1);
        const std::int32_t taps = _alongY.Count(position.phase);
        for (std::int32_t k = 0; k < taps; ++k) {
            scratch.tapRows[k] = FilteredRow(position.first + k, scratch);
        }
        _kernels.sumRows[_storage](_target.PixelAddress(_target.Bounds().x1, y), scratch.tapRows,
                                   _alongY.Weights(position.phase), taps, count, _maximum);
    }
}

}  // namespace TQ::IP
