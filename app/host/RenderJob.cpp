#include "app/host/RenderJob.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "app/host/PropertyTables.h"
#include "host/ofx/abi/OfxImageEffect.h"

namespace TQ::App {

Image::Image(RenderJob& job, ConstPicturePointer picture)
    : PropertySet(ImageRows()), _job(job), _picture(std::move(picture)) {
}

Raster Image::Copy(const Raster& original, const OfxRectI& bounds, int pixelBytes, bool isOutput) {
    // Rows are seldom as long as their pixels.
    constexpr std::size_t padding = 12;
    _rows = HeightOf(bounds);
    _bytes = static_cast<std::size_t>(WidthOf(bounds)) * static_cast<std::size_t>(pixelBytes);
    _copy.resize((_bytes + padding) * static_cast<std::size_t>(_rows));
    _copied = {_copy.data(), static_cast<std::ptrdiff_t>(_bytes + padding)};
    CopyRows(original, _copied, _rows, _bytes);
    if (isOutput) {
        _target = original;
    }
    return _copied;
}

void Image::WriteBack() const {
    if (_target.pixels) {
        CopyRows(_copied, _target, _rows, _bytes);
    }
}

RenderJob::RenderJob(const PictureFormat& format, int frame, const FrameProvider& provider, Picture& output,
                     const std::atomic<bool>* abort, const std::function<void(double)>& progress)
    : _format(format),
      _frame(frame),
      _provider(provider),
      _output(output),
      _abort(abort),
      _progress(progress),
      _window{format.whole, {}} {
}

void RenderJob::SetWindow(RenderWindow window, std::size_t index, std::size_t count) {
    _window = std::move(window);
    _windowIndex = index;
    _windowCount = count;
}

bool RenderJob::ShallStop() const {
    return _failed || WasAborted() || _format.profile->alwaysAborts;
}

void RenderJob::Progress(double share) {
    if (_progress) {
        _progress((static_cast<double>(_windowIndex) + share) / static_cast<double>(_windowCount));
    }
}

OfxStatus RenderJob::GetImage(const Clip& clip, double time, const OfxRectD* region,
                              OfxPropertySetHandle* image) {
    if (!clip.IsConnected()) {
        return kOfxStatFailed;
    }
    const double wanted = _format.profile->clipsIgnoreTime ? _frame : std::floor(time + 0.5);
    if (clip.IsOutput()) {
        return wanted == _frame ? GetOutput(clip, image) : kOfxStatFailed;
    }
    // Also false for a time that is not a number.
    const bool exists = wanted >= 0 && wanted < _format.frameCount;
    return exists ? GetSource(clip, static_cast<int>(wanted), region, image) : kOfxStatFailed;
}

OfxStatus RenderJob::GetOutput(const Clip& clip, OfxPropertySetHandle* handle) {
    auto image = std::make_unique<Image>(*this, nullptr);
    Fill(*image, clip, _output, _format.cutImages ? _window.pixels : _format.whole);
    image->SetText(kOfxImagePropUniqueIdentifier,
                   fmt::format("{} output {} {}", _format.instanceName, _frame, fmt::ptr(this)));
    *handle = Keep(std::move(image));
    return kOfxStatOK;
}

OfxStatus RenderJob::GetSource(const Clip& clip, int frame, const OfxRectD* region,
                               OfxPropertySetHandle* handle) {
    const OfxRectI bounds = SourceBounds(clip, region);
    if (WidthOf(bounds) == 0 || HeightOf(bounds) == 0) {
        return kOfxStatFailed;
    }
    const ConstPicturePointer picture = Fetch(frame);
    if (!picture) {
        return kOfxStatFailed;
    }
    auto image = std::make_unique<Image>(*this, picture);
    Fill(*image, clip, *picture, bounds);
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

OfxRectI RenderJob::SourceBounds(const Clip& clip, const OfxRectD* region) const {
    OfxRectI bounds = _format.whole;
    if (!_format.cutImages) {
        return bounds;
    }
    const auto interest = _window.regions.find(clip.Name());
    if (interest != _window.regions.end()) {
        bounds = Intersection(bounds, interest->second);
    }
    if (region) {
        const double aspect = clip.Properties().Double(kOfxImagePropPixelAspectRatio);
        bounds = Intersection(bounds, ToPixels(*region, _format.renderScale, aspect));
    }
    return bounds;
}

void RenderJob::Fill(Image& image, const Clip& clip, const Picture& picture, const OfxRectI& bounds) const {
    const PropertySet& of = clip.Properties();
    const HostProfile& profile = *_format.profile;
    const std::string& field = profile.field;
    const int pixelBytes = 4 * BytesPerSample(picture.Depth());
    Raster raster = RasterOf(picture, _format.whole, bounds, profile.rows != HostProfile::Rows::TopFirst);
    if (profile.rows == HostProfile::Rows::Upwards) {
        raster = image.Copy(raster, bounds, pixelBytes, clip.IsOutput());
    }
    const auto corners = [](const OfxRectI& r) { return std::vector<int>{r.x1, r.y1, r.x2, r.y2}; };
    image.SetText(kOfxImageEffectPropPixelDepth, ClaimedDepth(profile, picture.Depth()));
    image.SetText(kOfxImageEffectPropPreMultiplication, of.Text(kOfxImageEffectPropPreMultiplication));
    image.SetText(kOfxImagePropField, field.empty() ? kOfxImageFieldNone : field);
    image.SetDoubles(kOfxImageEffectPropRenderScale, {_format.renderScale, _format.renderScale});
    image.SetDouble(kOfxImagePropPixelAspectRatio, of.Double(kOfxImagePropPixelAspectRatio));
    image.SetPointer(kOfxImagePropData, raster.pixels);
    image.SetInt(kOfxImagePropRowBytes, static_cast<int>(raster.rowBytes));
    image.SetInts(kOfxImagePropBounds, corners(bounds));
    image.SetInts(kOfxImagePropRegionOfDefinition, corners(_format.whole));
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
    if (!node.empty()) {
        image.WriteBack();
    }
    return !node.empty();
}

std::string ClaimedDepth(const HostProfile& profile, SampleDepth depth) {
    return profile.claimedDepth.empty() ? DepthName(depth) : profile.claimedDepth;
}

OfxRectI ToPixels(const OfxRectD& region, double renderScale, double aspect) {
    // 3 / 0.1 * 0.1 is a little more than 3 in binary; such a remainder is no pixel.
    constexpr double remainder = 1e-6;
    // Beyond all pictures. Not-a-number becomes the one or the other.
    const auto limited = [](double value) {
        constexpr int farthest = 1'000'000'000;
        return value > -farthest ? static_cast<int>(value < farthest ? value : farthest) : -farthest;
    };
    return {limited(std::floor(region.x1 / aspect * renderScale + remainder)),
            limited(std::floor(region.y1 * renderScale + remainder)),
            limited(std::ceil(region.x2 / aspect * renderScale - remainder)),
            limited(std::ceil(region.y2 * renderScale - remainder))};
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
