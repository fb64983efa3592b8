#pragma once

#include <condition_variable>
#include <exception>
#include <limits>
#include <map>
#include <mutex>

#include "app/media/VideoReader.h"
#include "app/picture/Picture.h"

namespace TQ::App {

/// A frame of the source, ready for the effect.
struct SourceFrame {
    FrameStamp stamp;
    ConstPicturePointer picture;
    /// The decoded samples, kept only for a frame that may go to the encoder as it is.
    FramePointer original;
};

/// Source frames between the thread that decodes them in order and those that render. It holds the frames of
/// a window that moves forward, so its size does not depend on the clip's length. All functions may be called
/// at once.
class FrameCache {
  public:
    /// Frames before `keepFrom` are let go, frames up to `decodeTo` may be put. Both only grow.
    void MoveWindow(int keepFrom, int decodeTo);

    /// Waits until the window has room for the frame; false when the work was stopped.
    bool WaitForRoom(int frame);
    void Put(SourceFrame frame);
    /// There is no frame from this one on.
    void EndAt(int frame);
    /// This frame and all behind it cannot be had.
    void FailAt(int frame, std::exception_ptr failure);

    /// Waits for the frame; an empty one where the clip has ended. Throws what FailAt got, or RenderAborted.
    SourceFrame Get(int frame);
    /// Wakes everyone up.
    void Stop();

  private:
    std::mutex _mutex;
    std::condition_variable _changed;
    std::map<int, SourceFrame> _frames;
    int _keepFrom = 0;
    int _decodeTo = -1;
    int _end = std::numeric_limits<int>::max();  // first frame that will never come
    std::exception_ptr _failure;                 // why, when it is not the clip's end
    bool _stopped = false;
};

}  // namespace TQ::App
