#include <algorithm>
#include <array>

#include "ip/Filter.h"
#include "ip/records/Exception.h"
#include "ip/records/Progress.h"

namespace TQ::IP {

namespace {

/// Reports the rows of one band to the host.
class HostProgress final : public Image::Progress {
  public:
    HostProgress(Host& host, int threadIndex) : _host(host), _threadIndex(threadIndex) {}
    void Update(std::uint64_t done, std::uint64_t total) override {
        _host.UpdateProgress(_threadIndex, done, total);
    }

  private:
    Host& _host;
    int _threadIndex;
};

struct Range {
    std::int32_t begin, end;
};

/// Part `index` of `count` of `whole`, cut at multiples of `granularity` from its start.
Range PartOf(Range whole, std::int32_t granularity, int index, int count) {
    const std::int64_t length = std::max<std::int64_t>(std::int64_t{whole.end} - whole.begin, 0);
    const std::int64_t units = (length + granularity - 1) / granularity;
    const auto cut = [&](std::int64_t i) {
        return static_cast<std::int32_t>(whole.begin + std::min(units * i / count * granularity, length));
    };
    return {cut(index), cut(index + 1)};
}

Bounds RowBand(const Bounds& bounds, int granularity, int index, int count) {
    const Range rows = PartOf({bounds.y1, bounds.y2}, granularity, index, count);
    return {bounds.x1, rows.begin, bounds.x2, rows.end};
}

Bounds ColumnBand(const Bounds& bounds, int index, int count) {
    const Range columns = PartOf({bounds.x1, bounds.x2}, 1, index, count);
    return {columns.begin, bounds.y1, columns.end, bounds.y2};
}

}  // namespace

bool KernelFormatOf(const Layer& layer, KernelFormat& format) {
    const bool half = layer.ChannelBits() == 16 && layer.Implement().IsFloatData();
    return !half && layer.Channels() == 4 &&
           ChooseKernelFormat(layer.ChannelBits(), layer.WhiteLevel(), layer.ChannelIndex(0), format);
}

void Filter::RunHost(Host& runHost, Layer& runOutput, const std::vector<Layer*>& runInputs) {
    host = &runHost;
    output = &runOutput;
    inputLayers = runInputs;
    const BandFunction runRows = [](int index, int count, int threadIndex, void* argument) {
        auto& self = *static_cast<Filter*>(argument);
        const Bounds rows = RowBand(self.output->Bounds(), self.bandGranularity, index, count);
        if (!IsEmpty(rows)) {
            self.RunHostRows(rows, threadIndex);
        }
    };
    runHost.ParallelFor(runRows, this, 0);
}

void Filter::RunBand(KernelId kernel, const Layer& formatLayer, const Bounds& band, const void* parameters,
                     int threadIndex) {
    constexpr std::size_t mostInputs = 24;
    KernelFormat kernelFormat;
    if (inputLayers.size() > mostInputs || !KernelFormatOf(formatLayer, kernelFormat)) {
        throw Exception("", "There is no processor code for images of this pixel format.");
    }
    std::array<ImageView, mostInputs> views{};
    std::transform(inputLayers.begin(), inputLayers.end(), views.begin(),
                   [](const Layer* layer) { return layer->View(); });
    HostProgress progress(*host, threadIndex);
    RunKernel(kernel, kernelFormat, output->View(), views.data(), band, parameters, progress);
}

int FilterSeparable::ProgressSteps() const {
    return passMode == PassMode::Both ? 2 : 1;
}

bool FilterSeparable::CanRunInPlace() const {
    return passMode == PassMode::Both;
}

void FilterSeparable::RunHost(Host& runHost, Layer& runOutput, const std::vector<Layer*>& runInputs) {
    BeginPasses(runHost);
    if (passMode == PassMode::Both) {
        const Bounds outputBounds = runOutput.Bounds();
        const Bounds needed = GetInputRegion(outputBounds, 0);
        Layer between(runHost);
        between.AllocateRegionLike(runOutput, {outputBounds.x1, needed.y1, outputBounds.x2, needed.y2});
        RunRowPass(runHost, between, runInputs);
        EndPass(runHost);
        RunColumnPass(runHost, runOutput, {&between});
    } else if (passMode == PassMode::First) {
        RunRowPass(runHost, runOutput, runInputs);
    } else {
        RunColumnPass(runHost, runOutput, runInputs);
    }
    EndPass(runHost);
}

void FilterSeparable::RunRowPass(Host& runHost, Layer& runOutput, const std::vector<Layer*>& runInputs) {
    Filter::RunHost(runHost, runOutput, runInputs);
}

void FilterSeparable::RunColumnPass(Host& runHost, Layer& runOutput, const std::vector<Layer*>& runInputs) {
    host = &runHost;
    output = &runOutput;
    inputLayers = runInputs;
    const BandFunction runColumns = [](int index, int count, int threadIndex, void* argument) {
        auto& self = *static_cast<FilterSeparable*>(argument);
        const Bounds columns = ColumnBand(self.output->Bounds(), index, count);
        if (!IsEmpty(columns)) {
            self.RunHostColumns(columns, threadIndex);
        }
    };
    runHost.ParallelFor(runColumns, this, 0);
}

void FilterSeparable::BeginPasses(Host& runHost) {
    ProgressState::Level& passes = runHost.GetProgressState().levels[0];
    if (reportsProgress && !passes.locked) {
        passes = {0, static_cast<std::uint64_t>(ProgressSteps()), 1, false};
    }
}

void FilterSeparable::EndPass(Host& runHost) {
    if (reportsProgress) {
        ++runHost.GetProgressState().levels[0].current;
    }
}

}  // namespace TQ::IP
