#include "app/media/FrameTable.h"

#include <algorithm>

#include "app/media/FFmpeg.h"

namespace TQ::App {

bool FrameTable::Sort() {
    const auto hasNoTime = [](const Packet& packet) { return packet.presentationTime == AV_NOPTS_VALUE; };
    if (std::any_of(_packets.begin(), _packets.end(), hasNoTime)) {
        return false;
    }
    const auto earlier = [](const Packet& a, const Packet& b) {
        return a.presentationTime < b.presentationTime;
    };
    const auto same = [](const Packet& a, const Packet& b) {
        return a.presentationTime == b.presentationTime;
    };
    std::sort(_packets.begin(), _packets.end(), earlier);
    return std::adjacent_find(_packets.begin(), _packets.end(), same) == _packets.end();
}

void FrameTable::DropBefore(std::int64_t time) {
    std::erase_if(_packets, [time](const Packet& packet) { return packet.presentationTime < time; });
}

std::optional<std::int64_t> FrameTable::FrameAt(std::int64_t time) const {
    const auto earlier = [](const Packet& packet, std::int64_t wanted) {
        return packet.presentationTime < wanted;
    };
    const auto found = std::lower_bound(_packets.begin(), _packets.end(), time, earlier);
    if (found == _packets.end() || found->presentationTime != time) {
        return std::nullopt;
    }
    return found - _packets.begin();
}

std::int64_t FrameTable::EndTime(std::int64_t usualDuration) const {
    const Packet& last = _packets.back();
    return last.presentationTime + (last.duration > 0 ? last.duration : usualDuration);
}

std::optional<std::int64_t> FrameTable::SeekTimeFor(std::int64_t frame) const {
    int keysMet = 0;
    for (std::int64_t i = frame; i >= 0; --i) {
        const Packet& packet = _packets[static_cast<std::size_t>(i)];
        if (packet.isKey && ++keysMet == 2) {
            return packet.decodingTime != AV_NOPTS_VALUE
                       ? std::min(packet.decodingTime, packet.presentationTime)
                       : packet.presentationTime;
        }
    }
    return std::nullopt;
}

}  // namespace TQ::App
