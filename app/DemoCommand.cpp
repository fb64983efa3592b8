#include "app/DemoCommand.h"

#include <fmt/format.h>

#include <map>
#include <mutex>

#include "app/ExitStatus.h"
#include "app/ParameterEdits.h"
#include "app/PluginLocation.h"
#include "app/ProgressLine.h"
#include "app/RenderPipeline.h"
#include "app/demo/Demo.h"
#include "app/demo/FlickerMeter.h"
#include "app/demo/ReportPicture.h"
#include "app/media/VideoWriter.h"
#include "platform/Platform.h"

namespace TQ::App {

namespace fs = std::filesystem;

namespace {

VideoOutput VideoFor(const fs::path& path, const DemoFormat& format) {
    VideoOutput output;
    output.path = path;
    output.overwrite = true;
    output.format.width = format.width;
    output.format.height = format.height;
    output.format.pixelFormat = AV_PIX_FMT_YUV420P;
    output.format.colour = {AVCOL_PRI_BT709, AVCOL_TRC_BT709, AVCOL_SPC_BT709, AVCOL_RANGE_MPEG,
                            AVCHROMA_LOC_LEFT};
    output.format.frameRate = {format.framesPerSecond, 1};
    output.format.timeBase = {1, format.framesPerSecond};
    output.format.frameCount = format.frames;
    return output;
}

void WritePicture(const fs::path& path, const Picture& picture) {
    VideoOutput output;
    output.path = path;
    output.overwrite = true;
    output.format.width = picture.Width();
    output.format.height = picture.Height();
    output.format.pixelFormat = AV_PIX_FMT_RGB24;
    output.format.frameCount = 1;
    const auto writer = CreateVideo(output);
    writer->Write(picture, {0, 0, 1});
    writer->Finish();
}

ClipFormat EffectFormat(const DemoFormat& format) {
    ClipFormat clip;
    clip.width = format.width;
    clip.height = format.height;
    clip.depth = format.depth;
    clip.frameRate = format.framesPerSecond;
    clip.frameCount = format.frames;
    return clip;
}

/// The three clips of a demonstration as video files.
class DemoFiles {
  public:
    DemoFiles(const DemoKind& kind, const fs::path& folder, const DemoFormat& format)
        : _stem((folder / kind.name).string()),
          _before(CreateVideo(VideoFor(_stem + "-before.mp4", format))),
          _after(CreateVideo(VideoFor(_stem + "-after.mp4", format))),
          _truth(CreateVideo(VideoFor(_stem + "-truth.mp4", format))) {}

    void Write(const Picture& before, const Picture& after, const Picture& truth, const FrameStamp& stamp) {
        _before->Write(before, stamp);
        _after->Write(after, stamp);
        _truth->Write(truth, stamp);
    }
    void Finish(const DemoKind& kind, const FlickerReport& report) {
        _before->Finish();
        _after->Finish();
        _truth->Finish();
        WritePicture(_stem + "-report.png", *DrawReport(kind, report));
    }

  private:
    std::string _stem;
    std::unique_ptr<VideoWriter> _before, _after, _truth;
};

/// The frames of a demonstration, shared by the decoding and the encoding thread of a render. Each is
/// computed once while the threads are near each other; those of a moving camera, which take long, are kept
/// for all renders.
class DemoFrames {
  public:
    struct Pair {
        PicturePointer before, truth;
    };

    explicit DemoFrames(const DemoKind& kind) : format(FormatOf(kind)), _kind(kind), _clip(kind, format) {}

    Pair At(int time) {
        const std::lock_guard guard(_lock);
        const auto found = _frames.find(time);
        if (found != _frames.end()) {
            return found->second;
        }
        const Pair made{_clip.Before(time), _clip.Truth(time)};
        if (!_kind.moves && _frames.size() >= framesKept) {
            _frames.erase(_frames.begin());
        }
        _frames.emplace(time, made);
        return made;
    }

