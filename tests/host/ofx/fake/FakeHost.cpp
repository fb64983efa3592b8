#include "host/ofx/fake/FakeHost.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace Test {

namespace {

FakeHost* current = nullptr;
constexpr std::size_t guard = 256;
constexpr unsigned char guardByte = 0xA5;

const void* FetchSuite(OfxPropertySetHandle, const char* name, int version) {
    const auto& missing = FakeHost::Current().missingSuites;
    if (missing.contains(name) || missing.contains(name + std::to_string(version))) {
        return nullptr;
    }
    return FakeSuite(name, version);
}

int BytesOf(const FakeClip& clip) {
    const int channels = clip.components == kOfxImageComponentAlpha ? 1
                         : clip.components == kOfxImageComponentRGB ? 3
                                                                    : 4;
    const int bytes = clip.depth == kOfxBitDepthByte ? 1 : clip.depth == kOfxBitDepthFloat ? 4 : 2;
    return channels * bytes;
}

}  // namespace

unsigned char* FakeImage::Pixel(int x, int y) {
    return first + std::ptrdiff_t{y - bounds.y1} * rowBytes + std::ptrdiff_t{x - bounds.x1} * pixelBytes;
}

std::shared_ptr<FakeImage> MakeImage(const FakeClip& clip) {
    auto image = std::make_shared<FakeImage>();
    image->bounds = clip.bounds;
    image->pixelBytes = BytesOf(clip);
    const int height = clip.bounds.y2 - clip.bounds.y1;
    const int row = (clip.bounds.x2 - clip.bounds.x1) * image->pixelBytes + 12;  // rows with a tail
    image->storage.assign(static_cast<std::size_t>(row) * height + 2 * guard, 0);
    std::fill_n(image->storage.begin(), guard, guardByte);
    std::fill_n(image->storage.end() - guard, guard, guardByte);
    image->rowBytes = clip.rowsDownwards ? -row : row;
    image->first =
        image->storage.data() + guard + (clip.rowsDownwards ? (height - 1) * std::ptrdiff_t{row} : 0);
    FakeProperties& properties = image->properties;
    properties.Put(kOfxPropType, kOfxTypeImage);
    properties.Put(kOfxImageEffectPropPixelDepth, clip.depth.c_str());
    properties.Put(kOfxImageEffectPropComponents, clip.components.c_str());
    properties.Put(kOfxImagePropBounds,
                   std::vector<int>{clip.bounds.x1, clip.bounds.y1, clip.bounds.x2, clip.bounds.y2});
    properties.Put(kOfxImagePropRowBytes, image->rowBytes);
    properties.Put(kOfxImagePropData, std::vector<void*>{image->first});
    if (clip.properties.Has(kOfxImagePropPixelAspectRatio)) {
        properties.values[kOfxImagePropPixelAspectRatio] =
            clip.properties.values.at(kOfxImagePropPixelAspectRatio);
    }
    return image;
}

FakeHost::FakeHost() : _host{host.Handle(), FetchSuite}, _thread(std::this_thread::get_id()) {
    if (current != nullptr) {
        throw std::logic_error("two fake hosts at once");
    }
    current = this;
    host.Put(kOfxPropName, "org.example.scripted");
    host.Put(kOfxImageEffectPropSupportsTiles, 1);
    host.Put(kOfxImageEffectPropSupportsMultipleClipDepths, 1);
    host.Put(kOfxParamHostPropPageRowColumnCount, std::vector<int>{0, 0});
    for (const char* name : {kOfxImageEffectSimpleSourceClipName, kOfxImageEffectOutputClipName}) {
        clips[name].name = name;
        clips[name].properties.Put(kOfxImageClipPropConnected, 1);
    }
    FakeProperties& source = clips[kOfxImageEffectSimpleSourceClipName].properties;
    source.Put(kOfxImageClipPropUnmappedPixelDepth, kOfxBitDepthByte);
    source.Put(kOfxImageClipPropUnmappedComponents, kOfxImageComponentRGBA);
    source.Put(kOfxImageEffectPropFrameRange, std::vector<double>{0, 100});
    clips[kOfxImageEffectOutputClipName].keepsImage = true;
}

