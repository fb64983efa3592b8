#include "app/media/FFmpeg.h"

#include <new>

extern "C" {
#include <libavutil/log.h>
}

namespace TQ::App {

FramePointer NewFrame() {
    AVFrame* frame = av_frame_alloc();
    if (!frame) {
        throw std::bad_alloc();
    }
    return FramePointer(frame, FreeFrame());
}

PacketPointer NewPacket() {
    PacketPointer packet(av_packet_alloc());
    if (!packet) {
        throw std::bad_alloc();
    }
    return packet;
}

std::string ErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof(text));
    return text;
}

void QuietFFmpeg() {
    av_log_set_level(AV_LOG_QUIET);
}

}  // namespace TQ::App
