#include "app/RenderPipeline.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace TQ::App {

namespace {

// Frames decoded beyond what the newest job needs, so that the next one does not wait.
constexpr int decodeAhead = 1;
// Finished frames that may wait for the encoder, beyond one per job.
constexpr int resultsAhead = 1;
constexpr auto watchInterval = std::chrono::milliseconds(50);

}  // namespace

RenderPipeline::RenderPipeline(EffectInstance& instance, FrameRange frames, int jobs,
                               const std::atomic<bool>& interrupted)
    : _instance(instance),
      _frames(frames),
      _jobs(jobs),
      _interrupted(interrupted),
      _nextToRender(frames.first),
      _nextToEncode(frames.first),
      _end(frames.last + 1) {
    const int lastFrame = instance.Format().frameCount - 1;
    int decodeTo = 0;
    for (int frame = frames.first; frame <= frames.last; ++frame) {
        if (interrupted) {
            throw RenderAborted();
        }
        const std::optional<int> identity = instance.IdentityFrame(frame);
        FrameRange needed = identity ? FrameRange{*identity, *identity} : instance.NeededFrames(frame).hull;
        // The frame itself always: its time stamp goes with the result.
        needed.first = std::clamp(std::min(needed.first, frame), 0, lastFrame);
        needed.last = std::clamp(std::max(needed.last, frame), 0, lastFrame);
        decodeTo = std::max(decodeTo, needed.last);
        _plans.push_back({frame, identity, needed, needed.first, decodeTo});
    }
    for (std::size_t i = _plans.size() - 1; i > 0; --i) {
        _plans[i - 1].keepFrom = std::min(_plans[i - 1].keepFrom, _plans[i].keepFrom);
    }
}

bool RenderPipeline::WantsOriginal(int frame) const {
    return frame >= _frames.first && frame <= _frames.last && PlanOf(frame).identity == frame;
}

std::optional<FrameRange> RenderPipeline::RangeBefore(int missing) const {
    std::optional<FrameRange> range;
    for (const Plan& plan : _plans) {
        if (plan.decodeTo >= missing) {
            break;
        }
        range = FrameRange{_frames.first, plan.frame};
    }
    return range;
}

int RenderPipeline::Run(const std::function<std::optional<SourceFrame>()>& decode,
                        const std::function<void(const RenderedFrame&)>& encode,
                        const std::function<void(int)>& progress) {
    _cache.MoveWindow(FirstNeeded(), _plans.front().decodeTo + decodeAhead);
    _instance.BeginSequence(_frames.first, _frames.last);
    std::vector<std::thread> threads;
    const auto start = [&](auto work) {
        threads.emplace_back([this, work] {
            try {
                work();
            } catch (...) {
                Fail(std::current_exception());
            }
        });
    };
    start([&] { Decode(decode); });
    start([&] { Encode(encode); });
    for (int i = 0; i < _jobs; ++i) {
        start([this] { RenderFrames(); });
    }
    Watch(progress);
    for (std::thread& thread : threads) {
        thread.join();
    }
    if (_interrupted) {
        throw RenderAborted();
    }
    if (_failure) {
        std::rethrow_exception(_failure);
    }
    _instance.EndSequence();
    return _end - _frames.first;
}

void RenderPipeline::Watch(const std::function<void(int)>& progress) {
    std::unique_lock lock(_mutex);
    while (!_encoderDone && !_stop) {
        _changed.wait_for(lock, watchInterval, [&] { return _encoderDone || _stop; });
        const int finished = _nextToEncode - _frames.first;
        lock.unlock();
        if (_interrupted) {
            Stop();
        }
        progress(finished);
        lock.lock();
    }
    lock.unlock();
    Stop();  // lets the decoder, which may be waiting for room, go
}

