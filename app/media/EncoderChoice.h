#pragma once

#include <string>

#include "app/media/FFmpeg.h"
#include "app/media/VideoWriter.h"

namespace TQ::App {

/// An encoder and how it is set up for an output.
struct EncoderChoice {
    const AVCodec* codec = nullptr;
    AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;
    /// "name=value:name=value" for the encoder.
    std::string options;
    /// What the output loses, as one sentence; empty when nothing.
    std::string warning;
};

/// The encoder that the output names, else the first that its file type usually carries and that holds the
/// source's pixel format without loss. `muxer` null stands for files with one image each. Throws
/// MediaError(Codec) when the name is unknown, the file type cannot carry it, or no encoder of the file type
/// keeps what the source has.
EncoderChoice ChooseEncoder(const VideoOutput& output, const AVOutputFormat* muxer);

/// True when the output's name is one of image files (a pattern, or one image).
bool WritesImages(const VideoOutput& output);
/// The file type by extension; throws MediaError(Codec).
const AVOutputFormat* MuxerFor(const std::filesystem::path& path);

}  // namespace TQ::App
