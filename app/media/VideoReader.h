#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "app/media/MediaError.h"
#include "app/media/VideoInfo.h"

namespace TQ::App {

/// One frame as it was stored, and when it is shown.
struct VideoFrame {
    FrameStamp stamp;
    FramePointer samples;
};

/// Decodes a clip frame by frame. One thread at a time.
class VideoReader {
  public:
    virtual ~VideoReader() = default;

    const VideoInfo& Info() const { return _info; }
    /// Time of a frame of [0, frameCount]; that of frameCount is the end of the last one.
    virtual std::int64_t TimeOf(std::int64_t frame) const = 0;
    /// The file that a frame comes from.
    virtual std::filesystem::path FileOf(std::int64_t frame) const = 0;
    /// The next call of Next() gives this frame of [0, frameCount). The frames are those that decoding from
    /// the beginning gives. A new reader stands at frame 0.
    virtual void Start(std::int64_t frame) = 0;
    /// The next frame, none at the end of the clip. The end may come a few frames before frameCount, when the
    /// last ones cannot be decoded. Throws MediaError: BrokenStream when a frame before the end is damaged or
    /// has another size or pixel format than the first.
    virtual std::optional<VideoFrame> Next() = 0;

  protected:
    VideoInfo _info;
};

/// Opens a video file, one image, an image sequence by its pattern (%04d or ####), or a folder that holds one
/// numbered sequence of images. Images carry no frame rate: theirs is `sequenceRate`. `interrupted` is asked
/// during long waits for the file; true makes the call throw MediaError(Interrupt). Throws MediaError(Input)
/// with the reason.
std::unique_ptr<VideoReader> OpenVideo(const std::filesystem::path& path,
                                       std::function<bool()> interrupted = {},
                                       AVRational sequenceRate = {25, 1});

}  // namespace TQ::App