    const DemoFormat format;

  private:
    static constexpr std::size_t framesKept = 40;

    const DemoKind& _kind;
    DemoClip _clip;
    std::mutex _lock;
    std::map<int, Pair> _frames;
};

/// Everything that one demonstration runs with.
struct DemoRun {
    std::shared_ptr<EffectPlugin> plugin;
    fs::path folder;
    bool quiet;
    const std::atomic<bool>& interrupted;
};

/// Renders the clip with a preset; `files` may be null.
FlickerReport RenderPreset(const DemoRun& run, const DemoKind& kind, DemoFrames& frames, const char* preset,
                           DemoFiles* files) {
    const DemoFormat& format = frames.format;
    EffectInstance instance(run.plugin, "filter", EffectFormat(format));
    EditParameters(instance, run.plugin->Describe("filter"), preset, {});
    FlickerMeter meter;
    int next = 0;
    RenderPipeline pipeline(instance, {0, format.frames - 1}, 1, run.interrupted);
    ProgressLine line(kind.name, format.frames, !run.quiet);
    pipeline.Run(
        [&]() -> std::optional<SourceFrame> {
            if (next == format.frames) {
                return std::nullopt;
            }
            const int frame = next++;
            return SourceFrame{{frame, frame, 1}, frames.At(frame).before, nullptr};
        },
        [&](const RenderedFrame& frame) {
            const int time = static_cast<int>(frame.stamp.index);
            const DemoFrames::Pair known = frames.At(time);
            if (files != nullptr) {
                files->Write(*known.before, *frame.picture, *known.truth, frame.stamp);
            }
            meter.Add(*known.before, *frame.picture, *known.truth);
        },
        [&](int finished) { line.Show(finished); });
    return meter.Report();
}

void PrintRow(const char* what, const ClipMeasure& measure) {
    fmt::print("  {:26} {:8.2f} {:10.2f}\n", what, measure.residualFlicker, measure.psnr);
}

void RunKind(const DemoRun& run, const DemoKind& kind) {
    DemoFrames frames(kind);
    DemoFiles files(kind, run.folder, frames.format);
    const FlickerReport report = RenderPreset(run, kind, frames, kind.presetName, &files);
    files.Finish(kind, report);
    fmt::print("{}: {}\n", kind.title, kind.description);
    fmt::print("  {:26} {:>8} {:>10}\n", "", "flicker", "PSNR (dB)");
    PrintRow("before", report.before);
    PrintRow(kind.presetName, report.after);
    if (kind.moves) {
        for (const char* preset : PresetsForStillCameras()) {
            PrintRow(preset, RenderPreset(run, kind, frames, preset, nullptr).after);
        }
    }
    fmt::print("  {}\n\n", (run.folder / (std::string(kind.name) + "-*")).string());
}

}  // namespace

void RunDemo(const std::string& kind, const fs::path& folder, const fs::path& plugin, bool quiet,
             const std::atomic<bool>& interrupted) {
    if (!kind.empty() && !FindDemoKind(kind)) {
        std::string names;
        for (const DemoKind& known : DemoKinds()) {
            names += (names.empty() ? "" : ", ") + std::string(known.name);
        }
        throw CommandError(ExitStatus::Usage, "there is no demonstration '" + kind + "'; there are " + names);
    }
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        throw CommandError(ExitStatus::OutputUnwritable,
                           "the folder '" + folder.string() + "' cannot be made: " + error.message());
    }
    const DemoRun run{LoadPlugin(plugin), folder, quiet, interrupted};
    SetHostThreads(Platform::HardwareThreadCount());
    fmt::print("Residual flicker in 8-bit steps, and PSNR against the truth.\n\n");
    for (const DemoKind& known : DemoKinds()) {
        if (kind.empty() || kind == known.name) {
            RunKind(run, known);
        }
    }
}

}  // namespace TQ::App
