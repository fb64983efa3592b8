#include "app/media/EncoderChoice.h"

#include <algorithm>
#include <vector>

#include "app/media/SequencePattern.h"

namespace TQ::App {

namespace {

// Names that people use, and the set-up of the encoders that need one. Red-green-blue goes through without
// loss. The encoder shares the processor with the effect: "veryfast" at 15 gives the quality of "medium" at
// 16 in a quarter of its time, in files that are as large for noisy pictures and a third larger for clean
// ones.
constexpr struct {
    const char* name;
    const char* encoder;
} spokenNames[] = {{"h264", "libx264"}, {"x264", "libx264"},     {"h265", "libx265"},  {"hevc", "libx265"},
                   {"x265", "libx265"}, {"prores", "prores_ks"}, {"av1", "libsvtav1"}, {"vp9", "libvpx-vp9"}};

constexpr const char* largeX264 = "rc-lookahead=4:x264-params=sync-lookahead=0\\:sliced-threads=1";

constexpr struct {
    const char* encoder;
    const char* options;
    const char* losslessOptions;  // for sources in red, green and blue
    bool wantsEvenSizes;          // along axes where chroma is subsampled
    // More of both for large pictures, of which the encoder holds fewer. Without frames from both sides,
    // 17 gives HEVC files as good and as large as 16 with them.
    const char* largeOptions;
    const char* largeLosslessOptions;
} encoderSetups[] = {
    {"libx264", "preset=veryfast:crf=15:rc-lookahead=10:x264-params=sync-lookahead=0",
     "preset=veryfast:qp=0:rc-lookahead=10", true, largeX264, largeX264},
    {"libx264rgb", "preset=veryfast:crf=15", "preset=veryfast:qp=0:rc-lookahead=10", true, "", ""},
    {"libx265", "preset=medium:crf=16:x265-params=log-level=none",
     "preset=fast:x265-params=lossless=1\\:log-level=none", true,
     "crf=17:x265-params=frame-threads=1\\:bframes=0\\:ref=1\\:rc-lookahead=2\\:log-level=none",
     "x265-params=lossless=1\\:frame-threads=1\\:bframes=0\\:ref=1\\:rc-lookahead=2\\:log-level=none"},
    {"ffv1", "level=3:slicecrc=1", "level=3:slicecrc=1", false, "", ""},
    {"libvpx-vp9", "crf=18:b=0:row-mt=1", "lossless=1", false, "", ""},
    {"prores_ks", "profile=auto:vendor=apl0", "profile=auto:vendor=apl0", false, "", ""},
};

// Pixels from which on the encoder's frames would be much of the memory that a render takes.
constexpr std::int64_t largePicture = 6'000'000;

// Encoders to try, in order, by file type: for YUV, and for red-green-blue or grey.
const struct {
    const char* muxer;
    std::vector<const char*> encoders;
    std::vector<const char*> directEncoders;
} usualEncoders[] = {
    {"mp4", {"libx264", "libx265"}, {"libx264", "libx264rgb", "libx265"}},
    {"mov", {"libx264", "libx265", "prores_ks"}, {"libx264", "png"}},
    {"matroska", {"libx264", "libx265", "ffv1"}, {"ffv1"}},
    {"avi", {"libx264", "ffv1"}, {"ffv1"}},
    {"mpegts", {"libx264", "libx265"}, {"libx264"}},
    {"webm", {"libvpx-vp9"}, {"libvpx-vp9"}},
};

// All that avcodec's comparison of pixel formats reports but a finer chroma grid.
constexpr int lossKinds = FF_LOSS_RESOLUTION | FF_LOSS_DEPTH | FF_LOSS_COLORSPACE | FF_LOSS_ALPHA |
                          FF_LOSS_COLORQUANT | FF_LOSS_CHROMA;

std::string LossText(int loss) {
    std::string text;
    const auto add = [&](int kind, const char* name) {
        if (loss & kind) {
            text += (text.empty() ? "" : ", ") + std::string(name);
        }
    };
    add(FF_LOSS_DEPTH | FF_LOSS_COLORQUANT, "bit depth");
    add(FF_LOSS_ALPHA, "transparency");
    add(FF_LOSS_RESOLUTION, "colour resolution");
    add(FF_LOSS_COLORSPACE | FF_LOSS_CHROMA, "the kind of colours (RGB, YUV or grey)");
    return text;
}

template <typename Setup>
const Setup* Find(const Setup* begin, const Setup* end, const std::string& encoder) {
    const Setup* found = std::find_if(begin, end, [&](const Setup& row) { return encoder == row.encoder; });
    return found == end ? nullptr : found;
}

bool IsOddFor(AVPixelFormat format, const VideoInfo& source) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    return (source.width & ((1 << descriptor->log2_chroma_w) - 1)) ||
           (source.height & ((1 << descriptor->log2_chroma_h) - 1));
}

// What an image file stands for when the source is not red, green and blue already.
AVPixelFormat ImageEquivalent(AVPixelFormat format) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    if (descriptor->flags & AV_PIX_FMT_FLAG_PAL) {
        return AV_PIX_FMT_RGBA;
    }
    if (IsDirect(format)) {
        return format;
    }
    const bool deep = DepthOf(format) != SampleDepth::Byte;
    return HasAlpha(format) ? (deep ? AV_PIX_FMT_RGBA64LE : AV_PIX_FMT_RGBA)
                            : (deep ? AV_PIX_FMT_RGB48LE : AV_PIX_FMT_RGB24);
}

