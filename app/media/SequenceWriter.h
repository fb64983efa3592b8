#pragma once

#include "app/media/FrameEncoder.h"
#include "app/media/SequencePattern.h"

namespace TQ::App {

/// Writes images, one file per frame.
class SequenceWriter final : public VideoWriter {
  public:
    explicit SequenceWriter(const VideoOutput& output);
    ~SequenceWriter() override;

    void Write(const Picture& picture, const FrameStamp& stamp) override;
    bool Accepts(const AVFrame& samples) const override { return _frames->Accepts(samples); }
    void WriteUntouched(const AVFrame& samples, const FrameStamp& stamp) override;
    void Finish() override;

  private:
    std::filesystem::path FileOf(std::int64_t frame) const;
    void WritePackets();

    VideoOutput _output;
    std::optional<SequencePattern> _pattern;
    std::unique_ptr<FrameEncoder> _frames;
    PacketPointer _packet;
    std::int64_t _begun;  // frames [firstFrame, _begun) have a temporary file, whole or in part
    std::int64_t _named;  // frames [firstFrame, _named) have their final name
};

}  // namespace TQ::App
