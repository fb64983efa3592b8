#pragma once

#include "app/media/VideoInfo.h"

namespace TQ::App {

/// Size, pixel format, colour tags and, if it says so, rotation of a decoded frame.
void DescribeSamples(const AVFrame& samples, VideoInfo& info);
/// What differs between a frame and the clip's first, as the end of a sentence ("is 64x48 while ..."); empty
/// when nothing does.
std::string ChangeFrom(const VideoInfo& info, const AVFrame& samples);
/// True when the decoder itself says that the frame's content is not what was encoded.
bool IsDamaged(const AVFrame& samples);
/// Rotation in a stream's side data.
std::optional<DisplayMatrix> RotationOf(const AVStream& stream);

}  // namespace TQ::App