// The encoder's own formats that may be used for this source.
std::vector<AVPixelFormat> FormatsOf(const AVCodec& codec, const VideoInfo& source, bool images,
                                     bool wantsEvenSizes) {
    std::vector<AVPixelFormat> formats;
    bool hasDirect = false;
    for (const AVPixelFormat* format = codec.pix_fmts; format && *format != AV_PIX_FMT_NONE; ++format) {
        const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(*format);
        constexpr auto unusable = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM;
        // A full-range twin is the plain format, told apart by the range tag; libav's own JPEG has only
        // twins.
        const bool isTwin = IsFullRangeFormat(*format) && codec.id != AV_CODEC_ID_MJPEG;
        if ((descriptor->flags & unusable) || isTwin || !sws_isSupportedOutput(*format)) {
            continue;
        }
        if (wantsEvenSizes && IsOddFor(*format, source)) {
            continue;
        }
        formats.push_back(*format);
        hasDirect = hasDirect || IsDirect(*format);
    }
    if (images && hasDirect) {
        std::erase_if(formats, [](AVPixelFormat format) { return !IsDirect(format); });
    }
    return formats;
}

struct FormatChoice {
    AVPixelFormat format = AV_PIX_FMT_NONE;
    int loss = lossKinds;
};

FormatChoice ChooseFormat(const AVCodec& codec, const VideoInfo& source, bool images) {
    const auto* setup = Find(std::begin(encoderSetups), std::end(encoderSetups), codec.name);
    std::vector<AVPixelFormat> formats = FormatsOf(codec, source, images, setup && setup->wantsEvenSizes);
    const AVPixelFormat wanted = images                                  ? ImageEquivalent(source.pixelFormat)
                                 : source.pixelFormat == AV_PIX_FMT_PAL8 ? AV_PIX_FMT_RGBA
                                                                         : source.pixelFormat;
    if (std::find(formats.begin(), formats.end(), wanted) != formats.end()) {
        return {wanted, 0};
    }
    if (formats.empty()) {
        return {};
    }
    formats.push_back(AV_PIX_FMT_NONE);
    int loss = 0;
    const AVPixelFormat best =
        avcodec_find_best_pix_fmt_of_list(formats.data(), wanted, HasAlpha(wanted), &loss);
    return {best, loss & lossKinds};
}

EncoderChoice MakeChoice(const AVCodec* codec, const FormatChoice& format, const VideoOutput& output) {
    EncoderChoice choice{codec, format.format, {}, {}};
    if (const auto* setup = Find(std::begin(encoderSetups), std::end(encoderSetups), codec->name)) {
        const bool isLossless = IsDirect(output.format.pixelFormat);
        choice.options = isLossless ? setup->losslessOptions : setup->options;
        const char* large = isLossless ? setup->largeLosslessOptions : setup->largeOptions;
        if (*large && std::int64_t{output.format.width} * output.format.height >= largePicture) {
            choice.options += std::string(":") + large;
        }
    }
    if (format.loss) {
        choice.warning = Quoted(output.path) + " does not keep all of the source: " + codec->name + " as " +
                         av_get_pix_fmt_name(format.format) + " loses " + LossText(format.loss);
    }
    return choice;
}

const AVCodec* EncoderNamed(const std::string& name) {
    for (const auto& row : spokenNames) {
        if (name == row.name && avcodec_find_encoder_by_name(row.encoder)) {
            return avcodec_find_encoder_by_name(row.encoder);
        }
    }
    const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
    if (!codec) {
        const AVCodecDescriptor* descriptor = avcodec_descriptor_get_by_name(name.c_str());
        codec = descriptor ? avcodec_find_encoder(descriptor->id) : nullptr;
    }
    if (!codec || codec->type != AVMEDIA_TYPE_VIDEO) {
        throw MediaError(MediaFailure::Codec, "there is no video codec named '" + name + "'");
    }
    return codec;
}

