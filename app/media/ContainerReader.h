#pragma once

#include "app/media/FrameTable.h"
#include "app/media/VideoReader.h"

namespace TQ::App {

/// Reads the best video stream of a container.
class ContainerReader final : public VideoReader {
  public:
    ContainerReader(const std::filesystem::path& path, std::function<bool()> interrupted);

    std::int64_t TimeOf(std::int64_t frame) const override;
    std::filesystem::path FileOf(std::int64_t) const override { return _path; }
    void Start(std::int64_t frame) override;
    std::optional<VideoFrame> Next() override;

  private:
    void Open();
    void OpenDecoder();
    void ScanPackets();
    void ReadFirstFrames();
    void DescribeStream(const AVFrame& first);
    void CountByDecoding();
    /// Next frame from the decoder, null at the end. Sets _sawDamage when it passed over something
    /// undecodable.
    FramePointer Decode();
    bool FeedDecoder();
    /// The frame's place in the clip; none when it lies before the wanted one.
    std::optional<std::int64_t> PlaceOf(const AVFrame& samples);
    std::optional<VideoFrame> AtEnd();
    [[noreturn]] void ThrowBroken(const std::string& how) const;
    std::string Name() const;

    std::filesystem::path _path;
    std::function<bool()> _interrupted;
    InputPointer _input;
    CodecPointer _decoder;
    AVStream* _stream = nullptr;  // looks into _input
    PacketPointer _packet;
    FrameTable _table;
    bool _hasTimes = false;     // the table's times name the frames; otherwise they are counted
    std::int64_t _missing = 0;  // packets that the container promises and the file does not hold
    std::int64_t _next = 0;
    std::int64_t _counted = 0;  // frames met so far, where they are counted
    bool _afterSeek = false;    // no frame from _next on was met since a seek
    bool _sawDamage = false;
    bool _draining = false;
};

}  // namespace TQ::App
