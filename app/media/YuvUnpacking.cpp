#include "app/media/YuvUnpacking.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace TQ::App {

namespace {

// The edge samples are repeated so often, on each side of a row.
constexpr int margin = 2;

// The cubic that libswscale takes for "bicubic": interpolating, slope parameter 0.6.
double Cubic(double x) {
    constexpr double c = 0.6;
    x = std::abs(x);
    if (x < 1) {
        return 1 + x * x * (-(3 - c) + x * (2 - c));
    }
    return x < 2 ? c * (4 + x * (-8 + x * (5 - x))) : 0;
}

// Limits integers, as comparisons of floats keep the compiler from making vectors. No sum is too large for
// one.
template <typename Sample>
std::uint32_t Rounded(float value) {
    constexpr std::int32_t white = static_cast<Sample>(~Sample{0});
    const auto code = static_cast<std::int32_t>(value + 0.5f);
    return static_cast<std::uint32_t>(std::min(std::max(code, 0), white));
}

// Whole words are what the compiler makes vectors of.
void Store(std::uint8_t* pixels, int x, std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    constexpr bool little = std::endian::native == std::endian::little;
    const std::uint32_t pixel =
        little ? red | green << 8 | blue << 16 | 255u << 24 : red << 24 | green << 16 | blue << 8 | 255u;
    std::memcpy(pixels + 4 * x, &pixel, sizeof(pixel));
}

void Store(std::uint16_t* pixels, int x, std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    pixels[4 * x] = static_cast<std::uint16_t>(red);
    pixels[4 * x + 1] = static_cast<std::uint16_t>(green);
    pixels[4 * x + 2] = static_cast<std::uint16_t>(blue);
    pixels[4 * x + 3] = 65535;
}

}  // namespace

bool YuvUnpacker::Takes(const AVPixFmtDescriptor& layout) {
    constexpr auto others = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL |
                            AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT;
    const bool bigEndian = (layout.flags & AV_PIX_FMT_FLAG_BE) != 0;
    const int depth = layout.comp[0].depth;
    const int bytes = depth > 8 ? 2 : 1;
    if (!(layout.flags & AV_PIX_FMT_FLAG_PLANAR) || (layout.flags & others) || layout.nb_components < 3 ||
        layout.log2_chroma_w > 1 || layout.log2_chroma_h > 1 || depth < 8 || depth > 16 ||
        (bytes == 2 && bigEndian != (std::endian::native == std::endian::big))) {
        return false;
    }
    for (int i = 0; i < 3; ++i) {
        const AVComponentDescriptor& part = layout.comp[i];
        if (part.plane != i || part.step != bytes || part.offset != 0 || part.shift != 0 ||
            part.depth != depth) {
            return false;
        }
    }
    return true;
}

YuvUnpacker::Axis YuvUnpacker::MakeAxis(int lumaSize, int shift, double position) {
    Axis axis{shift, AV_CEIL_RSHIFT(lumaSize, shift), {}};
    for (int odd = 0; odd < 2; ++odd) {
        const double place = shift ? (odd - position) / 2 : 0;
        Tap& tap = axis.taps[static_cast<std::size_t>(odd)];
        tap.first = static_cast<int>(std::floor(place)) - 1;
        for (int i = 0; i < 4; ++i) {
            tap.weights[static_cast<std::size_t>(i)] = static_cast<float>(Cubic(tap.first + i - place));
        }
    }
    return axis;
}

YuvUnpacker::YuvUnpacker(const AVPixFmtDescriptor& layout, int width, int height, const int matrix[4],
                         bool fullRange, ChromaPosition position)
    : _width(width),
      _height(height),
      _across(MakeAxis(width, layout.log2_chroma_w, position.horizontal / 256.0)),
      _down(MakeAxis(height, layout.log2_chroma_h, position.vertical / 256.0)) {
    const int depth = layout.comp[0].depth;
    const double white = depth > 8 ? 65535 : 255;
    const double most = (1 << depth) - 1;
    const double unit = 1 << (depth - 8);
    const double luma = white / (fullRange ? most : 219 * unit);
    const double chroma = white / (fullRange ? most : 224 * unit);
    _lumaFactor = static_cast<float>(luma);
    _lumaOffset = static_cast<float>(fullRange ? 0 : -16 * unit * luma);
    // The coefficients are 16.16 numbers for chroma of the limited range and 8-bit white.
    const auto factor = [&](int coefficient) {
        return static_cast<float>(coefficient / 65536.0 * 224 / 255 * chroma);
    };
    _redOfRed = factor(matrix[0]);
    _blueOfBlue = factor(matrix[1]);
    _greenOfBlue = factor(matrix[2]);
    _greenOfRed = factor(matrix[3]);
    _chromaZero = static_cast<float>(128 * unit);
    _narrow.resize(static_cast<std::size_t>(_across.size + 2 * margin));
    // One luma sample more, as the interpolation makes pairs.
    _blue.resize(static_cast<std::size_t>(width + 1));
    _red.resize(static_cast<std::size_t>(width + 1));
}

