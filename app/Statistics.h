#pragma once

#include <filesystem>

#include "app/RenderCommand.h"
#include "app/host/Effect.h"
#include "app/media/VideoInfo.h"

namespace TQ::App {

/// What a render did, for --stats.
struct RenderRecord {
    int frames = 0;
    double seconds = 0;
    FrameRange range;
    VideoInfo source;
    int outputWidth = 0;
    int outputHeight = 0;
    std::string encoder;
    std::string pixelFormat;
};

/// "8", "16" or "float".
const char* DepthOptionName(SampleDepth depth);
/// Writes the JSON file beside its name and renames it. Throws MediaError.
void WriteStatistics(const RenderOptions& options, const RenderRecord& record, const EffectPlugin& plugin,
                     const EffectInstance& instance);

}  // namespace TQ::App