void RenderPipeline::Decode(const std::function<std::optional<SourceFrame>()>& decode) {
    int frame = FirstNeeded();
    try {
        while (frame <= _plans.back().decodeTo && _cache.WaitForRoom(frame)) {
            std::optional<SourceFrame> source = decode();
            if (!source) {
                return _cache.EndAt(frame);
            }
            frame = static_cast<int>(source->stamp.index) + 1;
            _cache.Put(std::move(*source));
        }
    } catch (...) {
        // Frames that do not need what is missing still come out; the first that does passes this on.
        _cache.FailAt(frame, std::current_exception());
    }
}

std::optional<int> RenderPipeline::TakeFrame() {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [&] {
        return _stop || _nextToRender >= _end || _nextToRender < _nextToEncode + _jobs + resultsAhead;
    });
    if (_stop || _nextToRender >= _end) {
        return std::nullopt;
    }
    const int frame = _nextToRender++;
    _running.push_back(frame);
    MoveWindow();
    return frame;
}

void RenderPipeline::MoveWindow() {
    const int oldest = _running.empty() ? _nextToRender : *std::min_element(_running.begin(), _running.end());
    if (oldest <= _frames.last) {
        const int newest = std::min(_nextToRender, _frames.last + 1) - 1;
        _cache.MoveWindow(PlanOf(oldest).keepFrom, PlanOf(std::max(newest, oldest)).decodeTo + decodeAhead);
    }
}

void RenderPipeline::RenderFrames() {
    while (const std::optional<int> frame = TakeFrame()) {
        Deliver(*frame, Render(PlanOf(*frame)));
    }
}

std::optional<RenderedFrame> RenderPipeline::Render(const Plan& plan) {
    const SourceFrame source = _cache.Get(plan.frame);
    if (!source.picture) {
        return std::nullopt;
    }
    if (plan.identity == plan.frame) {
        return RenderedFrame{source.stamp, source.picture, source.original};
    }
    if (plan.identity) {
        const SourceFrame other = _cache.Get(*plan.identity);
        if (other.picture) {
            return RenderedFrame{source.stamp, other.picture, nullptr};
        }
    }
    auto picture =
        _pictures.Take(_instance.PictureWidth(), _instance.PictureHeight(), _instance.Format().depth);
    const FrameProvider provider = [&](int frame) -> ConstPicturePointer {
        const bool declared = frame >= plan.needed.first && frame <= plan.needed.last;
        return declared ? _cache.Get(frame).picture : nullptr;
    };
    _instance.Render(plan.frame, provider, *picture, &_stop);
    return RenderedFrame{source.stamp, picture, nullptr};
}

void RenderPipeline::Deliver(int frame, std::optional<RenderedFrame> result) {
    const std::lock_guard lock(_mutex);
    if (result) {
        _results.emplace(frame, std::move(*result));
    } else {
        _end = std::min(_end, frame);
    }
    std::erase(_running, frame);
    MoveWindow();
    _changed.notify_all();
}

void RenderPipeline::Encode(const std::function<void(const RenderedFrame&)>& encode) {
    std::unique_lock lock(_mutex);
    for (;;) {
        _changed.wait(lock, [&] { return _stop || _nextToEncode >= _end || _results.count(_nextToEncode); });
        if (_stop || _nextToEncode >= _end) {
            _encoderDone = !_stop;
            _changed.notify_all();
            return;
        }
        const RenderedFrame frame = std::move(_results.extract(_nextToEncode).mapped());
        lock.unlock();
        encode(frame);
        lock.lock();
        ++_nextToEncode;
        _changed.notify_all();
    }
}

void RenderPipeline::Fail(std::exception_ptr failure) {
    {
        const std::lock_guard lock(_mutex);
        if (!_failure) {
            _failure = std::move(failure);
        }
    }
    Stop();
}

void RenderPipeline::Stop() {
    {
        const std::lock_guard lock(_mutex);
        _stop = true;
        _changed.notify_all();
    }
    _cache.Stop();
}

}  // namespace TQ::App
