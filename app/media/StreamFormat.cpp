#include "app/media/StreamFormat.h"

#include <cstring>

extern "C" {
#include <libavutil/frame.h>
}

namespace TQ::App {

namespace {

std::optional<DisplayMatrix> MatrixFrom(const void* data, std::size_t size) {
    DisplayMatrix matrix;
    if (!data || size < sizeof(matrix)) {
        return std::nullopt;
    }
    std::memcpy(matrix.data(), data, sizeof(matrix));
    return matrix;
}

}  // namespace

void DescribeSamples(const AVFrame& samples, VideoInfo& info) {
    const AVPixelFormat format = static_cast<AVPixelFormat>(samples.format);
    info.width = samples.width;
    info.height = samples.height;
    info.pixelFormat = PlainFormat(format);
    info.colour.primaries = samples.color_primaries;
    info.colour.transfer = samples.color_trc;
    info.colour.matrix = samples.colorspace;
    info.colour.range = IsFullRangeFormat(format) ? AVCOL_RANGE_JPEG : samples.color_range;
    info.colour.chromaLocation = samples.chroma_location;
    const AVFrameSideData* rotation = av_frame_get_side_data(&samples, AV_FRAME_DATA_DISPLAYMATRIX);
    if (rotation) {
        info.rotation = MatrixFrom(rotation->data, rotation->size);
    }
}

std::string ChangeFrom(const VideoInfo& info, const AVFrame& samples) {
    if (samples.width != info.width || samples.height != info.height) {
        return "is " + std::to_string(samples.width) + "x" + std::to_string(samples.height) +
               " pixels while the first frame is " + std::to_string(info.width) + "x" +
               std::to_string(info.height);
    }
    const AVPixelFormat format = PlainFormat(static_cast<AVPixelFormat>(samples.format));
    if (format != info.pixelFormat) {
        return std::string("has ") + av_get_pix_fmt_name(format) + " pixels while the first frame has " +
               av_get_pix_fmt_name(info.pixelFormat);
    }
    return {};
}

bool IsDamaged(const AVFrame& samples) {
    constexpr int wrongContent = FF_DECODE_ERROR_INVALID_BITSTREAM | FF_DECODE_ERROR_CONCEALMENT_ACTIVE |
                                 FF_DECODE_ERROR_DECODE_SLICES;
    return (samples.flags & AV_FRAME_FLAG_CORRUPT) || (samples.decode_error_flags & wrongContent);
}

std::optional<DisplayMatrix> RotationOf(const AVStream& stream) {
    std::size_t size = 0;
    const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    return MatrixFrom(data, size);
}

}  // namespace TQ::App
