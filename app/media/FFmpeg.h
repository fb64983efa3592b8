#pragma once

// FFmpeg's C headers and scoped owners for its objects.

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
#include <libavutil/parseutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace TQ::App {

struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeCodec {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct CloseInput {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
struct FreeScaler {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

/// A decoded frame, shared between those who still need its samples.
using FramePointer = std::shared_ptr<AVFrame>;
using PacketPointer = std::unique_ptr<AVPacket, FreePacket>;
using CodecPointer = std::unique_ptr<AVCodecContext, FreeCodec>;
using InputPointer = std::unique_ptr<AVFormatContext, CloseInput>;
using ScalerPointer = std::unique_ptr<SwsContext, FreeScaler>;

/// Throw std::bad_alloc.
FramePointer NewFrame();
PacketPointer NewPacket();
/// FFmpeg's own words for an error code.
std::string ErrorText(int code);
/// FFmpeg's libraries write to standard error by themselves; from now on they don't.
void QuietFFmpeg();

}  // namespace TQ::App
