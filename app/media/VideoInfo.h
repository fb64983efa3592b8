#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "app/media/FFmpeg.h"
#include "app/picture/Picture.h"

namespace TQ::App {

/// How the numbers of a video mean colours, as its stream says it.
struct ColourTags {
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    AVChromaLocation chromaLocation = AVCHROMA_LOC_UNSPECIFIED;
};

/// 3x3 matrix of FFmpeg's display side data: rows (a b u), (c d v), (x y w), 16.16 fixed point (u, v,
/// w 2.30).
using DisplayMatrix = std::array<std::int32_t, 9>;

/// A clip as its file describes it; also the wanted format of a new one.
struct VideoInfo {
    int width = 0;
    int height = 0;
    /// Never one of the deprecated full-range formats (yuvj...): the range stands in the tags alone.
    AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;
    ColourTags colour;
    AVRational frameRate{25, 1};
    /// Unit of the frames' time stamps, in seconds.
    AVRational timeBase{1, 25};
    /// 0/1 when unknown.
    AVRational sampleAspect{0, 1};
    AVFieldOrder fieldOrder = AV_FIELD_UNKNOWN;
    /// How the pictures have to be turned for display; none when they are upright.
    std::optional<DisplayMatrix> rotation;
    std::int64_t frameCount = 0;
    /// Number in the name of the first file of an image sequence, 0 for video files.
    std::int64_t firstNumber = 0;
    bool isSequence = false;
    /// Name of the codec, for reports.
    std::string codec;
};

/// 8-bit integer samples are Byte, wider ones Short, floating point Float.
SampleDepth DepthOf(AVPixelFormat format);
/// True when the format stores transparency.
bool HasAlpha(AVPixelFormat format);
/// Red, green and blue (or grey) samples, that need no colour conversion to become a picture.
bool IsDirect(AVPixelFormat format);
/// Replaces yuvj... by the format of the same layout without a range of its own.
AVPixelFormat PlainFormat(AVPixelFormat format);
bool IsFullRangeFormat(AVPixelFormat format);

/// When a frame is shown, in units of VideoInfo::timeBase.
struct FrameStamp {
    std::int64_t index = 0;
    std::int64_t time = 0;
    std::int64_t duration = 0;
};

}  // namespace TQ::App
