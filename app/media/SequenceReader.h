#pragma once

#include "app/media/SequencePattern.h"
#include "app/media/VideoReader.h"

namespace TQ::App {

/// Reads images, one file per frame.
class SequenceReader final : public VideoReader {
  public:
    /// Throws MediaError(Input) when files are missing between the first and the last, or the first cannot be
    /// read.
    SequenceReader(const SequencePattern& pattern, AVRational frameRate);
    /// A clip of one frame.
    SequenceReader(const std::filesystem::path& image, AVRational frameRate);

    std::int64_t TimeOf(std::int64_t frame) const override { return frame; }
    std::filesystem::path FileOf(std::int64_t frame) const override;
    void Start(std::int64_t frame) override { _next = frame; }
    std::optional<VideoFrame> Next() override;

  private:
    void DescribeFrom(const AVFrame& first, AVRational frameRate);
    FramePointer Decode(const std::filesystem::path& file) const;

    std::optional<SequencePattern> _pattern;
    std::filesystem::path _image;
    std::int64_t _next = 0;
};

}  // namespace TQ::App
