#include "app/media/PixelConversion.h"

#include <algorithm>
#include <bit>

#include "app/media/MediaError.h"
#include "app/media/PictureTransform.h"
#include "app/media/SamplePacking.h"

namespace TQ::App {

namespace {

// Rows of 16 bits that are made ready for libswscale at once: they stay in the caches, and a whole picture of
// them would be in memory beside the one that they come from.
constexpr int stripRows = 64;

ChromaPosition PositionOf(AVChromaLocation location) {
    switch (location) {
        case AVCHROMA_LOC_CENTER:
            return {128, 128};
        case AVCHROMA_LOC_TOPLEFT:
            return {0, 0};
        case AVCHROMA_LOC_TOP:
            return {128, 0};
        case AVCHROMA_LOC_BOTTOMLEFT:
            return {0, 256};
        case AVCHROMA_LOC_BOTTOM:
            return {128, 256};
        default:
            return {0, 128};
    }
}

int MatrixOf(const ColourTags& colour, int height) {
    if (colour.matrix == AVCOL_SPC_UNSPECIFIED || colour.matrix == AVCOL_SPC_RESERVED ||
        colour.matrix == AVCOL_SPC_RGB) {
        return height >= 720 ? SWS_CS_ITU709 : SWS_CS_ITU601;
    }
    return colour.matrix;
}

AVPixelFormat PictureFormat(SampleDepth depth) {
    if (depth == SampleDepth::Byte) {
        return AV_PIX_FMT_RGBA;
    }
    return std::endian::native == std::endian::big ? AV_PIX_FMT_RGBA64BE : AV_PIX_FMT_RGBA64LE;
}

// libswscale takes 255 * 256 for the white of red, green and blue samples of 16 bits. These two lead from
// that to 65535 and back; alpha does not matter, as it goes another way.
void WidenWhite(Picture& picture) {
    for (int y = 0; picture.Depth() == SampleDepth::Short && y < picture.Height(); ++y) {
        auto* samples = reinterpret_cast<std::uint16_t*>(picture.Row(y));
        for (int i = 0; i < 4 * picture.Width(); ++i) {
            samples[i] = static_cast<std::uint16_t>(std::min(65535, samples[i] + (samples[i] >> 8)));
        }
    }
}

void NarrowWhite(const Picture& picture, int firstRow, int rows, Picture& strip) {
    for (int y = 0; y < rows; ++y) {
        const auto* from = reinterpret_cast<const std::uint16_t*>(picture.Row(firstRow + y));
        auto* to = reinterpret_cast<std::uint16_t*>(strip.Row(y));
        for (int i = 0; i < 4 * picture.Width(); ++i) {
            to[i] = static_cast<std::uint16_t>(from[i] - (from[i] >> 8));
        }
    }
}

}  // namespace

PixelConverter::PixelConverter(AVPixelFormat format, int width, int height, const ColourTags& colour)
    : _format(PlainFormat(format)),
      _descriptor(av_pix_fmt_desc_get(_format)),
      _width(width),
      _height(height),
      _colour(colour),
      _direct(IsDirect(_format)),
      _nativeDepth(DepthOf(_format)) {
    QuietFFmpeg();
    if (IsFullRangeFormat(format)) {
        _colour.range = AVCOL_RANGE_JPEG;
    }
    if (!_direct && (!_descriptor || !sws_isSupportedInput(_format))) {
        throw MediaError(MediaFailure::Codec, std::string("pixels of the format ") +
                                                  (_descriptor ? _descriptor->name : "unknown") +
                                                  " cannot be converted");
    }
    // Of deep samples in full range, libswscale has a white of its own; both ways have to be its.
    const bool isFullRange = _colour.range == AVCOL_RANGE_JPEG;
    const bool isUsual = !isFullRange || _nativeDepth == SampleDepth::Byte;
    if (!_direct && isUsual && YuvUnpacker::Takes(*_descriptor)) {
        _unpacker.emplace(*_descriptor, width, height, sws_getCoefficients(MatrixOf(_colour, height)),
                          isFullRange, PositionOf(_colour.chromaLocation));
    }
}

ScalerPointer PixelConverter::MakeScaler(bool toPicture) const {
    const AVPixelFormat rgb = PictureFormat(_nativeDepth);
    ScalerPointer scaler(sws_alloc_context());
    const auto set = [&](const char* name, std::int64_t value) {
        av_opt_set_int(scaler.get(), name, value, 0);
    };
    set("srcw", _width);
    set("srch", _height);
    set("dstw", _width);
    set("dsth", _height);
    set("src_format", toPicture ? _format : rgb);
    set("dst_format", toPicture ? rgb : _format);
    set("sws_flags", SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP | SWS_BITEXACT);
    const ChromaPosition position = PositionOf(_colour.chromaLocation);
    if (_descriptor->log2_chroma_w) {
        set(toPicture ? "src_h_chr_pos" : "dst_h_chr_pos", position.horizontal);
    }
    if (_descriptor->log2_chroma_h) {
        set(toPicture ? "src_v_chr_pos" : "dst_v_chr_pos", position.vertical);
    }
    const int* matrix = sws_getCoefficients(MatrixOf(_colour, _height));
    const int fullRange = _colour.range == AVCOL_RANGE_JPEG;
    const int one = 1 << 16;
    sws_setColorspaceDetails(scaler.get(), matrix, toPicture ? fullRange : 1, matrix,
                             toPicture ? 1 : fullRange, 0, one, one);
    if (sws_init_context(scaler.get(), nullptr, nullptr) < 0) {
        throw MediaError(MediaFailure::Codec, std::string("pictures of ") + std::to_string(_width) + "x" +
                                                  std::to_string(_height) + " pixels of the format " +
                                                  _descriptor->name + " cannot be converted");
    }
    return scaler;
}

PicturePointer PixelConverter::ScaleToPicture(const AVFrame& samples) {
    auto picture = _pictures.Take(_width, _height, _nativeDepth);
    if (_unpacker) {
        _unpacker->Unpack(samples, *picture);
    } else {
        if (!_toPicture) {
            _toPicture = MakeScaler(true);
        }
        std::uint8_t* planes[4] = {picture->Row(0), nullptr, nullptr, nullptr};
        const int strides[4] = {static_cast<int>(picture->RowBytes()), 0, 0, 0};
        sws_scale(_toPicture.get(), samples.data, samples.linesize, 0, _height, planes, strides);
        WidenWhite(*picture);
    }
    if (HasAlpha(_format)) {
        UnpackComponent(samples, *_descriptor, _descriptor->nb_components - 1, *picture, 3);
    } else if (!_unpacker) {
        FillChannel(*picture, 3);
    }
    return picture;
}

void PixelConverter::ScaleFromPicture(const Picture& picture, AVFrame& frame) {
    if (!_fromPicture) {
        _fromPicture = MakeScaler(false);
    }
    const bool isDeep = _nativeDepth == SampleDepth::Short;
    if (isDeep && !_strip) {
        _strip.emplace(_width, std::min(_height, stripRows), _nativeDepth);
    }
    const Picture& source = isDeep ? *_strip : picture;
    const int step = isDeep ? stripRows : _height;
    for (int y = 0; y < _height; y += step) {
        const int rows = std::min(step, _height - y);
        if (isDeep) {
            NarrowWhite(picture, y, rows, *_strip);
        }
        const std::uint8_t* planes[4] = {source.Row(0), nullptr, nullptr, nullptr};
        const int strides[4] = {static_cast<int>(source.RowBytes()), 0, 0, 0};
        sws_scale(_fromPicture.get(), planes, strides, y, rows, frame.data, frame.linesize);
    }
    if (HasAlpha(_format)) {
        PackComponent(picture, 3, *_descriptor, _descriptor->nb_components - 1, frame);
    }
}

PicturePointer PixelConverter::ToPicture(const AVFrame& samples, SampleDepth depth) {
    PicturePointer picture;
    if (_direct) {
        picture = _pictures.Take(_width, _height, _nativeDepth);
        UnpackSamples(samples, *_descriptor, *picture);
    } else {
        picture = ScaleToPicture(samples);
    }
    return depth == _nativeDepth ? picture : ConvertDepth(*picture, depth);
}

void PixelConverter::FromPicture(const Picture& picture, AVFrame& frame) {
    if (picture.Depth() != _nativeDepth) {
        return FromPicture(*ConvertDepth(picture, _nativeDepth), frame);
    }
    if (_direct) {
        PackSamples(picture, *_descriptor, frame);
    } else {
        ScaleFromPicture(picture, frame);
    }
}

}  // namespace TQ::App
