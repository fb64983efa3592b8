#include "app/media/SamplePacking.h"

#include <bit>
#include <cstring>
#include <type_traits>
#include <vector>

namespace TQ::App {

namespace {

bool IsForeignByteOrder(const AVPixFmtDescriptor& layout) {
    const bool bigEndian = (layout.flags & AV_PIX_FMT_FLAG_BE) != 0;
    return bigEndian != (std::endian::native == std::endian::big);
}

// Whole bytes at a regular step: all but bit fields, which libavutil reads sample by sample.
bool IsRegular(const AVPixFmtDescriptor& layout, const AVComponentDescriptor& component) {
    for (int i = 0; i < layout.nb_components; ++i) {
        if (layout.comp[i].shift != 0) {
            return false;
        }
    }
    return !(layout.flags & AV_PIX_FMT_FLAG_BITSTREAM) &&
           (component.depth == 8 || (component.depth >= 9 && component.depth <= 16) || component.depth == 32);
}

template <typename Sample, bool Swap>
Sample Load(const std::uint8_t* source) {
    Sample value;
    std::memcpy(&value, source, sizeof(value));
    if constexpr (Swap && sizeof(Sample) == 2) {
        value = static_cast<Sample>((value << 8) | (value >> 8));
    } else if constexpr (Swap && sizeof(Sample) == 4) {
        value = static_cast<Sample>(__builtin_bswap32(value));
    }
    return value;
}

template <typename Sample, bool Swap>
void Store(std::uint8_t* target, Sample value) {
    value = Load<Sample, Swap>(reinterpret_cast<const std::uint8_t*>(&value));
    std::memcpy(target, &value, sizeof(value));
}

// 9 to 15 bits repeat their upper bits below, which spans 0 to 65535; below 8 bits the same towards 8.
unsigned Widen(unsigned value, int depth, int wanted) {
    if (depth >= wanted) {
        return value;
    }
    if (2 * depth >= wanted) {
        return (value << (wanted - depth)) | (value >> (2 * depth - wanted));
    }
    const unsigned white = (1u << depth) - 1;
    return (value * ((1u << wanted) - 1) + white / 2) / white;
}

unsigned Narrow(unsigned value, int depth, int from) {
    const unsigned white = (1u << depth) - 1;
    const unsigned fromWhite = (1u << from) - 1;
    return depth >= from ? value : (value * white + fromWhite / 2) / fromWhite;
}

template <typename Sample, bool Swap>
void UnpackRow(const std::uint8_t* source, int step, int depth, Sample* target, int width) {
    if (depth == 8 * static_cast<int>(sizeof(Sample))) {
        for (int x = 0; x < width; ++x) {
            target[4 * x] = Load<Sample, Swap>(source + static_cast<std::ptrdiff_t>(x) * step);
        }
        return;
    }
    for (int x = 0; x < width; ++x) {
        const Sample value = Load<Sample, Swap>(source + static_cast<std::ptrdiff_t>(x) * step);
        target[4 * x] = static_cast<Sample>(Widen(value, depth, 16));
    }
}

template <typename Sample, bool Swap>
void PackRow(const Sample* source, std::uint8_t* target, int step, int depth, int width) {
    if (depth == 8 * static_cast<int>(sizeof(Sample))) {
        for (int x = 0; x < width; ++x) {
            Store<Sample, Swap>(target + static_cast<std::ptrdiff_t>(x) * step, source[4 * x]);
        }
        return;
    }
    for (int x = 0; x < width; ++x) {
        Store<Sample, Swap>(target + static_cast<std::ptrdiff_t>(x) * step,
                            static_cast<Sample>(Narrow(source[4 * x], depth, 16)));
    }
}

template <typename Sample>
void UnpackRegular(const AVFrame& samples, const AVPixFmtDescriptor& layout, int component, Picture& picture,
                   int channel) {
    const AVComponentDescriptor& part = layout.comp[component];
    const bool swap = IsForeignByteOrder(layout);
    for (int y = 0; y < picture.Height(); ++y) {
        const std::uint8_t* source = samples.data[part.plane] +
                                     static_cast<std::ptrdiff_t>(y) * samples.linesize[part.plane] +
                                     part.offset;
        Sample* target = reinterpret_cast<Sample*>(picture.Row(y)) + channel;
        if (swap) {
            UnpackRow<Sample, true>(source, part.step, part.depth, target, picture.Width());
        } else {
            UnpackRow<Sample, false>(source, part.step, part.depth, target, picture.Width());
        }
    }
}

template <typename Sample>
void PackRegular(const Picture& picture, int channel, const AVPixFmtDescriptor& layout, int component,
                 AVFrame& frame) {
    const AVComponentDescriptor& part = layout.comp[component];
    const bool swap = IsForeignByteOrder(layout);
    for (int y = 0; y < picture.Height(); ++y) {
        const Sample* source = reinterpret_cast<const Sample*>(picture.Row(y)) + channel;
        std::uint8_t* target = frame.data[part.plane] +
                               static_cast<std::ptrdiff_t>(y) * frame.linesize[part.plane] + part.offset;
        if (swap) {
            PackRow<Sample, true>(source, target, part.step, part.depth, picture.Width());
        } else {
            PackRow<Sample, false>(source, target, part.step, part.depth, picture.Width());
        }
    }
}

// Entries hold alpha, red, green and blue from the highest byte down, in the machine's order.
void UnpackPalette(const AVFrame& samples, Picture& picture, int channel) {
    const int shift = channel == 3 ? 24 : 16 - 8 * channel;
    for (int y = 0; y < picture.Height(); ++y) {
        const std::uint8_t* source = samples.data[0] + static_cast<std::ptrdiff_t>(y) * samples.linesize[0];
        for (int x = 0; x < picture.Width(); ++x) {
            const std::uint32_t entry = Load<std::uint32_t, false>(samples.data[1] + 4 * source[x]);
            picture.Row(y)[4 * x + channel] = static_cast<std::uint8_t>(entry >> shift);
        }
    }
}

// Bit fields; 8 or 16-bit pictures only.
void UnpackIrregular(const AVFrame& samples, const AVPixFmtDescriptor& layout, int component,
                     Picture& picture, int channel) {
    const int depth = layout.comp[component].depth;
    std::vector<std::uint32_t> line(static_cast<std::size_t>(picture.Width()));
    const std::uint8_t* planes[4] = {samples.data[0], samples.data[1], samples.data[2], samples.data[3]};
    for (int y = 0; y < picture.Height(); ++y) {
        av_read_image_line2(line.data(), planes, samples.linesize, &layout, 0, y, component, picture.Width(),
                            0, sizeof(std::uint32_t));
        for (int x = 0; x < picture.Width(); ++x) {
            const std::uint32_t value = line[static_cast<std::size_t>(x)];
            if (picture.Depth() == SampleDepth::Byte) {
                picture.Row(y)[4 * x + channel] = static_cast<std::uint8_t>(Widen(value, depth, 8));
            } else {
                reinterpret_cast<std::uint16_t*>(picture.Row(y))[4 * x + channel] =
                    static_cast<std::uint16_t>(Widen(value, depth, 16));
            }
        }
    }
}

void PackIrregular(const Picture& picture, int channel, const AVPixFmtDescriptor& layout, int component,
                   AVFrame& frame) {
    const int depth = layout.comp[component].depth;
    std::vector<std::uint32_t> line(static_cast<std::size_t>(picture.Width()));
    for (int y = 0; y < picture.Height(); ++y) {
        for (int x = 0; x < picture.Width(); ++x) {
            line[static_cast<std::size_t>(x)] =
                picture.Depth() == SampleDepth::Byte
                    ? Narrow(picture.Row(y)[4 * x + channel], depth, 8)
                    : Narrow(reinterpret_cast<const std::uint16_t*>(picture.Row(y))[4 * x + channel], depth,
                             16);
        }
        av_write_image_line2(line.data(), frame.data, frame.linesize, &layout, 0, y, component,
                             picture.Width(), sizeof(std::uint32_t));
    }
}

// The red, green, blue, alpha order of a picture itself.
bool IsPictureLayout(const AVPixFmtDescriptor& layout, const Picture& picture) {
    if (layout.nb_components != 4 || (layout.flags & (AV_PIX_FMT_FLAG_PLANAR | AV_PIX_FMT_FLAG_PAL)) ||
        (picture.Depth() != SampleDepth::Byte && IsForeignByteOrder(layout))) {
        return false;
    }
    const int bytes = BytesPerSample(picture.Depth());
    for (int i = 0; i < 4; ++i) {
        const AVComponentDescriptor& part = layout.comp[i];
        if (part.offset != i * bytes || part.step != 4 * bytes || part.depth != 8 * bytes ||
            part.shift != 0) {
            return false;
        }
    }
    return true;
}

// Which component of the layout holds a channel; -1 when none does.
int ComponentOf(const AVPixFmtDescriptor& layout, int channel) {
    if (layout.flags & AV_PIX_FMT_FLAG_PAL) {
        return channel;
    }
    const bool alpha = (layout.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    if (channel == 3) {
        return alpha ? layout.nb_components - 1 : -1;
    }
    return layout.nb_components <= 2 ? 0 : channel;
}

}  // namespace

void UnpackComponent(const AVFrame& samples, const AVPixFmtDescriptor& layout, int component,
                     Picture& picture, int channel) {
    if (layout.flags & AV_PIX_FMT_FLAG_PAL) {
        UnpackPalette(samples, picture, channel);
    } else if (!IsRegular(layout, layout.comp[component])) {
        UnpackIrregular(samples, layout, component, picture, channel);
    } else if (picture.Depth() == SampleDepth::Byte) {
        UnpackRegular<std::uint8_t>(samples, layout, component, picture, channel);
    } else if (picture.Depth() == SampleDepth::Short) {
        UnpackRegular<std::uint16_t>(samples, layout, component, picture, channel);
    } else {
        UnpackRegular<std::uint32_t>(samples, layout, component, picture, channel);
    }
}

void PackComponent(const Picture& picture, int channel, const AVPixFmtDescriptor& layout, int component,
                   AVFrame& frame) {
    if (!IsRegular(layout, layout.comp[component])) {
        PackIrregular(picture, channel, layout, component, frame);
    } else if (picture.Depth() == SampleDepth::Byte) {
        PackRegular<std::uint8_t>(picture, channel, layout, component, frame);
    } else if (picture.Depth() == SampleDepth::Short) {
        PackRegular<std::uint16_t>(picture, channel, layout, component, frame);
    } else {
        PackRegular<std::uint32_t>(picture, channel, layout, component, frame);
    }
}

void FillChannel(Picture& picture, int channel) {
    for (int y = 0; y < picture.Height(); ++y) {
        for (int x = 0; x < picture.Width(); ++x) {
            const int at = 4 * x + channel;
            if (picture.Depth() == SampleDepth::Byte) {
                picture.Row(y)[at] = 255;
            } else if (picture.Depth() == SampleDepth::Short) {
                reinterpret_cast<std::uint16_t*>(picture.Row(y))[at] = 65535;
            } else {
                reinterpret_cast<float*>(picture.Row(y))[at] = 1.0f;
            }
        }
    }
}

void UnpackSamples(const AVFrame& samples, const AVPixFmtDescriptor& layout, Picture& picture) {
    if (IsPictureLayout(layout, picture)) {
        const std::size_t bytes =
            static_cast<std::size_t>(picture.Width() * 4 * BytesPerSample(picture.Depth()));
        for (int y = 0; y < picture.Height(); ++y) {
            std::memcpy(picture.Row(y),
                        samples.data[0] + static_cast<std::ptrdiff_t>(y) * samples.linesize[0], bytes);
        }
        return;
    }
    for (int channel = 0; channel < 4; ++channel) {
        const int component = ComponentOf(layout, channel);
        if (component < 0) {
            FillChannel(picture, channel);
        } else {
            UnpackComponent(samples, layout, component, picture, channel);
        }
    }
}

void PackSamples(const Picture& picture, const AVPixFmtDescriptor& layout, AVFrame& frame) {
    if (IsPictureLayout(layout, picture)) {
        const std::size_t bytes =
            static_cast<std::size_t>(picture.Width() * 4 * BytesPerSample(picture.Depth()));
        for (int y = 0; y < picture.Height(); ++y) {
            std::memcpy(frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0], picture.Row(y),
                        bytes);
        }
        return;
    }
    if (!(layout.flags & AV_PIX_FMT_FLAG_PLANAR)) {
        for (int y = 0; y < picture.Height(); ++y) {
            std::memset(frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0], 0,
                        static_cast<std::size_t>(frame.linesize[0]));
        }
    }
    bool written[4] = {};
    for (int channel = 0; channel < 4; ++channel) {
        const int component = ComponentOf(layout, channel);
        if (component >= 0 && !written[component]) {
            PackComponent(picture, channel, layout, component, frame);
            written[component] = true;
        }
    }
}

}  // namespace TQ::App
