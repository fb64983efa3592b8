#include "ip/records/PixelFormat.h"

namespace TQ::IP {

ChannelOrderCode MakeChannelOrder(int red, int green, int blue, int alpha) {
    return static_cast<ChannelOrderCode>(((red * 4 + green) * 4 + blue) * 4 + alpha);
}

int BytesPerChannel(PixelDepth depth) {
    switch (depth) {
        case PixelDepth::Unsigned8:
        case PixelDepth::Signed8:
            return 1;
        case PixelDepth::Unsigned16:
        case PixelDepth::Unsigned15:
        case PixelDepth::Half:
            return 2;
        case PixelDepth::Float:
            return 4;
    }
    return 0;
}

std::int64_t BytesPerPixel(const PixelFormat& format) {
    return format.channels * BytesPerChannel(format.depth);
}

double WhiteLevelFraction(const PixelFormat& format) {
    if (format.whiteLevel == 0) {
        return 1.0;
    }
    switch (format.depth) {
        case PixelDepth::Unsigned8:
            return format.whiteLevel / 255.0;
        case PixelDepth::Signed8:
            return format.whiteLevel / 127.0;
        case PixelDepth::Unsigned16:
            return format.whiteLevel / 65535.0;
        case PixelDepth::Unsigned15:
            return format.whiteLevel / 32767.0;
        case PixelDepth::Half:
        case PixelDepth::Float:
            return format.whiteLevel;
    }
    return 1.0;
}

PixelFormat AsFloatRGBA(PixelFormat format) {
    format.channels = 4;
    format.depth = PixelDepth::Float;
    format.whiteLevel = 0;
    return format;
}

}  // namespace TQ::IP
