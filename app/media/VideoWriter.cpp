#include "app/media/VideoWriter.h"

#include "app/media/ContainerWriter.h"
#include "app/media/SequenceWriter.h"

namespace TQ::App {

std::unique_ptr<VideoWriter> CreateVideo(const VideoOutput& output) {
    QuietFFmpeg();
    std::error_code error;
    if (std::filesystem::is_directory(output.path, error)) {
        throw MediaError(MediaFailure::OutputUnwritable,
                         Quoted(output.path) + " is a folder; say the file's name too, such as " +
                             (output.path / "out.mp4").string() + " or " +
                             (output.path / "out.%04d.png").string());
    }
    if (WritesImages(output)) {
        return std::make_unique<SequenceWriter>(output);
    }
    return std::make_unique<ContainerWriter>(output);
}

}  // namespace TQ::App
