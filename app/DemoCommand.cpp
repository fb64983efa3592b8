#include "app/DemoCommand.h"

#include <fmt/format.h>

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

FlickerReport RenderKind(const DemoKind& kind, const fs::path& folder,
                         const std::shared_ptr<EffectPlugin>& plugin, bool quiet,
                         const std::atomic<bool>& interrupted) {
    const DemoFormat format;
    DemoClip source(kind, format);
    // The decoding and the encoding thread of the pipeline each have a clip of their own.
    DemoClip reference(kind, format);
    EffectInstance instance(plugin, "filter", EffectFormat(format));
    EditParameters(instance, plugin->Describe("filter"), kind.presetName, {});
    const auto file = [&](const char* what) { return folder / fmt::format("{}-{}", kind.name, what); };
    const auto before = CreateVideo(VideoFor(file("before.mp4"), format));
    const auto after = CreateVideo(VideoFor(file("after.mp4"), format));
    const auto truth = CreateVideo(VideoFor(file("truth.mp4"), format));
    FlickerMeter meter;
    int next = 0;
    RenderPipeline pipeline(instance, {0, format.frames - 1}, 1, interrupted);
    ProgressLine line(kind.name, format.frames, !quiet);
    pipeline.Run(
        [&]() -> std::optional<SourceFrame> {
            if (next == format.frames) {
                return std::nullopt;
            }
            const int frame = next++;
            return SourceFrame{{frame, frame, 1}, source.Before(frame), nullptr};
        },
        [&](const RenderedFrame& frame) {
            const int time = static_cast<int>(frame.stamp.index);
            const PicturePointer flickering = reference.Before(time);
            const PicturePointer steady = reference.Truth(time);
            before->Write(*flickering, frame.stamp);
            after->Write(*frame.picture, frame.stamp);
            truth->Write(*steady, frame.stamp);
            meter.Add(*flickering, *frame.picture, *steady);
        },
        [&](int finished) { line.Show(finished); });
    const FlickerReport report = meter.Report();
    before->Finish();
    after->Finish();
    truth->Finish();
    WritePicture(file("report.png"), *DrawReport(kind, report));
    return report;
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
    const std::shared_ptr<EffectPlugin> loaded = LoadPlugin(plugin);
    SetHostThreads(Platform::HardwareThreadCount());
    for (const DemoKind& known : DemoKinds()) {
        if (!kind.empty() && kind != known.name) {
            continue;
        }
        const FlickerReport report = RenderKind(known, folder, loaded, quiet, interrupted);
        fmt::print("{} ({}), preset \"{}\"\n", known.title, known.name, known.presetName);
        fmt::print("  residual flicker  {:6.2f} before  {:6.2f} after  (8-bit steps)\n",
                   report.before.residualFlicker, report.after.residualFlicker);
        fmt::print("  PSNR to truth     {:6.2f} before  {:6.2f} after  (dB)\n", report.before.psnr,
                   report.after.psnr);
        fmt::print("  files             {}\n", (folder / (std::string(known.name) + "-*")).string());
    }
}

}  // namespace TQ::App
