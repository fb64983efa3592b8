#pragma once

#include <optional>

#include "app/media/AudioCopier.h"
#include "app/media/FrameEncoder.h"

namespace TQ::App {

struct FreeOutput {
    void operator()(AVFormatContext* output) const;
};
using OutputPointer = std::unique_ptr<AVFormatContext, FreeOutput>;

/// Writes a video file.
class ContainerWriter final : public VideoWriter {
  public:
    explicit ContainerWriter(const VideoOutput& output);
    ~ContainerWriter() override;

    void Write(const Picture& picture, const FrameStamp& stamp) override;
    bool Accepts(const AVFrame& samples) const override { return _frames->Accepts(samples); }
    void WriteUntouched(const AVFrame& samples, const FrameStamp& stamp) override;
    void Finish() override;

  private:
    void AddVideoStream(bool keepsRotation);
    void Begin();
    void WritePackets();
    FrameStamp Shifted(FrameStamp stamp) const;
    void Check(int result) const;

    VideoOutput _output;
    OutputPointer _muxer;
    std::unique_ptr<FrameEncoder> _frames;
    std::optional<AudioCopier> _audio;
    AVStream* _stream = nullptr;  // looks into _muxer
    PacketPointer _packet;
    std::int64_t _start = 0;
};

}  // namespace TQ::App