FakeHost::~FakeHost() {
    current = nullptr;
}

FakeHost& FakeHost::Current() {
    return *current;
}

void FakeHost::NoteCall() {
    if (std::this_thread::get_id() != _thread) {
        ++callsOffThread;
    }
}

FakeClip& FakeHost::ClipNamed(const std::string& name) {
    return clips.at(name);
}

FakeParameter& FakeHost::ParameterNamed(const std::string& name) {
    return parameters.at(name);
}

OfxStatus FakeHost::Run(const Entry& entry, const char* action) {
    outArgs.values.clear();
    return entry(action, Effect(), inArgs.Handle(), outArgs.Handle());
}

void FakeHost::Start(const Entry& entry, const char* context) {
    if (entry(kOfxActionLoad, nullptr, nullptr, nullptr) != kOfxStatOK) {
        throw std::runtime_error("Load failed");
    }
    inArgs.Put(kOfxImageEffectPropContext, context);
    for (const char* action :
         {kOfxActionDescribe, kOfxImageEffectActionDescribeInContext, kOfxActionCreateInstance}) {
        effect.Put(kOfxImageEffectPropContext, context);
        if (Run(entry, action) != kOfxStatOK) {
            throw std::runtime_error(std::string(action) + " failed");
        }
    }
    inArgs.values.clear();
}

void FakeHost::SetRenderArguments(double time, OfxRectI window, double scale) {
    inArgs.values.clear();
    inArgs.Put(kOfxPropTime, time);
    inArgs.Put(kOfxImageEffectPropRenderWindow, std::vector<int>{window.x1, window.y1, window.x2, window.y2});
    inArgs.Put(kOfxImageEffectPropRenderScale, std::vector<double>{scale, scale});
    inArgs.Put(kOfxImageEffectPropFieldToRender, kOfxImageFieldNone);
}

OfxStatus FakeHost::Change(const Entry& entry, const std::string& parameter, const char* reason) {
    inArgs.values.clear();
    inArgs.Put(kOfxPropType, kOfxTypeParameter);
    inArgs.Put(kOfxPropName, parameter.c_str());
    inArgs.Put(kOfxPropChangeReason, reason);
    inArgs.Put(kOfxPropTime, 0.0);
    return Run(entry, kOfxActionInstanceChanged);
}

OfxStatus FakeHost::GetImage(FakeClip& clip, double time, const OfxRectD* region,
                             OfxPropertySetHandle* handle) {
    ++clip.fetches;
    clip.fetchedTimes.push_back(time);
    clip.fetchedRegions.push_back(region == nullptr ? OfxRectD{0, 0, 0, 0} : *region);
    if (const auto scripted = clip.imageStatus.find(time); scripted != clip.imageStatus.end()) {
        return scripted->second;
    }
    if (time < clip.firstTime || time > clip.lastTime) {
        return kOfxStatFailed;
    }
    FakeClip like = clip;
    if (const auto other = clip.boundsAt.find(time); other != clip.boundsAt.end()) {
        like.bounds = other->second;
    }
    std::shared_ptr<FakeImage> image = clip.keepsImage && clip.kept ? clip.kept : MakeImage(like);
    if (clip.prepare) {
        clip.prepare(*image, time);
    }
    clip.kept = image;
    *handle = image->properties.Handle();
    _images[*handle] = image;
    ++liveImages;
    return kOfxStatOK;
}

OfxStatus FakeHost::ReleaseImage(OfxPropertySetHandle handle) {
    const auto found = _images.find(handle);
    if (found == _images.end()) {
        ++wrongReleases;
        return kOfxStatErrBadHandle;
    }
    const auto& storage = found->second->storage;
    const auto intact = [](unsigned char byte) { return byte == guardByte; };
    if (!std::all_of(storage.begin(), storage.begin() + guard, intact) ||
        !std::all_of(storage.end() - guard, storage.end(), intact)) {
        std::abort();  // written outside of an image
    }
    _images.erase(found);
    --liveImages;
    return kOfxStatOK;
}

}  // namespace Test
