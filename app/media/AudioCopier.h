#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "app/media/VideoWriter.h"

namespace TQ::App {

/// Copies a file's audio streams, packet by packet, and its metadata into a new file.
class AudioCopier {
  public:
    /// Adds the streams to `target`, whose header is not written yet. `video`: the target's video stream,
    /// whose metadata is copied too. Times are moved by -startTime. Throws MediaError: Input when the file
    /// cannot be read, Codec when the target's file type cannot carry the audio.
    AudioCopier(const VideoOutput& output, AVFormatContext& target, AVStream& video);

    /// How far the file's clock is moved, in VideoOutput::format.timeBase.
    std::int64_t StartTime() const { return _start; }
    /// Writes every packet that begins before `time` (of the target's clock, in `unit`); all that are left
    /// when there is none. Returns 0 or a negative code.
    int WriteUntil(std::optional<std::int64_t> time, AVRational unit);

  private:
    bool ReadNext();

    InputPointer _source;
    AVFormatContext& _target;
    std::vector<int> _targetIndices;  // by the source's stream index, -1: not copied
    PacketPointer _packet;            // the next one to write
    bool _hasPacket = false;
    AVRational _unit;
    std::int64_t _start = 0;
    std::optional<std::int64_t> _end;
    bool _trim;
};

}  // namespace TQ::App
