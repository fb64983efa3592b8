#include "app/media/VideoInfo.h"

namespace TQ::App {

namespace {

constexpr struct {
    AVPixelFormat fullRange;
    AVPixelFormat plain;
} fullRangeFormats[] = {
    {AV_PIX_FMT_YUVJ411P, AV_PIX_FMT_YUV411P}, {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV420P},
    {AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUV422P}, {AV_PIX_FMT_YUVJ440P, AV_PIX_FMT_YUV440P},
    {AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUV444P},
};

}  // namespace

SampleDepth DepthOf(AVPixelFormat format) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    if (!descriptor || (descriptor->flags & AV_PIX_FMT_FLAG_PAL)) {
        return SampleDepth::Byte;
    }
    if (descriptor->flags & AV_PIX_FMT_FLAG_FLOAT) {
        return SampleDepth::Float;
    }
    return descriptor->comp[0].depth > 8 ? SampleDepth::Short : SampleDepth::Byte;
}

bool HasAlpha(AVPixelFormat format) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    return descriptor && (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA);
}

bool IsDirect(AVPixelFormat format) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    constexpr auto indirect = AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM;
    if (!descriptor || (descriptor->flags & indirect) || descriptor->comp[0].depth < 4 ||
        format == AV_PIX_FMT_XYZ12LE || format == AV_PIX_FMT_XYZ12BE) {
        return false;
    }
    return (descriptor->flags & AV_PIX_FMT_FLAG_RGB) || descriptor->nb_components <= 2;
}

AVPixelFormat PlainFormat(AVPixelFormat format) {
    for (const auto& row : fullRangeFormats) {
        if (row.fullRange == format) {
            return row.plain;
        }
    }
    return format;
}

bool IsFullRangeFormat(AVPixelFormat format) {
    return PlainFormat(format) != format;
}

}  // namespace TQ::App
