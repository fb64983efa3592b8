#pragma once

#include <cstdint>

namespace TQ::IP {

/// How one channel is stored. The two unsigned 16-bit values differ in their white level: 32768 and above, or
/// below.
enum class PixelDepth : std::uint32_t {
    Unsigned8 = 0,
    Signed8 = 1,
    Unsigned16 = 2,
    Unsigned15 = 3,
    Half = 4,
    Float = 5,
};

/// Position of red, green, blue and alpha in a pixel, two bits each, red in the top two bits.
using ChannelOrderCode = std::uint8_t;
constexpr ChannelOrderCode channelOrderRGBA = 27;

/// Bit of PixelFormat::flags: rows run bottom-up in memory.
constexpr std::uint32_t formatBottomUp = 2;

/// The format of an image, compared field by field.
struct PixelFormat {
    std::int64_t channels = 4;
    float scale = 1.0F;  ///< carried and compared; stays 1.0
    PixelDepth depth = PixelDepth::Unsigned8;
    ChannelOrderCode channelOrder = channelOrderRGBA;
    std::uint32_t flags = formatBottomUp;
    std::uint32_t whiteLevel = 0;  ///< code value of white; set for the two unsigned 16-bit depths only

    bool operator==(const PixelFormat&) const = default;
};

/// 8-bit arithmetic, as the code is one byte.
ChannelOrderCode MakeChannelOrder(int red, int green, int blue, int alpha);
/// Bytes of one channel; 0 for a depth that does not exist.
int BytesPerChannel(PixelDepth depth);
std::int64_t BytesPerPixel(const PixelFormat& format);
/// `whiteLevel` over the largest code value of the depth (for float depths over 1); 1.0 when `whiteLevel` is
/// 0.
double WhiteLevelFraction(const PixelFormat& format);
/// The same format as four 32-bit float channels: the format of accumulators and signed images.
PixelFormat AsFloatRGBA(PixelFormat format);

}  // namespace TQ::IP
