#pragma once

#include "app/media/VideoInfo.h"
#include "app/picture/Picture.h"

namespace TQ::App {

/// The same picture with samples of another kind: white stays white, narrower integers round to the nearest,
/// floats clip to 0 to 1 on their way to integers.
PicturePointer ConvertDepth(const Picture& picture, SampleDepth depth);

/// Each result pixel is the mean over the area that it covers of the source. For reductions; sizes from 1 up.
PicturePointer ScalePicture(const Picture& picture, int width, int height);

/// The upper left part. Width and height are not above the picture's own.
PicturePointer CropPicture(const Picture& picture, int width, int height);

/// One of the eight ways a picture can lie. Result pixel (X, Y) shows source pixel (x, y), where, without
/// `swapAxes`, x is X or counted from the right (`flipX`) and y is Y or counted from the bottom (`flipY`);
/// with it, x comes from Y and y from X in the same manner.
struct Orientation {
    bool swapAxes = false;
    bool flipX = false;
    bool flipY = false;
    bool IsUpright() const { return !swapAxes && !flipX && !flipY; }
};

/// What the matrix asks for; upright when it is none of the eight.
Orientation OrientationOf(const DisplayMatrix& matrix);
PicturePointer TurnPicture(const Picture& picture, Orientation orientation);

}  // namespace TQ::App
