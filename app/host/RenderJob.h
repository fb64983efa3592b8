#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "app/host/Effect.h"
#include "app/host/EffectObject.h"
#include "app/host/ImageLayout.h"

namespace TQ::App {

/// A picture in the plug-in's hands.
class Image : public PropertySet {
  public:
    /// `picture` keeps a source frame alive; null for the output.
    Image(RenderJob& job, ConstPicturePointer picture);
    RenderJob& Job() { return _job; }
    /// The image with that handle; null when there is none.
    static Image* FromHandle(OfxPropertySetHandle handle) { return dynamic_cast<Image*>(From(handle)); }

    /// The plug-in gets a copy of `original` with upward rows. `isOutput`: what it wrote goes back there.
    Raster Copy(const Raster& original, const OfxRectI& bounds, int pixelBytes, bool isOutput);
    void WriteBack() const;

  private:
    RenderJob& _job;
    ConstPicturePointer _picture;
    std::vector<std::uint8_t> _copy;
    Raster _copied;
    /// Where the copy goes back to; null when it does not.
    Raster _target;
    int _rows = 0;
    std::size_t _bytes = 0;
};

/// What all renders of an instance have in common.
struct PictureFormat {
    int width = 0;
    int height = 0;
    SampleDepth depth = SampleDepth::Byte;
    double renderScale = 1;
    int frameCount = 1;
    /// Where pictures lie, in pixels at the render scale.
    OfxRectI whole{0, 0, 0, 0};
    /// Images have only what was asked for.
    bool cutImages = false;
    /// Part of the images' identifiers.
    std::string instanceName;
    /// Of the host; it lives for ever.
    const HostProfile* profile = nullptr;
};

/// A part of a frame that is rendered at once, and what the effect wants of each input for it, by the name of
/// the clip. Pixels at the render scale.
struct RenderWindow {
    OfxRectI pixels{0, 0, 0, 0};
    std::map<std::string, OfxRectI> regions;
};

/// One frame on its way through the plug-in: which pictures it may have, whether it shall stop.
class RenderJob {
  public:
    /// All references outlive the job; `abort` may be null.
    RenderJob(const PictureFormat& format, int frame, const FrameProvider& provider, Picture& output,
              const std::atomic<bool>* abort, const std::function<void(double)>& progress);

    int Frame() const { return _frame; }
    /// The next of `count` parts; not while the plug-in has images.
    void SetWindow(RenderWindow window, std::size_t index, std::size_t count);
    /// True when the effect shall stop, because of the flag, because a frame could not be had, or since that
    /// is what this host does.
    bool ShallStop() const;
    bool WasAborted() const { return _abort && *_abort; }
    void Progress(double share);

    /// An image of a clip at a time; kOfxStatFailed when there is none. `region` may be null.
    OfxStatus GetImage(const Clip& clip, double time, const OfxRectD* region, OfxPropertySetHandle* image);
    /// False when the image is not of this job.
    bool ReleaseImage(Image& image);
    /// Takes back what the plug-in kept, and counts it.
    int TakeBackImages();
    /// Throws on what the frame provider threw, if it did.
    void RethrowFailure();

  private:
    OfxStatus GetOutput(const Clip& clip, OfxPropertySetHandle* image);
    OfxStatus GetSource(const Clip& clip, int frame, const OfxRectD* region, OfxPropertySetHandle* image);
    ConstPicturePointer Fetch(int frame);
    OfxRectI SourceBounds(const Clip& clip, const OfxRectD* region) const;
    void Fill(Image& image, const Clip& clip, const Picture& picture, const OfxRectI& bounds) const;
    OfxPropertySetHandle Keep(std::unique_ptr<Image> image);

    const PictureFormat& _format;
    const int _frame;
    const FrameProvider& _provider;
    Picture& _output;
    const std::atomic<bool>* _abort;
    const std::function<void(double)>& _progress;
    RenderWindow _window;
    std::size_t _windowIndex = 0;
    std::size_t _windowCount = 1;

    std::mutex _mutex;
    std::map<Image*, std::unique_ptr<Image>> _images;
    std::exception_ptr _failure;
    std::atomic<bool> _failed{false};
};

/// The standard's name of a depth.
const char* DepthName(SampleDepth depth);
/// What the host calls it.
std::string ClaimedDepth(const HostProfile& profile, SampleDepth depth);
/// A canonical region in whole pixels, outwards. `aspect` is that of a pixel. Not-a-numbers count as no
/// limit.
OfxRectI ToPixels(const OfxRectD& region, double renderScale, double aspect);

}  // namespace TQ::App
