#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "app/host/Effect.h"
#include "app/host/EffectObject.h"

namespace TQ::App {

/// A picture in the plug-in's hands.
class Image : public PropertySet {
  public:
    /// `picture` keeps a source frame alive; null for the output.
    Image(RenderJob& job, ConstPicturePointer picture);
    RenderJob& Job() { return _job; }
    /// The image with that handle; null when there is none.
    static Image* FromHandle(OfxPropertySetHandle handle) { return dynamic_cast<Image*>(From(handle)); }

  private:
    RenderJob& _job;
    ConstPicturePointer _picture;
};

/// What all renders of an instance have in common.
struct PictureFormat {
    int width = 0;
    int height = 0;
    SampleDepth depth = SampleDepth::Byte;
    double renderScale = 1;
    int frameCount = 1;
    /// Part of the images' identifiers.
    std::string instanceName;
    bool clipsIgnoreTime = false;
};

/// One frame on its way through the plug-in: which pictures it may have, whether it shall stop.
class RenderJob {
  public:
    /// All references outlive the job; `abort` may be null.
    RenderJob(const PictureFormat& format, int frame, const FrameProvider& provider, Picture& output,
              const std::atomic<bool>* abort, const std::function<void(double)>& progress);

    int Frame() const { return _frame; }
    /// True when the effect shall stop, because of the flag or because a frame could not be had.
    bool ShallStop() const;
    bool WasAborted() const { return _abort && *_abort; }
    void Progress(double share);

    /// An image of a clip at a time; kOfxStatFailed when there is none.
    OfxStatus GetImage(const Clip& clip, double time, OfxPropertySetHandle* image);
    /// False when the image is not of this job.
    bool ReleaseImage(Image& image);
    /// Takes back what the plug-in kept, and counts it.
    int TakeBackImages();
    /// Throws on what the frame provider threw, if it did.
    void RethrowFailure();

  private:
    OfxStatus GetOutput(const Clip& clip, OfxPropertySetHandle* image);
    OfxStatus GetSource(const Clip& clip, int frame, OfxPropertySetHandle* image);
    ConstPicturePointer Fetch(int frame);
    void Fill(PropertySet& properties, const Clip& clip, const Picture& picture) const;
    OfxPropertySetHandle Keep(std::unique_ptr<Image> image);

    const PictureFormat& _format;
    const int _frame;
    const FrameProvider& _provider;
    Picture& _output;
    const std::atomic<bool>* _abort;
    const std::function<void(double)>& _progress;

    std::mutex _mutex;
    std::map<Image*, std::unique_ptr<Image>> _images;
    std::exception_ptr _failure;
    std::atomic<bool> _failed{false};
};

/// The standard's name of a depth.
const char* DepthName(SampleDepth depth);

}  // namespace TQ::App
