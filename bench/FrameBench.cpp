// Whole frames of the effect, over a window of frames in memory.

#include <array>
#include <string>
#include <vector>

#include "bench/Options.h"
#include "bench/Subjects.h"
#include "bench/Window.h"
#include "effect/Presets.h"

namespace TQ::Bench {

namespace {

constexpr int greatestTimeRadius = 10;

struct PresetName {
    int menuValue;
    const char* name;
};
constexpr std::array<PresetName, 13> presetNames{{{2, "Rolling Bands"},
                                                  {3, "Time Lapse"},
                                                  {4, "Rolling Bands 2"},
                                                  {5, "Slow Motion"},
                                                  {6, "Slow Motion 2"},
                                                  {7, "Archival"},
                                                  {8, "Stage Lights"},
                                                  {10, "Rolling Bands - Motion"},
                                                  {11, "Rolling Bands - Motion 2"},
                                                  {12, "Extreme Motion"},
                                                  {13, "Extreme Motion - Slow"},
                                                  {14, "Projection Screen"},
                                                  {15, "Slow Motion, detection"}}};

void RunFrame(benchmark::State& state, Window& window, int preset, int bits, int threads) {
    const Effect::DeflickerSettings settings = SettingsOfPreset(preset);
    // A host for this benchmark alone: the memory that it keeps fits these pictures.
    PooledHost host(threads);
    if (!GetOptions().quick) {
        window.Render(host, settings);
    }
    for (auto _ : state) {
        window.Render(host, settings);
    }
    const IP::Bounds bounds = window.Output().Bounds();
    const double pixels = static_cast<double>(IP::Width(bounds)) * IP::Height(bounds);
    const double operations = OperationsOfFrame(settings, bits) * pixels;
    CountWork(state, {window.BytesMoved(settings.timeRadius), operations}, threads);
}

void RegisterPreset(const PresetName& preset, int bits, int threads) {
    const std::string name = NameOf("frame", preset.name, bits, threads);
    auto* const timed = RegisterTimed(name, [=](benchmark::State& state) {
        const IP::Bounds bounds{0, 0, GetOptions().Width(), GetOptions().Height()};
        RunFrame(state, WindowOf(bounds, bits, greatestTimeRadius), preset.menuValue, bits, threads);
    });
    if (preset.menuValue == Effect::presetDefault) {
        RepeatOften(timed);
    }
}

struct Size {
    const char* name;
    int width, height;
};
constexpr std::array<Size, 5> sizes{
    {{"270p", 480, 270}, {"540p", 960, 540}, {"1080p", 1920, 1080}, {"4K", 3840, 2160}, {"8K", 7680, 4320}}};
constexpr int largestQuickWidth = 960;

bool CanTake(const Size& size, int radius) {
    const Options& options = GetOptions();
    const double needed = Window::MemoryNeeded({0, 0, size.width, size.height}, 8, radius);
    return needed <= options.memoryLimitGiB * 1073741824.0 &&
           (!options.quick || size.width <= largestQuickWidth);
}

}  // namespace

void RegisterFrames() {
    const Options& options = GetOptions();
    for (const int bits : {8, 32}) {
        for (const PresetName& preset : presetNames) {
            RegisterPreset(preset, bits, options.threads);
            const bool slow = preset.menuValue == presetNames.back().menuValue;
            if (options.threads > 1 && (preset.menuValue == Effect::presetDefault || slow)) {
                RegisterPreset(preset, bits, 1);
                CompareThreads(NameOf("frame", preset.name, bits, 1),
                               NameOf("frame", preset.name, bits, options.threads));
            }
        }
    }
}

void RegisterFrameSizes() {
    const int threads = GetOptions().threads;
    const int radius = SettingsOfPreset(Effect::presetDefault).timeRadius;
    std::vector<SeriesEntry> entries;
    for (const Size& size : sizes) {
        if (!CanTake(size, radius)) {
            continue;
        }
        const std::string name = NameOf("size", size.name, 8, threads);
        RepeatOften(RegisterTimed(name, [=](benchmark::State& state) {
            RunFrame(state, WindowOf({0, 0, size.width, size.height}, 8, radius), Effect::presetDefault, 8,
                     threads);
        }));
        entries.push_back({size.name, name, static_cast<double>(size.width) * size.height});
    }
    CompareSeries("Rolling Bands, 8-bit, picture size", entries);
}

}  // namespace TQ::Bench
