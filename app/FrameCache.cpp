#include "app/FrameCache.h"

#include <algorithm>

#include "app/host/HostError.h"

namespace TQ::App {

void FrameCache::MoveWindow(int keepFrom, int decodeTo) {
    const std::lock_guard lock(_mutex);
    _keepFrom = std::max(_keepFrom, keepFrom);
    _decodeTo = std::max(_decodeTo, decodeTo);
    _frames.erase(_frames.begin(), _frames.lower_bound(_keepFrom));
    _changed.notify_all();
}

bool FrameCache::WaitForRoom(int frame) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [&] { return _stopped || frame <= _decodeTo; });
    return !_stopped;
}

void FrameCache::Put(SourceFrame frame) {
    const std::lock_guard lock(_mutex);
    const int index = static_cast<int>(frame.stamp.index);
    if (index >= _keepFrom) {
        _frames[index] = std::move(frame);
    }
    _changed.notify_all();
}

void FrameCache::EndAt(int frame) {
    const std::lock_guard lock(_mutex);
    _end = frame;
    _changed.notify_all();
}

void FrameCache::FailAt(int frame, std::exception_ptr failure) {
    const std::lock_guard lock(_mutex);
    _end = frame;
    _failure = std::move(failure);
    _changed.notify_all();
}

SourceFrame FrameCache::Get(int frame) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock,
                  [&] { return _stopped || frame < _keepFrom || frame >= _end || _frames.count(frame); });
    if (const auto found = _frames.find(frame); found != _frames.end()) {
        return found->second;
    }
    if (_stopped) {
        throw RenderAborted();
    }
    if (frame >= _end && _failure) {
        std::rethrow_exception(_failure);
    }
    return {};
}

void FrameCache::Stop() {
    const std::lock_guard lock(_mutex);
    _stopped = true;
    _changed.notify_all();
}

}  // namespace TQ::App
