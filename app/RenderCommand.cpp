#include "app/RenderCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <climits>
#include <cmath>

#include "app/ExitStatus.h"
#include "app/ParameterEdits.h"
#include "app/PluginLocation.h"
#include "app/ProgressLine.h"
#include "app/RenderPipeline.h"
#include "app/Statistics.h"
#include "app/media/PendingFile.h"
#include "app/media/PictureTransform.h"
#include "app/media/PixelConversion.h"
#include "app/media/SequencePattern.h"
#include "app/media/VideoReader.h"
#include "app/media/VideoWriter.h"
#include "platform/Platform.h"

namespace TQ::App {

namespace fs = std::filesystem;

namespace {

void Warn(const RenderOptions& options, const std::string& text) {
    if (!options.quiet && !text.empty()) {
        fmt::print(stderr, "steadylux: {}\n", text);
    }
}

FrameRange RangeOf(const RenderOptions& options, std::int64_t frameCount) {
    const int last = static_cast<int>(std::min<std::int64_t>(frameCount, INT_MAX)) - 1;
    if (options.frames.empty()) {
        return {0, last};
    }
    FrameRange range;
    const char* at = options.frames.data();
    const char* end = at + options.frames.size();
    const auto first = std::from_chars(at, end, range.first);
    bool valid = first.ec == std::errc() && first.ptr != end && *first.ptr == '-';
    if (valid) {
        const auto second = std::from_chars(first.ptr + 1, end, range.last);
        valid = second.ec == std::errc() && second.ptr == end && range.first <= range.last;
    }
    if (!valid) {
        throw CommandError(ExitStatus::Usage,
                           "--frames takes A-B with A not above B, not '" + options.frames + "'");
    }
    if (range.last > last) {
        throw CommandError(
            ExitStatus::Usage,
            fmt::format("--frames {} reaches beyond the clip, whose frames are 0-{}", options.frames, last));
    }
    return range;
}

AVRational SequenceRate(const RenderOptions& options) {
    if (options.framesPerSecond.empty()) {
        return {25, 1};
    }
    constexpr double mostPerSecond = 100000;
    QuietFFmpeg();  // it would print what it thinks of the text
    AVRational rate;
    if (av_parse_ratio(&rate, options.framesPerSecond.c_str(), INT_MAX, 0, nullptr) < 0 || rate.num <= 0 ||
        rate.den <= 0 || av_q2d(rate) > mostPerSecond) {
        throw CommandError(
            ExitStatus::Usage,
            "--fps takes frames per second, such as 24 or 24000/1001, not '" + options.framesPerSecond + "'");
    }
    // 23.976, 29.97 and the like are short for something else.
    const AVRational ntsc{static_cast<int>(std::lround(av_q2d(rate) * 1.001)) * 1000, 1001};
    const bool isShort = rate.den > 1 && rate.den != ntsc.den;
    return isShort && std::abs(av_q2d(rate) - av_q2d(ntsc)) < 0.005 ? ntsc : rate;
}

SampleDepth DepthFor(const RenderOptions& options, const VideoInfo& info, const EffectPlugin& plugin) {
    SampleDepth depth = DepthOf(info.pixelFormat);
    for (const SampleDepth named : {SampleDepth::Byte, SampleDepth::Short, SampleDepth::Float}) {
        if (options.depth == DepthOptionName(named)) {
            depth = named;
        }
    }
    if (plugin.SupportsDepth(depth)) {
        return depth;
    }
    if (options.depth == "auto") {
        for (const SampleDepth wider : {SampleDepth::Float, SampleDepth::Short, SampleDepth::Byte}) {
            if (plugin.SupportsDepth(wider)) {
                return wider;
            }
        }
    }
    throw CommandError(ExitStatus::Plugin,
                       std::string("the plug-in does not take pixels of depth ") + DepthOptionName(depth));
}

ClipFormat FormatFor(const VideoInfo& info, SampleDepth depth) {
    ClipFormat format;
    format.width = info.width;
    format.height = info.height;
    format.depth = depth;
    format.pixelAspect =
        info.sampleAspect.num > 0 && info.sampleAspect.den > 0 ? av_q2d(info.sampleAspect) : 1;
    format.frameRate = av_q2d(info.frameRate);
    format.frameCount = static_cast<int>(std::min<std::int64_t>(info.frameCount, INT_MAX));
    format.alpha = HasAlpha(info.pixelFormat) ? Alpha::Straight : Alpha::Opaque;
    return format;
}

VideoOutput OutputFor(const RenderOptions& options, const VideoReader& reader, FrameRange range) {
    VideoOutput output;
    output.path = options.output;
    output.format = reader.Info();
    output.format.frameCount = range.last - range.first + 1;
    output.codec = options.codec;
    output.codecOptions = options.codecOptions;
    output.overwrite = options.overwrite;
    output.firstFrame = range.first;
    if (!reader.Info().isSequence) {
        output.companions = options.input;
    }
    output.trim = !options.frames.empty();
    output.startTime = reader.TimeOf(range.first);
    output.endTime = reader.TimeOf(static_cast<std::int64_t>(range.last) + 1);
    return output;
}

/// Pictures of the render scale take the place of full-size ones in the file.
void ShrinkOutput(VideoOutput& output, const EffectInstance& instance) {
    if (instance.RenderScale() == 1) {
        return;
    }
    output.format.width = instance.PictureWidth();
    output.format.height = instance.PictureHeight();
    CropForChroma(output);
    if (output.format.rotation) {
        for (const std::size_t shift : {std::size_t{6}, std::size_t{7}}) {
            std::int32_t& value = (*output.format.rotation)[shift];
            value = static_cast<std::int32_t>(value * instance.RenderScale());
        }
    }
}

void CheckNotInput(const RenderOptions& options, const VideoReader& reader, FrameRange range) {
    const auto pattern = SequencePattern::Parse(options.output);
    for (const int frame : {range.first, range.last}) {
        const fs::path file = pattern ? pattern->FileOf(reader.Info().firstNumber + frame) : options.output;
        std::error_code error;
        if (fs::equivalent(file, reader.FileOf(frame), error) && !error) {
            throw CommandError(ExitStatus::Usage,
                               Quoted(file) + " is the input itself; choose another output");
        }
    }
}

/// The whole road of one render; the members live as long as the pipeline's threads.
class Render {
  public:
    Render(const RenderOptions& options, const std::atomic<bool>& interrupted)
        : _options(options), _interrupted(interrupted) {}