template <typename Sample>
void YuvUnpacker::InterpolateRow(const AVFrame& samples, int plane, int y, std::vector<float>& row) {
    const auto rowAt = [&](int at) {
        const int inside = std::clamp(at, 0, _down.size - 1);
        return reinterpret_cast<const Sample*>(samples.data[plane] +
                                               static_cast<std::ptrdiff_t>(inside) * samples.linesize[plane]);
    };
    float* const narrow = _across.shift ? _narrow.data() + margin : row.data();
    const int size = _across.size;
    if (_down.shift) {
        const Tap& tap = _down.taps[static_cast<std::size_t>(y & 1)];
        const int first = y / 2 + tap.first;
        const Sample *a = rowAt(first), *b = rowAt(first + 1), *c = rowAt(first + 2), *d = rowAt(first + 3);
        const auto [wa, wb, wc, wd] = tap.weights;
        for (int x = 0; x < size; ++x) {
            narrow[x] = wa * static_cast<float>(a[x]) + wb * static_cast<float>(b[x]) +
                        wc * static_cast<float>(c[x]) + wd * static_cast<float>(d[x]) - _chromaZero;
        }
    } else {
        const Sample* source = rowAt(y);
        for (int x = 0; x < size; ++x) {
            narrow[x] = static_cast<float>(source[x]) - _chromaZero;
        }
    }
    if (!_across.shift) {
        return;
    }
    for (int i = 1; i <= margin; ++i) {
        narrow[-i] = narrow[0];
        narrow[size - 1 + i] = narrow[size - 1];
    }
    const float* even = narrow + _across.taps[0].first;
    const float* odd = narrow + _across.taps[1].first;
    const auto [ea, eb, ec, ed] = _across.taps[0].weights;
    const auto [oa, ob, oc, od] = _across.taps[1].weights;
    float* target = row.data();
    for (int x = 0; x < _width / 2 + (_width & 1); ++x) {
        target[2 * x] = ea * even[x] + eb * even[x + 1] + ec * even[x + 2] + ed * even[x + 3];
        target[2 * x + 1] = oa * odd[x] + ob * odd[x + 1] + oc * odd[x + 2] + od * odd[x + 3];
    }
}

template <typename Sample>
void YuvUnpacker::ConvertRow(const Sample* luma, Sample* __restrict pixels) const {
    const float lumaFactor = _lumaFactor, lumaOffset = _lumaOffset, redOfRed = _redOfRed,
                greenOfBlue = _greenOfBlue, greenOfRed = _greenOfRed, blueOfBlue = _blueOfBlue;
    const float* const blue = _blue.data();
    const float* const red = _red.data();
    for (int x = 0; x < _width; ++x) {
        const float grey = static_cast<float>(luma[x]) * lumaFactor + lumaOffset;
        Store(pixels, x, Rounded<Sample>(grey + redOfRed * red[x]),
              Rounded<Sample>(grey - greenOfBlue * blue[x] - greenOfRed * red[x]),
              Rounded<Sample>(grey + blueOfBlue * blue[x]));
    }
}

template <typename Sample>
void YuvUnpacker::UnpackAs(const AVFrame& samples, Picture& picture) {
    for (int y = 0; y < _height; ++y) {
        InterpolateRow<Sample>(samples, 1, y, _blue);
        InterpolateRow<Sample>(samples, 2, y, _red);
        const auto* luma = reinterpret_cast<const Sample*>(samples.data[0] + static_cast<std::ptrdiff_t>(y) *
                                                                                 samples.linesize[0]);
        ConvertRow(luma, reinterpret_cast<Sample*>(picture.Row(y)));
    }
}

void YuvUnpacker::Unpack(const AVFrame& samples, Picture& picture) {
    if (picture.Depth() == SampleDepth::Byte) {
        UnpackAs<std::uint8_t>(samples, picture);
    } else {
        UnpackAs<std::uint16_t>(samples, picture);
    }
}

}  // namespace TQ::App
