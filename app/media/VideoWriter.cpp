#include "app/media/VideoWriter.h"

#include "app/media/ContainerWriter.h"
#include "app/media/SequenceWriter.h"

namespace TQ::App {

std::unique_ptr<VideoWriter> CreateVideo(const VideoOutput& output) {
    QuietFFmpeg();
    if (WritesImages(output)) {
        return std::make_unique<SequenceWriter>(output);
    }
    return std::make_unique<ContainerWriter>(output);
}

}  // namespace TQ::App
