// ffmpeg's mean over 17 frames, as a process of its own.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <string>

#include "bench/Options.h"
#include "bench/Subjects.h"

namespace TQ::Bench {

namespace {

constexpr int windowFrames = 17;

bool HasFfmpeg() {
    static const bool has =
        std::system("ffmpeg -v quiet -nostdin -f lavfi -i nullsrc=s=16x16 -frames:v 1 -f null -") == 0;
    return has;
}

int FrameCount() {
    return GetOptions().quick ? 4 : 3 * windowFrames;
}

/// The time of one run that takes frames from memory through `filter`, or a negative value when it failed.
double SecondsOf(const std::string& pixelFormat, const std::string& filter) {
    const Options& options = GetOptions();
    const std::string threads = std::to_string(options.threads);
    // A few frames of the test picture, made once and repeated from memory.
    const std::string source = "testsrc2=s=" + std::to_string(options.Width()) + "x" +
                               std::to_string(options.Height()) + ":r=25,format=" + pixelFormat +
                               ",loop=loop=-1:size=" + std::to_string(windowFrames);
    const std::string command = "ffmpeg -v error -nostdin -filter_threads " + threads + " -f lavfi -i \"" +
                                source + "\" -vf " + filter + " -frames:v " + std::to_string(FrameCount()) +
                                " -f null -";
    const auto begin = std::chrono::steady_clock::now();
    const int status = std::system(command.c_str());
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    return status == 0 ? seconds.count() : -1.0;
}

/// Seconds a frame: the difference between runs with and without the mean, the better of two each.
double MeanSeconds(const std::string& pixelFormat) {
    double with = std::numeric_limits<double>::max();
    double without = with;
    for (int repetition = 0; repetition < (GetOptions().quick ? 1 : 2); ++repetition) {
        with = std::min(with, SecondsOf(pixelFormat, "tmix=frames=" + std::to_string(windowFrames)));
        without = std::min(without, SecondsOf(pixelFormat, "null"));
    }
    return without < 0 ? -1.0 : (with - without) / FrameCount();
}

void RunMean(benchmark::State& state, const std::string& pixelFormat) {
    for (auto _ : state) {
        const double seconds = MeanSeconds(pixelFormat);
        if (seconds <= 0) {
            state.SkipWithError("ffmpeg failed, or was too fast to be measured");
            break;
        }
        state.SetIterationTime(seconds);
    }
}

}  // namespace

void RegisterMean() {
    if (!HasFfmpeg()) {
        return;
    }
    const std::string ours = NameOf("frame", "Rolling Bands", 8, GetOptions().threads);
    for (const char* pixelFormat : {"rgba", "yuv420p"}) {
        const std::string name = std::string("ffmpeg tmix=frames=17, ") + pixelFormat;
        benchmark::RegisterBenchmark(name.c_str(),
                                     [=](benchmark::State& state) { RunMean(state, pixelFormat); })
            ->Unit(benchmark::kMillisecond)
            ->UseManualTime()
            ->Iterations(1);
        ComparePair(ours, name);
    }
}

}  // namespace TQ::Bench
