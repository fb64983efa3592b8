// Optical flow and resizing beside OpenCV's, in one run on one machine: average endpoint errors on pairs with
// known motion, and times at 1920 x 1080 with two threads.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>

#include "bench/PooledHost.h"
#include "bench/flow/SyntheticPairs.h"
#include "ip/filters/DISFilter.h"
#include "ip/filters/ResizeFilter.h"

namespace {

using namespace TQ;

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int threads = 2;

IP::Bounds FrameOf(const Bench::SyntheticPair& pair) {
    return {0, 0, pair.width, pair.height};
}

std::shared_ptr<IP::Layer> LayerOf(Bench::PooledHost& host, const IP::Bounds& frame,
                                   const std::vector<std::uint8_t>& pixels) {
    auto layer = std::make_shared<IP::Layer>(host);
    layer->Allocate(frame, 8, 4);
    std::memcpy(layer->Data(), pixels.data(), pixels.size());
    return layer;
}

cv::Mat GreyOf(const Bench::SyntheticPair& pair, const std::vector<std::uint8_t>& pixels) {
    cv::Mat grey(pair.height, pair.width, CV_8UC1);
    for (std::size_t i = 0; i < grey.total(); ++i) {
        grey.data[i] = pixels[4 * i];
    }
    return grey;
}

cv::Ptr<cv::DISOpticalFlow> OpenCvFlow() {
    auto flow = cv::DISOpticalFlow::create(cv::DISOpticalFlow::PRESET_MEDIUM);
    flow->setFinestScale(1);
    flow->setPatchSize(8);
    flow->setPatchStride(3);
    flow->setGradientDescentIterations(25);
    flow->setVariationalRefinementIterations(0);
    flow->setUseMeanNormalization(true);
    flow->setUseSpatialPropagation(true);
    return flow;
}

/// Our filter over a pair, ready to run.
class OwnFlow {
  public:
    explicit OwnFlow(const Bench::SyntheticPair& pair, std::int32_t bands = IP::DISFilter::defaultBands)
        : _reference(LayerOf(host, FrameOf(pair), pair.reference)),
          _moved(LayerOf(host, FrameOf(pair), pair.moved)),
          output(host) {
        _filter = std::make_shared<IP::DISFilter>(std::make_shared<IP::FilterLayer>(_reference.get()),
                                                  std::make_shared<IP::FilterLayer>(_moved.get()),
                                                  IP::MakeDISSettings(0, 0));
        _filter->bands = bands;
        output.Allocate(FrameOf(pair), 32, 4);
    }
    void Run() { _filter->RunHost(host, output, {_reference.get(), _moved.get()}); }

    Bench::PooledHost host{threads};

  private:
    std::shared_ptr<IP::Layer> _reference, _moved;
    std::shared_ptr<IP::DISFilter> _filter;

