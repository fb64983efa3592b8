#include "app/host/RenderJob.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "app/host/PropertyTables.h"

namespace TQ::App {

Image::Image(RenderJob& job, ConstPicturePointer picture)
    : PropertySet(ImageRows()), _job(job), _picture(std::move(picture)) {
}

RenderJob::RenderJob(const PictureFormat& format, int frame, const FrameProvider& provider, Picture& output,
                     const std::atomic<bool>* abort, const std::function<void(double)>& progress)
    : _format(format),
      _frame(frame),
      _provider(provider),
      _output(output),
      _abort(abort),
      _progress(progress) {
}

bool RenderJob::ShallStop() const {
    return _failed || WasAborted();
}

void RenderJob::Progress(double share) {
    if (_progress) {
        _progress(share);
    }
}

OfxStatus RenderJob::GetImage(const Clip& clip, double time, OfxPropertySetHandle* image) {
    if (!clip.IsConnected()) {
        return kOfxStatFailed;
    }
    const double wanted = _format.clipsIgnoreTime ? _frame : std::floor(time + 0.5);
    if (clip.IsOutput()) {
        return wanted == _frame ? GetOutput(clip, image) : kOfxStatFailed;
    }
    // Also false for a time that is not a number.
    const bool exists = wanted >= 0 && wanted < _format.frameCount;
    return exists ? GetSource(clip, static_cast<int>(wanted), image) : kOfxStatFailed;
}

OfxStatus RenderJob::GetOutput(const Clip& clip, OfxPropertySetHandle* handle) {
    auto image = std::make_unique<Image>(*this, nullptr);
    Fill(*image, clip, _output);
    image->SetText(kOfxImagePropUniqueIdentifier,
                   fmt::format("{} output {} {}", _format.instanceName, _frame, fmt::ptr(this)));
    *handle = Keep(std::move(image));
    return kOfxStatOK;
}

OfxStatus RenderJob::GetSource(const Clip& clip, int frame, OfxPropertySetHandle* handle) {
    const ConstPicturePointer picture = Fetch(frame);
    if (!picture) {
        return kOfxStatFailed;
    }
    auto image = std::make_unique<Image>(*this, picture);
    Fill(*image, clip, *picture);
    image->SetText(kOfxImagePropUniqueIdentifier,
                   fmt::format("{} {} {}", _format.instanceName, clip.Name(), frame));
    *handle = Keep(std::move(image));
    return kOfxStatOK;
}

ConstPicturePointer RenderJob::Fetch(int frame) {
    try {
        ConstPicturePointer picture = _provider(frame);
        if (picture && (picture->Width() != _format.width || picture->Height() != _format.height ||
                        picture->Depth() != _format.depth)) {
            throw HostError(fmt::format("frame {} has another size or depth than the clip", frame));
        }
        return picture;
    } catch (...) {
        // The plug-in stops as if the user had asked for it; the reason comes out when it has returned.
        std::lock_guard lock(_mutex);
        _failure = std::current_exception();
        _failed = true;
        return nullptr;
    }
}

void RenderJob::Fill(PropertySet& properties, const Clip& clip, const Picture& picture) const {
    const PropertySet& of = clip.Properties();
    // A picture has its top row first, the interface its bottom row: so it is walked backwards from its last
    // row.
    auto* lastRow = const_cast<std::uint8_t*>(picture.Row(picture.Height() - 1));
    const std::vector<int> bounds = {0, 0, picture.Width(), picture.Height()};
    properties.SetText(kOfxImageEffectPropPixelDepth, DepthName(picture.Depth()));
    properties.SetText(kOfxImageEffectPropPreMultiplication, of.Text(kOfxImageEffectPropPreMultiplication));
    properties.SetDoubles(kOfxImageEffectPropRenderScale, {_format.renderScale, _format.renderScale});
    properties.SetDouble(kOfxImagePropPixelAspectRatio, of.Double(kOfxImagePropPixelAspectRatio));
    properties.SetPointer(kOfxImagePropData, lastRow);
    properties.SetInt(kOfxImagePropRowBytes, -static_cast<int>(picture.RowBytes()));
    properties.SetInts(kOfxImagePropBounds, bounds);
    properties.SetInts(kOfxImagePropRegionOfDefinition, bounds);
}

OfxPropertySetHandle RenderJob::Keep(std::unique_ptr<Image> image) {
    Image* key = image.get();
    std::lock_guard lock(_mutex);
    _images.emplace(key, std::move(image));
    return key->AsHandle();
}

bool RenderJob::ReleaseImage(Image& image) {
    std::unique_lock lock(_mutex);
    const auto node = _images.extract(&image);
    // The picture may be the last of its frame, and what frees it may take its time.
    lock.unlock();
    return !node.empty();
}

int RenderJob::TakeBackImages() {
    std::lock_guard lock(_mutex);
    return static_cast<int>(std::exchange(_images, {}).size());
}

void RenderJob::RethrowFailure() {
    std::lock_guard lock(_mutex);
    if (_failure) {
        std::rethrow_exception(_failure);
    }
}

}  // namespace TQ::App
