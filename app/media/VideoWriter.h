#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "app/media/MediaError.h"
#include "app/media/VideoInfo.h"

namespace TQ::App {

/// What is to be written.
struct VideoOutput {
    /// A video file, one image, or an image sequence by its pattern; the extension chooses the file type.
    std::filesystem::path path;
    /// Size, pixel format, colour, rates and rotation of the pictures that Write will get (unturned: what the
    /// file type cannot say about rotation is done to the pixels). frameCount: how many frames come (it
    /// decides which files of a sequence are looked for). For a clip of one's own making: width, height,
    /// pixelFormat, frameRate, timeBase = 1 / frameRate and frameCount are enough.
    VideoInfo format;
    /// Name of an encoder; empty chooses by file type and pixel format, never one that loses depth.
    std::string codec;
    /// Options of the encoder by their names in FFmpeg, "name=value:name=value", over those chosen for it.
    std::string codecOptions;
    /// Replace an existing file at the end.
    bool overwrite = false;
    /// A video file whose audio streams and metadata are copied; empty for none.
    std::filesystem::path companions;
    /// Audio before `startTime` or from `endTime` on (in format.timeBase, on the companion's clock) is left
    /// out, and startTime becomes the beginning of the output, when `trim` is set.
    bool trim = false;
    std::int64_t startTime = 0;
    std::int64_t endTime = 0;
    /// Index of the first frame; files of a sequence are numbered format.firstNumber + index.
    std::int64_t firstFrame = 0;
};

/// Encodes a clip. Everything goes to temporary files beside the output, which Finish() gives their final
/// names; a writer destroyed before that removes them. One thread at a time. All throw MediaError: DiskFull,
/// OutputUnwritable, Codec.
class VideoWriter {
  public:
    virtual ~VideoWriter() = default;

    /// A picture of any depth, of the format's size (what is beyond it at the right and the bottom is cut
    /// off). Frames come in the order of their stamps.
    virtual void Write(const Picture& picture, const FrameStamp& stamp) = 0;
    /// True when samples of this layout can be encoded as they are.
    virtual bool Accepts(const AVFrame& samples) const = 0;
    /// Encodes decoded samples that Accepts() admits, without any conversion.
    virtual void WriteUntouched(const AVFrame& samples, const FrameStamp& stamp) = 0;
    virtual void Finish() = 0;

    /// The encoder in use and its pixel format, for reports.
    const std::string& Encoder() const { return _encoder; }
    AVPixelFormat PixelFormat() const { return _pixelFormat; }
    /// One sentence on what this output cannot keep of the source, empty when it keeps all.
    const std::string& Warning() const { return _warning; }

  protected:
    std::string _encoder;
    AVPixelFormat _pixelFormat = AV_PIX_FMT_NONE;
    std::string _warning;
};

/// Checks the output (folder, existing files, file type, codec) and begins it.
std::unique_ptr<VideoWriter> CreateVideo(const VideoOutput& output);
/// Takes the last column or row off the format's size where the encoder could not otherwise keep the source's
/// chroma subsampling.
void CropForChroma(VideoOutput& output);

}  // namespace TQ::App
