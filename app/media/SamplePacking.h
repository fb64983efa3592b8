#pragma once

#include "app/media/FFmpeg.h"
#include "app/picture/Picture.h"

namespace TQ::App {

// Exact copies between the planes of a red-green-blue or grey layout and the channels of a picture of the
// same depth class (Byte up to 8 bits, Short up to 16, Float).

/// Grey fills all three colours; missing alpha is opaque.
void UnpackSamples(const AVFrame& samples, const AVPixFmtDescriptor& layout, Picture& picture);
/// Grey takes the red channel. Padding bytes become 0.
void PackSamples(const Picture& picture, const AVPixFmtDescriptor& layout, AVFrame& frame);

/// One component of the layout from or into one channel (0 red to 3 alpha) of the picture.
void UnpackComponent(const AVFrame& samples, const AVPixFmtDescriptor& layout, int component,
                     Picture& picture, int channel);
void PackComponent(const Picture& picture, int channel, const AVPixFmtDescriptor& layout, int component,
                   AVFrame& frame);
/// All of one channel at its white level.
void FillChannel(Picture& picture, int channel);

}  // namespace TQ::App
