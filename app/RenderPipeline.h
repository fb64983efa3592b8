#pragma once

#include <atomic>
#include <condition_variable>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "app/FrameCache.h"
#include "app/host/Effect.h"
#include "app/media/PicturePool.h"

namespace TQ::App {

/// A finished frame on its way to the encoder.
struct RenderedFrame {
    FrameStamp stamp;
    ConstPicturePointer picture;
    /// Decoded samples that the effect leaves as they are; null otherwise.
    FramePointer original;
};

/// Renders a range of frames: one thread decodes, `jobs` threads render frames in turn, one thread takes the
/// results in order. What is in memory is bounded by the frames that the running jobs need, whatever the
/// clip's length, and the results do not depend on the number of jobs.
class RenderPipeline {
  public:
    /// `frames` lies in the clip. Asks the effect which source frames each of them needs; `interrupted` is
    /// looked at between the questions. Throws HostError, RenderAborted.
    RenderPipeline(EffectInstance& instance, FrameRange frames, int jobs,
                   const std::atomic<bool>& interrupted);

    /// The first source frame that any of the frames needs: where decoding begins.
    int FirstNeeded() const { return _plans.front().keepFrom; }
    /// True when the effect passes this source frame through, so that its decoded samples are of use.
    bool WantsOriginal(int frame) const;
    /// The longest range from the first frame on that can be rendered without source frame `missing`; none if
    /// none.
    std::optional<FrameRange> RangeBefore(int missing) const;

    /// `decode` gives the source frames from FirstNeeded() on, none at the end; `encode` gets the results in
    /// order; `progress` is called from this thread a few times per second with the number of finished
    /// frames. Returns the number of frames, less than asked for when the clip ended early. Throws what a
    /// thread threw first, or RenderAborted when interrupted.
    int Run(const std::function<std::optional<SourceFrame>()>& decode,
            const std::function<void(const RenderedFrame&)>& encode,
            const std::function<void(int)>& progress);

  private:
    /// What the effect said about one frame, and where the window has to be for it and its followers.
    struct Plan {
        int frame;
        std::optional<int> identity;
        FrameRange needed;
        int keepFrom;
        int decodeTo;
    };

    const Plan& PlanOf(int frame) const { return _plans[static_cast<std::size_t>(frame - _frames.first)]; }
    void Decode(const std::function<std::optional<SourceFrame>()>& decode);
    void RenderFrames();
    void Encode(const std::function<void(const RenderedFrame&)>& encode);
    /// None: nothing is left to do.
    std::optional<int> TakeFrame();
    /// None: the clip has ended before this frame.
    std::optional<RenderedFrame> Render(const Plan& plan);
    void Deliver(int frame, std::optional<RenderedFrame> result);
    void MoveWindow();
    void Fail(std::exception_ptr failure);
    void Stop();
    void Watch(const std::function<void(int)>& progress);

    EffectInstance& _instance;
    FrameRange _frames;
    int _jobs;
    const std::atomic<bool>& _interrupted;
    std::vector<Plan> _plans;
    FrameCache _cache;
    PicturePool _pictures;

    std::mutex _mutex;
    std::condition_variable _changed;
    std::map<int, RenderedFrame> _results;  // finished, not yet encoded
    std::vector<int> _running;              // frames in the hands of the jobs
    int _nextToRender;
    int _nextToEncode;
    int _end;  // one past the last frame that comes
    bool _encoderDone = false;
    std::exception_ptr _failure;
    std::atomic<bool> _stop{false};
};

}  // namespace TQ::App