    void Run() {
        Open();
        RenderRecord record;
        const auto begin = std::chrono::steady_clock::now();
        record.frames = RunPipeline();
        _writer->Finish();
        record.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        Report(record);
    }

  private:
    void Open() {
        if (!_options.statistics.empty()) {
            CheckOutput(_options.statistics, _options.overwrite);
        }
        const AVRational sequenceRate = SequenceRate(_options);
        _reader = OpenVideo(
            _options.input, [this] { return _interrupted.load(); }, sequenceRate);
        const VideoInfo& info = _reader->Info();
        if (!info.isSequence && !_options.framesPerSecond.empty()) {
            throw CommandError(ExitStatus::Usage, "--fps is for images; " + Quoted(_options.input) +
                                                      " has a frame rate of its own, which is kept");
        }
        _range = RangeOf(_options, info.frameCount);
        CheckNotInput(_options, *_reader, _range);
        _plugin = LoadPlugin(_options.plugin, _options.host);
        const SampleDepth depth = DepthFor(_options, info, *_plugin);
        SetHostThreads(_options.threads > 0 ? _options.threads : Platform::HardwareThreadCount());
        _instance = std::make_unique<EffectInstance>(_plugin, _options.context, FormatFor(info, depth),
                                                     _options.scale);
        EditParameters(*_instance, _plugin->Describe(_options.context), _options.preset,
                       _options.assignments);
        _output = OutputFor(_options, *_reader, _range);
        ShrinkOutput(_output, *_instance);
        _writer = CreateVideo(_output);
        Warn(_options, _writer->Warning());
        _converter = std::make_unique<PixelConverter>(info.pixelFormat, info.width, info.height, info.colour);
        _pipeline = std::make_unique<RenderPipeline>(*_instance, _range, _options.jobs, _interrupted);
    }