EncoderChoice ChooseNamed(const VideoOutput& output, const AVOutputFormat* muxer) {
    const AVCodec* codec = EncoderNamed(output.codec);
    const std::string extension = output.path.extension().string();
    if (muxer && avformat_query_codec(muxer, codec->id, FF_COMPLIANCE_NORMAL) == 0) {
        throw MediaError(MediaFailure::Codec, "files of the type '" + extension +
                                                  "' cannot carry the codec '" + output.codec +
                                                  "'; .mkv carries most");
    }
    const FormatChoice format = ChooseFormat(*codec, output.format, !muxer);
    if (format.format == AV_PIX_FMT_NONE) {
        throw MediaError(MediaFailure::Codec, "the codec '" + output.codec + "' cannot encode pictures of " +
                                                  std::to_string(output.format.width) + "x" +
                                                  std::to_string(output.format.height) +
                                                  " pixels; --codec ffv1 with .mkv, or images, can");
    }
    return MakeChoice(codec, format, output);
}

EncoderChoice ChooseForImages(const VideoOutput& output) {
    const AVOutputFormat* images = av_guess_format("image2", nullptr, nullptr);
    const AVCodecID id =
        av_guess_codec(images, nullptr, output.path.filename().string().c_str(), nullptr, AVMEDIA_TYPE_VIDEO);
    const AVCodec* codec = avcodec_find_encoder(id);
    const FormatChoice format = codec ? ChooseFormat(*codec, output.format, true) : FormatChoice{};
    if (format.format == AV_PIX_FMT_NONE) {
        throw MediaError(MediaFailure::Codec, "images of the type " + Quoted(output.path.extension()) +
                                                  " cannot be written; .png, .tiff, .dpx and .exr can");
    }
    return MakeChoice(codec, format, output);
}

std::vector<const AVCodec*> UsualEncoders(const AVOutputFormat* muxer, bool isDirect) {
    std::vector<const AVCodec*> codecs;
    for (const auto& row : usualEncoders) {
        if (std::string(muxer->name) == row.muxer) {
            for (const char* name : isDirect ? row.directEncoders : row.encoders) {
                codecs.push_back(avcodec_find_encoder_by_name(name));
            }
        }
    }
    if (codecs.empty()) {
        codecs.push_back(avcodec_find_encoder(muxer->video_codec));
    }
    std::erase(codecs, nullptr);
    return codecs;
}

}  // namespace

bool WritesImages(const VideoOutput& output) {
    return IsStillImage(output.path);
}

const AVOutputFormat* MuxerFor(const std::filesystem::path& path) {
    const AVOutputFormat* muxer = av_guess_format(nullptr, path.filename().string().c_str(), nullptr);
    if (!muxer || muxer->video_codec == AV_CODEC_ID_NONE || (muxer->flags & AVFMT_NOFILE)) {
        const std::string what = path.has_extension() ? Quoted(path.extension()) + " is not the extension of"
                                                      : Quoted(path) + " does not end like the name of";
        throw MediaError(MediaFailure::Codec,
                         what +
                             " a video file that can be written; "
                             ".mp4, .mov, .mkv and the images .png, .tiff, .dpx, .exr are");
    }
    return muxer;
}

EncoderChoice ChooseEncoder(const VideoOutput& output, const AVOutputFormat* muxer) {
    if (!output.codec.empty()) {
        return ChooseNamed(output, muxer);
    }
    if (!muxer) {
        return ChooseForImages(output);
    }
    FormatChoice last;
    const AVCodec* lastCodec = nullptr;
    for (const AVCodec* codec : UsualEncoders(muxer, IsDirect(output.format.pixelFormat))) {
        const FormatChoice format = ChooseFormat(*codec, output.format, false);
        if (format.loss == 0) {
            return MakeChoice(codec, format, output);
        }
        if (!lastCodec && format.format != AV_PIX_FMT_NONE) {
            last = format;
            lastCodec = codec;
        }
    }
    throw MediaError(MediaFailure::Codec,
                     "files of the type " + Quoted(output.path.extension()) +
                         " usually carry no codec that keeps " +
                         (lastCodec ? LossText(last.loss) : std::string("pictures like these")) + " of " +
                         av_get_pix_fmt_name(output.format.pixelFormat) +
                         "; choose another extension (.mkv, images) or say --codec");
}

void CropForChroma(VideoOutput& output) {
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(output.format.pixelFormat);
    const auto cropped = [](int size, int bits) { return size >> bits ? (size >> bits) << bits : size; };
    VideoOutput smaller = output;
    smaller.format.width = cropped(output.format.width, layout->log2_chroma_w);
    smaller.format.height = cropped(output.format.height, layout->log2_chroma_h);
    const AVOutputFormat* muxer = WritesImages(output) ? nullptr : MuxerFor(output.path);
    if (ChooseEncoder(smaller, muxer).pixelFormat != ChooseEncoder(output, muxer).pixelFormat) {
        output.format = smaller.format;
    }
}

}  // namespace TQ::App
