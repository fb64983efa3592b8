#include "app/media/FrameEncoder.h"

#include <algorithm>
#include <utility>

#include "platform/Platform.h"

namespace TQ::App {

namespace {

// More threads than these cost memory for little speed beside the effect itself.
constexpr int encoderThreads = 4;

bool IsInterlaced(AVFieldOrder order) {
    return order != AV_FIELD_UNKNOWN && order != AV_FIELD_PROGRESSIVE;
}

}  // namespace

FrameEncoder::FrameEncoder(const VideoOutput& output, const EncoderChoice& choice, Orientation turn,
                           bool globalHeader)
    : _turn(turn), _context(avcodec_alloc_context3(choice.codec)), _frame(NewFrame()) {
    if (!_context) {
        throw std::bad_alloc();
    }
    if (globalHeader) {
        _context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    Configure(output, choice);
    AVDictionary* options = nullptr;
    av_dict_parse_string(&options, choice.options.c_str(), "=", ":", 0);
    const bool isReadable = av_dict_parse_string(&options, output.codecOptions.c_str(), "=", ":", 0) >= 0;
    const int result = isReadable ? avcodec_open2(_context.get(), choice.codec, &options) : 0;
    const AVDictionaryEntry* unknown = av_dict_get(options, "", nullptr, AV_DICT_IGNORE_SUFFIX);
    const std::string rest = unknown ? unknown->key : "";
    av_dict_free(&options);
    if (!isReadable || (result >= 0 && !rest.empty() && !output.codecOptions.empty())) {
        throw MediaError(
            MediaFailure::Codec,
            isReadable ? std::string("the codec ") + choice.codec->name + " has no option '" + rest + "'"
                       : "'" + output.codecOptions + "' is not of the form name=value:name=value");
    }
    if (result < 0) {
        throw MediaError(MediaFailure::Codec,
                         std::string("the codec ") + choice.codec->name + " cannot be set up for " +
                             std::to_string(_context->width) + "x" + std::to_string(_context->height) +
                             " pixels of the format " + av_get_pix_fmt_name(choice.pixelFormat) + ": " +
                             ErrorText(result));
    }
    _frame->format = _context->pix_fmt;
    _frame->width = _context->width;
    _frame->height = _context->height;
    ColourTags colour = output.format.colour;
    colour.range = _context->color_range;
    _converter =
        std::make_unique<PixelConverter>(choice.pixelFormat, _context->width, _context->height, colour);
}

void FrameEncoder::Configure(const VideoOutput& output, const EncoderChoice& choice) {
    const VideoInfo& format = output.format;
    AVCodecContext& context = *_context;
    context.width = _turn.swapAxes ? format.height : format.width;
    context.height = _turn.swapAxes ? format.width : format.height;
    context.pix_fmt = choice.pixelFormat;
    context.time_base = format.timeBase;
    context.framerate = format.frameRate;
    context.sample_aspect_ratio = format.sampleAspect;
    if (_turn.swapAxes) {
        std::swap(context.sample_aspect_ratio.num, context.sample_aspect_ratio.den);
    }
    context.thread_count = std::min(encoderThreads, Platform::HardwareThreadCount());
    context.color_primaries = format.colour.primaries;
    context.color_trc = format.colour.transfer;
    context.colorspace = format.colour.matrix;
    context.color_range = format.colour.range;
    context.chroma_sample_location = format.colour.chromaLocation;
    context.field_order = format.fieldOrder;
    context.strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    if (IsInterlaced(format.fieldOrder) && choice.codec->id != AV_CODEC_ID_HEVC) {
        context.flags |= AV_CODEC_FLAG_INTERLACED_DCT;
    }
    // A step between RGB and YUV changes what the matrix says.
    const bool wasDirect = IsDirect(format.pixelFormat);
    const bool isDirect = IsDirect(choice.pixelFormat);
    if (isDirect && av_pix_fmt_desc_get(choice.pixelFormat)->nb_components >= 3) {
        context.colorspace = AVCOL_SPC_RGB;
        context.color_range = AVCOL_RANGE_JPEG;
    } else if (wasDirect && !isDirect) {
        context.colorspace = context.height >= 720 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
        context.color_range = IsFullRangeFormat(choice.pixelFormat) ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    } else if (IsFullRangeFormat(choice.pixelFormat)) {
        context.color_range = AVCOL_RANGE_JPEG;
    }
}

bool FrameEncoder::Accepts(const AVFrame& samples) const {
    return _turn.IsUpright() && samples.width == _context->width && samples.height == _context->height &&
           PlainFormat(static_cast<AVPixelFormat>(samples.format)) == _context->pix_fmt;
}

void FrameEncoder::Encode(const Picture& picture, const FrameStamp& stamp) {
    const int width = _turn.swapAxes ? _context->height : _context->width;
    const int height = _turn.swapAxes ? _context->width : _context->height;
    const Picture* source = &picture;
    PicturePointer cropped;
    if (picture.Width() != width || picture.Height() != height) {
        cropped = CropPicture(picture, width, height);
        source = cropped.get();
    }
    PicturePointer turned;
    if (!_turn.IsUpright()) {
        turned = TurnPicture(*source, _turn);
        source = turned.get();
    }
    // The encoder either copied the samples of the frame before or still holds them, and then these are new
    // ones.
    const int result =
        _frame->data[0] ? av_frame_make_writable(_frame.get()) : av_frame_get_buffer(_frame.get(), 0);
    if (result < 0) {
        throw std::bad_alloc();
    }
    _converter->FromPicture(*source, *_frame);
    _frame->pts = stamp.time;
    _durations[stamp.time] = stamp.duration;
    Send(_frame.get());
}

void FrameEncoder::EncodeUntouched(const AVFrame& samples, const FrameStamp& stamp) {
    const FramePointer frame = NewFrame();
    if (av_frame_ref(frame.get(), &samples) < 0) {
        throw std::bad_alloc();
    }
    frame->format = _context->pix_fmt;
    frame->pts = stamp.time;
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    _durations[stamp.time] = stamp.duration;
    Send(frame.get());
}

void FrameEncoder::Send(AVFrame* frame) {
    if (frame) {
        frame->color_primaries = _context->color_primaries;
        frame->color_trc = _context->color_trc;
        frame->colorspace = _context->colorspace;
        frame->color_range = _context->color_range;
        frame->chroma_location = _context->chroma_sample_location;
        frame->sample_aspect_ratio = _context->sample_aspect_ratio;
    }
    const int result = avcodec_send_frame(_context.get(), frame);
    if (result < 0) {
        throw MediaError(MediaFailure::Codec, std::string("the codec ") + _context->codec->name +
                                                  " failed on a frame: " + ErrorText(result));
    }
}

void FrameEncoder::Flush() {
    Send(nullptr);
}

bool FrameEncoder::Take(AVPacket& packet) {
    const int result = avcodec_receive_packet(_context.get(), &packet);
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
        return false;
    }
    if (result < 0) {
        throw MediaError(MediaFailure::Codec,
                         std::string("the codec ") + _context->codec->name + " failed: " + ErrorText(result));
    }
    const auto duration = _durations.find(packet.pts);
    if (duration != _durations.end()) {
        packet.duration = duration->second;
        _durations.erase(duration);
    }
    return true;
}

}  // namespace TQ::App
