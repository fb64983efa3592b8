#include "app/media/VideoReader.h"

#include "app/media/ContainerReader.h"
#include "app/media/SequenceReader.h"

namespace TQ::App {

namespace fs = std::filesystem;

std::unique_ptr<VideoReader> OpenVideo(const fs::path& path, std::function<bool()> interrupted,
                                       AVRational sequenceRate) {
    QuietFFmpeg();
    std::error_code error;
    if (fs::is_directory(path, error)) {
        return std::make_unique<SequenceReader>(SequencePattern::FromFolder(path), sequenceRate);
    }
    if (!fs::exists(path, error)) {
        if (const auto pattern = SequencePattern::Parse(path)) {
            return std::make_unique<SequenceReader>(*pattern, sequenceRate);
        }
        throw MediaError(MediaFailure::Input, Quoted(path) + " does not exist");
    }
    if (fs::is_regular_file(path, error) && fs::file_size(path, error) == 0) {
        throw MediaError(MediaFailure::Input, Quoted(path) + " is empty");
    }
    if (IsStillImage(path)) {
        return std::make_unique<SequenceReader>(path, sequenceRate);
    }
    return std::make_unique<ContainerReader>(path, std::move(interrupted));
}

}  // namespace TQ::App