    int RunPipeline() {
        const int frames = _range.last - _range.first + 1;
        ProgressLine line(_options.output.filename().string(), frames, !_options.quiet);
        _reader->Start(_pipeline->FirstNeeded());
        int done = 0;
        try {
            done = _pipeline->Run([this] { return DecodeNext(); },
                                  [this](const RenderedFrame& frame) { Write(frame); },
                                  [&](int finished) { line.Show(finished); });
        } catch (const MediaError& error) {
            if (error.Failure() != MediaFailure::BrokenStream) {
                throw;
            }
            const auto before = _pipeline->RangeBefore(static_cast<int>(error.Frame()));
            throw MediaError(MediaFailure::BrokenStream,
                             before ? fmt::format("{}; --frames {}-{} renders the part before it",
                                                  error.what(), before->first, before->last)
                                    : error.what());
        }
        if (done == 0) {
            throw CommandError(ExitStatus::BrokenStream,
                               "no frame of " + Quoted(_options.input) + " in " +
                                   fmt::format("{}-{} can be decoded", _range.first, _range.last));
        }
        return done;
    }

    std::optional<SourceFrame> DecodeNext() {
        std::optional<VideoFrame> frame = _reader->Next();
        if (!frame) {
            return std::nullopt;
        }
        SourceFrame source{frame->stamp, _converter->ToPicture(*frame->samples, _instance->Format().depth),
                           nullptr};
        if (_options.scale != 1) {
            source.picture =
                ScalePicture(*source.picture, _instance->PictureWidth(), _instance->PictureHeight());
        }
        const int index = static_cast<int>(frame->stamp.index);
        if (_pipeline->WantsOriginal(index) && _writer->Accepts(*frame->samples)) {
            source.original = frame->samples;
        }
        return source;
    }

    void Write(const RenderedFrame& frame) {
        if (frame.original) {
            _writer->WriteUntouched(*frame.original, frame.stamp);
        } else {
            _writer->Write(*frame.picture, frame.stamp);
        }
    }

    void Report(RenderRecord& record) {
        const int wanted = _range.last - _range.first + 1;
        if (record.frames < wanted) {
            Warn(_options,
                 fmt::format("the last {} frames of {} cannot be decoded; the output ends before them",
                             wanted - record.frames, Quoted(_options.input)));
        }
        for (const HostMessage& message : _instance->TakeMessages()) {
            Warn(_options, message.text);
        }
        if (!_options.statistics.empty()) {
            record.range = _range;
            record.source = _reader->Info();
            record.outputWidth = _output.format.width;
            record.outputHeight = _output.format.height;
            record.encoder = _writer->Encoder();
            record.pixelFormat = av_get_pix_fmt_name(_writer->PixelFormat());
            WriteStatistics(_options, record, *_plugin, *_instance);
        }
        if (!_options.quiet) {
            fmt::print("{}: {} frames in {:.1f} s, {:.1f} frames per second\n", _options.output.string(),
                       record.frames, record.seconds, record.frames / std::max(record.seconds, 1e-9));
        }
    }

    const RenderOptions& _options;
    const std::atomic<bool>& _interrupted;
    std::unique_ptr<VideoReader> _reader;
    FrameRange _range;
    std::shared_ptr<EffectPlugin> _plugin;
    std::unique_ptr<EffectInstance> _instance;
    VideoOutput _output;
    std::unique_ptr<VideoWriter> _writer;
    std::unique_ptr<PixelConverter> _converter;
    std::unique_ptr<RenderPipeline> _pipeline;
};

}  // namespace

void RunRender(const RenderOptions& options, const std::atomic<bool>& interrupted) {
    Render(options, interrupted).Run();
}

}  // namespace TQ::App
