#pragma once

#include <array>
#include <vector>

#include "app/media/VideoInfo.h"

namespace TQ::App {

/// Where the first chroma sample lies from the first luma sample, in 1/256 luma samples, along axes with half
/// as many of them.
struct ChromaPosition {
    int horizontal;
    int vertical;
};

/// Turns planar luma and chroma samples of 8 to 16 bits, chroma at full or half resolution along each axis,
/// into opaque pictures: the layouts that decoders deliver most, faster than libswscale's exact path.
///
/// Chroma is interpolated with a cubic of four samples per axis, sums are floats, results are rounded to
/// nearest. The same samples give the same bytes on every machine.
class YuvUnpacker {
  public:
    /// Whether samples of this layout can be unpacked.
    static bool Takes(const AVPixFmtDescriptor& layout);

    /// `layout` is one that Takes() admits. `matrix` as libswscale's sws_getCoefficients tells it.
    YuvUnpacker(const AVPixFmtDescriptor& layout, int width, int height, const int matrix[4], bool fullRange,
                ChromaPosition position);

    /// `picture` has the constructor's size and the layout's depth (DepthOf).
    void Unpack(const AVFrame& samples, Picture& picture);

  private:
    /// Weights of the four samples around a place between samples, the first of which is `first`.
    struct Tap {
        int first;
        std::array<float, 4> weights;
    };
    /// One axis of the chroma planes.
    struct Axis {
        int shift;
        int size;  // samples of the plane
        /// Luma samples with even and odd places lie differently between the chroma samples.
        std::array<Tap, 2> taps;
    };
    static Axis MakeAxis(int lumaSize, int shift, double position);

    template <typename Sample>
    void UnpackAs(const AVFrame& samples, Picture& picture);
    template <typename Sample>
    void InterpolateRow(const AVFrame& samples, int plane, int y, std::vector<float>& row);
    template <typename Sample>
    void ConvertRow(const Sample* luma, Sample* __restrict pixels) const;

    int _width;
    int _height;
    Axis _across;
    Axis _down;
    /// Factors from samples to codes of the picture, whose white is 255 or 65535.
    float _lumaFactor, _lumaOffset;
    float _redOfRed, _greenOfBlue, _greenOfRed, _blueOfBlue;
    float _chromaZero;
    // One row of chroma: before the interpolation across, with a margin, and after it.
    std::vector<float> _narrow;
    std::vector<float> _blue, _red;
};

}  // namespace TQ::App
