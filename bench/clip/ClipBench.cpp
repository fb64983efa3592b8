// A clip of 1920 x 1080 with flicker, made here, from file to file as `steadylux render` does it, beside its
// decoding, rendering and encoding alone: frames per second.
//
// bench_clip [FRAMES] [PRESET...]

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "app/ParameterEdits.h"
#include "app/PluginLocation.h"
#include "app/RenderCommand.h"
#include "app/demo/Demo.h"
#include "app/host/Effect.h"
#include "app/media/PixelConversion.h"
#include "app/media/VideoReader.h"
#include "app/media/VideoWriter.h"
#include "platform/Platform.h"

namespace {

using namespace TQ::App;
namespace fs = std::filesystem;

constexpr int repetitions = 2;
constexpr int framesHeld = 24;  // of the render alone: window and frames rendered

/// Least seconds of some repetitions.
double Least(const std::function<void()>& work) {
    double least = 1e30;
    for (int i = 0; i < repetitions; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        least =
            std::min(least, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    }
    return least;
}

VideoOutput OutputAt(const fs::path& path, int frames) {
    VideoOutput output;
    output.path = path;
    output.overwrite = true;
    output.format.width = 1920;
    output.format.height = 1080;
    output.format.pixelFormat = AV_PIX_FMT_YUV420P;
    output.format.colour = {AVCOL_PRI_BT709, AVCOL_TRC_BT709, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG,
                            AVCHROMA_LOC_LEFT};
    output.format.frameCount = frames;
    return output;
}

void Write(const VideoOutput& output, const std::vector<PicturePointer>& pictures) {
    const auto writer = CreateVideo(output);
    for (std::int64_t i = 0; i < output.format.frameCount; ++i) {
        writer->Write(*pictures[static_cast<std::size_t>(i) % pictures.size()], {i, i, 1});
    }
    writer->Finish();
}

std::vector<PicturePointer> Read(const fs::path& path, int wanted) {
    const auto reader = OpenVideo(path);
    const VideoInfo& info = reader->Info();
    PixelConverter converter(info.pixelFormat, info.width, info.height, info.colour);
    std::vector<PicturePointer> pictures;
    while (const auto frame = reader->Next()) {
        PicturePointer picture = converter.ToPicture(*frame->samples, SampleDepth::Byte);
        if (static_cast<int>(pictures.size()) < wanted) {
            pictures.push_back(std::move(picture));
        }
    }
    return pictures;
}

/// Seconds for each frame of the effect alone, whose window lies in memory.
double RenderAlone(const std::string& preset, const std::vector<PicturePointer>& pictures) {
    ClipFormat format;
    format.width = 1920;
    format.height = 1080;
    format.frameCount = static_cast<int>(pictures.size());
    const auto plugin = LoadPlugin(STEADYLUX_MODULE);
    EffectInstance instance(plugin, "filter", format);
    EditParameters(instance, plugin->Describe("filter"), preset, {});
    const FrameProvider provider = [&](int frame) { return pictures.at(static_cast<std::size_t>(frame)); };
    Picture output(format.width, format.height, format.depth);
    const int first = format.frameCount / 2 - 2;
    const double seconds = Least([&] {
        for (int frame = first; frame < first + 4; ++frame) {
            instance.Render(frame, provider, output);
        }
    });
    return seconds / 4;
}

void MakeClip(const fs::path& path, int frames) {
    DemoFormat format;
    format.width = 1920;
    format.height = 1080;
    format.frames = framesHeld;
    DemoClip clip(DemoKinds().front(), format);
    std::vector<PicturePointer> pictures;
    for (int i = 0; i < format.frames; ++i) {
        pictures.push_back(clip.Before(i));
    }
    Write(OutputAt(path, frames), pictures);
}

void PrintRates(int frames, const std::vector<std::string>& presets, const fs::path& folder) {
    MakeClip(folder / "in.mp4", frames);
    std::vector<PicturePointer> pictures;
    const double decode = Least([&] { pictures = Read(folder / "in.mp4", framesHeld); });
    const double encode = Least([&] { Write(OutputAt(folder / "encoded.mp4", frames), pictures); });
    fmt::print("1920 x 1080, {} frames, {} threads, frames per second\n\n", frames, HostThreads());
    fmt::print(
        "| preset | clip | decoding alone | effect alone | encoding alone | one after the other |\n"
        "|---|--:|--:|--:|--:|--:|\n");
    const std::atomic<bool> interrupted{false};
    for (const std::string& preset : presets) {
        const double render = RenderAlone(preset, pictures);
        RenderOptions options;
        options.input = folder / "in.mp4";
        options.output = folder / "out.mp4";
        options.preset = preset;
        options.plugin = STEADYLUX_MODULE;
        options.overwrite = true;
        options.quiet = true;
        const double clip = Least([&] { RunRender(options, interrupted); });
        const double parts = (decode + encode) / frames + render;
        fmt::print("| {} | {:.2f} | {:.1f} | {:.2f} | {:.1f} | {:.2f} |\n", preset, frames / clip,
                   frames / decode, 1 / render, frames / encode, 1 / parts);
        std::fflush(stdout);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const int frames = argc > 1 ? std::atoi(argv[1]) : 48;
    std::vector<std::string> presets(argv + std::min(argc, 2), argv + argc);
    if (presets.empty()) {
        presets = {"Rolling Bands (default)", "Rolling Bands 2"};
    }
    if (frames < framesHeld) {
        fmt::print(stderr, "bench_clip [FRAMES] [PRESET...]: at least {} frames\n", framesHeld);
        return 2;
    }
    const fs::path folder =
        fs::temp_directory_path() / ("bench-clip-" + std::to_string(TQ::Platform::ProcessId()));
    int status = 0;
    try {
        fs::create_directories(folder);
        PrintRates(frames, presets, folder);
    } catch (const std::exception& error) {
        fmt::print(stderr, "bench_clip: {}\n", error.what());
        status = 1;
    }
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    return status;
}