  public:
    IP::Layer output;
};

/// Mean lengths of the difference to the true motion: over all pixels, and over those that the moved picture
/// shows.
struct EndpointErrors {
    double all, visible;
};

template <class PixelAt>
EndpointErrors MeasureErrors(const Bench::SyntheticPair& pair, const PixelAt& pixelAt) {
    double sum = 0;
    double visibleSum = 0;
    double visible = 0;
    for (int y = 0; y < pair.height; ++y) {
        for (int x = 0; x < pair.width; ++x) {
            const auto i = static_cast<std::size_t>(y) * static_cast<std::size_t>(pair.width) +
                           static_cast<std::size_t>(x);
            const float* flow = pixelAt(x, y);
            const double error = std::hypot(flow[0] - pair.u[i], flow[1] - pair.v[i]);
            const float toX = static_cast<float>(x) + pair.u[i];
            const float toY = static_cast<float>(y) + pair.v[i];
            sum += error;
            if (toX >= 0 && toX <= static_cast<float>(pair.width - 1) && toY >= 0 &&
                toY <= static_cast<float>(pair.height - 1)) {
                visibleSum += error;
                ++visible;
            }
        }
    }
    return {sum / (static_cast<double>(pair.width) * pair.height), visibleSum / visible};
}

void PrintRow(const char* name, const EndpointErrors& own, double oneBand, const EndpointErrors& theirs) {
    std::printf("%-30s %9.4f %9.4f %9.4f   %9.4f %9.4f\n", name, own.all, oneBand, theirs.all, own.visible,
                theirs.visible);
    std::fflush(stdout);
}

void PrintErrors(int pairWidth, int pairHeight) {
    std::printf(
        "Average endpoint error in pixels, %d x %d, finest scale 1, patch 8, stride 3, 25 iterations\n",
        pairWidth, pairHeight);
    std::printf("%-30s %29s   %19s\n", "", "all pixels", "visible in both");
    std::printf("%-30s %9s %9s %9s   %9s %9s\n", "motion", "ours", "one band", "OpenCV", "ours", "OpenCV");
    EndpointErrors ownMean{}, theirMean{};
    double oneBandMean = 0;
    const auto count = static_cast<double>(Bench::SyntheticMotions().size());
    for (const Bench::SyntheticMotion& motion : Bench::SyntheticMotions()) {
        const Bench::SyntheticPair pair = Bench::MakePair(motion, pairWidth, pairHeight);
        EndpointErrors own[2];
        for (int i = 0; i < 2; ++i) {
            OwnFlow flow(pair, i == 0 ? IP::DISFilter::defaultBands : 1);
            flow.Run();
            own[i] = MeasureErrors(pair, [&](int x, int y) {
                return reinterpret_cast<const float*>(flow.output.PixelAddress(x, y));
            });
        }
        cv::Mat flow;
        OpenCvFlow()->calc(GreyOf(pair, pair.reference), GreyOf(pair, pair.moved), flow);
        const EndpointErrors theirs =
            MeasureErrors(pair, [&](int x, int y) { return flow.ptr<float>(y, x); });
        PrintRow(motion.name, own[0], own[1].all, theirs);
        ownMean = {ownMean.all + own[0].all / count, ownMean.visible + own[0].visible / count};
        theirMean = {theirMean.all + theirs.all / count, theirMean.visible + theirs.visible / count};
        oneBandMean += own[1].all / count;
    }
    PrintRow("mean", ownMean, oneBandMean, theirMean);
    std::printf("\n");
}

const Bench::SyntheticPair& TimedPair() {
    static const Bench::SyntheticPair pair = Bench::MakePair(Bench::SyntheticMotions()[1], width, height);
    return pair;
}

void FlowOurs(benchmark::State& state) {
    OwnFlow own(TimedPair());
    for (auto _ : state) {
        own.Run();
    }
}

void FlowOpenCv(benchmark::State& state) {
    const cv::Mat reference = GreyOf(TimedPair(), TimedPair().reference);
    const cv::Mat moved = GreyOf(TimedPair(), TimedPair().moved);
    const auto dis = OpenCvFlow();
    cv::Mat flow;
    for (auto _ : state) {
        dis->calc(reference, moved, flow);
    }
}

void HalfOurs(benchmark::State& state) {
    Bench::PooledHost host(threads);
    const auto source = LayerOf(host, FrameOf(TimedPair()), TimedPair().reference);
    const IP::Bounds half{0, 0, width / 2, height / 2};
    IP::Layer target(host);
    target.Allocate(half, 8, 4);
    const auto resize =
        std::make_shared<IP::ResizeFilter>(std::make_shared<IP::FilterLayer>(source.get()), half);
    for (auto _ : state) {
        resize->RunHost(host, target, {source.get()});
    }
}

void HalfOpenCv(benchmark::State& state) {
    cv::Mat source(height, width, CV_8UC4);
    std::memcpy(source.data, TimedPair().reference.data(), TimedPair().reference.size());
    cv::Mat target;
    for (auto _ : state) {
        cv::resize(source, target, cv::Size(width / 2, height / 2), 0, 0, cv::INTER_CUBIC);
    }
}

BENCHMARK(FlowOurs)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(FlowOpenCv)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(HalfOurs)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(HalfOpenCv)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

}  // namespace

/// With arguments, those of Google Benchmark, only the times are measured.
int main(int argc, char** argv) {
    const bool timesOnly = argc > 1;
    benchmark::Initialize(&argc, argv);
    cv::setNumThreads(threads);
    if (!timesOnly) {
        PrintErrors(width, height);
        PrintErrors(width / 2, height / 2);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
