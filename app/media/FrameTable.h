#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace TQ::App {

/// The packets of a video stream as a scan without decoding found them: which frame is shown when, and where
/// decoding can begin.
class FrameTable {
  public:
    struct Packet {
        std::int64_t presentationTime;
        std::int64_t decodingTime;
        std::int64_t duration;  // 0 when the container does not say
        bool isKey;
    };

    void Add(const Packet& packet) { _packets.push_back(packet); }
    /// Call after the last Add. False when time stamps are missing or occur twice: frames can only be counted
    /// then.
    bool Sort();
    /// Takes out the frames before this time, which the decoder does not give.
    void DropBefore(std::int64_t time);

    std::int64_t Count() const { return static_cast<std::int64_t>(_packets.size()); }
    std::int64_t TimeOf(std::int64_t frame) const {
        return _packets[static_cast<std::size_t>(frame)].presentationTime;
    }
    /// When the last frame ends; `usualDuration` stands in where its own is unknown.
    std::int64_t EndTime(std::int64_t usualDuration) const;
    /// Index of the frame shown from exactly this time.
    std::optional<std::int64_t> FrameAt(std::int64_t time) const;
    /// Where to begin so that `frame` comes out whole: the decoding time of the key frame before the last one
    /// at or before it. The one more keeps clear of frames that refer back over a key frame. None: begin at
    /// the beginning.
    std::optional<std::int64_t> SeekTimeFor(std::int64_t frame) const;

  private:
    std::vector<Packet> _packets;
};

}  // namespace TQ::App
