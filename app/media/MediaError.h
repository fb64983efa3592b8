#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace TQ::App {

/// What went wrong with a video file, as far as the user has to act differently.
enum class MediaFailure {
    Input,             ///< missing, empty, not a video, no video stream, a gap in a sequence
    BrokenStream,      ///< damaged, cut off or changing its size after it began well
    OutputExists,      ///< something stands under the output's name
    OutputUnwritable,  ///< no such folder, no permission, a failing device
    DiskFull,
    Codec,      ///< unknown codec or file type, or one that cannot hold these pictures
    Interrupt,  ///< the user asked to stop
};

/// A failure of reading or writing video. The text is one sentence without a full stop that names the file.
class MediaError : public std::runtime_error {
  public:
    MediaError(MediaFailure failure, const std::string& text, std::int64_t frame = -1)
        : std::runtime_error(text), _failure(failure), _frame(frame) {}

    MediaFailure Failure() const { return _failure; }
    /// The first frame that cannot be had, for BrokenStream; -1 when that says nothing.
    std::int64_t Frame() const { return _frame; }

  private:
    MediaFailure _failure;
    std::int64_t _frame;
};

/// The name in quotation marks, as messages have it.
std::string Quoted(const std::filesystem::path& path);

}  // namespace TQ::App
