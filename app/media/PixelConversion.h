#pragma once

#include "app/media/PicturePool.h"
#include "app/media/VideoInfo.h"
#include "app/media/YuvUnpacking.h"

namespace TQ::App {

/// Turns decoded samples of one layout into pictures and pictures into samples.
///
/// Red-green-blue and grey samples pass without loss when the picture's depth is their own (DepthOf):
/// integers of 9 to 15 bits are widened to 16 by repeating their upper bits, which rounds back to the same
/// value. Other layouts go through libswscale with the matrix, range and chroma location of the tags
/// (unspecified matrix: BT.709 from 720 lines up, else BT.601; unspecified range: limited), over 8 or 16-bit
/// pixels. Sources without alpha are opaque.
class PixelConverter {
  public:
    /// Throws MediaError(Codec) when the layout cannot be converted.
    PixelConverter(AVPixelFormat format, int width, int height, const ColourTags& colour);

    /// Samples of the constructor's layout and size.
    PicturePointer ToPicture(const AVFrame& samples, SampleDepth depth);
    /// Fills the samples of `frame`, which has buffers of the constructor's layout and size.
    void FromPicture(const Picture& picture, AVFrame& frame);

  private:
    PicturePointer ScaleToPicture(const AVFrame& samples);
    void ScaleFromPicture(const Picture& picture, AVFrame& frame);
    ScalerPointer MakeScaler(bool toPicture) const;

    AVPixelFormat _format;
    const AVPixFmtDescriptor* _descriptor;
    int _width;
    int _height;
    ColourTags _colour;
    bool _direct;
    SampleDepth _nativeDepth;
    PicturePool _pictures;
    std::optional<Picture> _strip;  // of a picture on its way into libswscale
    std::optional<YuvUnpacker> _unpacker;
    ScalerPointer _toPicture;
    ScalerPointer _fromPicture;
};

}  // namespace TQ::App
