#include "app/host/InstanceObject.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "app/host/PropertyTables.h"

namespace TQ::App {
namespace {

// How deep changes may follow from changes: a plug-in whose parameters set each other must come to an end.
constexpr std::size_t deepestChange = 4;

// A plug-in that talks at every frame must not fill the memory of a host that does not listen.
constexpr std::size_t mostMessages = 1000;

// Actions in which the standard lets a plug-in write parameters.
constexpr const char* writingActions[] = {
    kOfxActionCreateInstance,     kOfxActionInstanceChanged, kOfxActionBeginInstanceChanged,
    kOfxActionEndInstanceChanged, kOfxActionSyncPrivateData, kOfxActionBeginInstanceEdit,
    kOfxActionEndInstanceEdit,
};

const char* AlphaName(Alpha alpha) {
    switch (alpha) {
        case Alpha::Premultiplied:
            return kOfxImagePreMultiplied;
        case Alpha::Straight:
            return kOfxImageUnPreMultiplied;
        default:
            return kOfxImageOpaque;
    }
}

PictureFormat PicturesOf(const ClipFormat& format, double renderScale, const HostProfile& profile) {
    static std::atomic<int> instances{0};
    PictureFormat pictures;
    pictures.width = ScaledSize(format.width, renderScale);
    pictures.height = ScaledSize(format.height, renderScale);
    pictures.depth = format.depth;
    pictures.renderScale = renderScale;
    pictures.frameCount = format.frameCount;
    pictures.instanceName = fmt::format("instance {}", ++instances);
    pictures.profile = &profile;
    const int left = static_cast<int>(std::floor(profile.originX * renderScale));
    const int bottom = static_cast<int>(std::floor(profile.originY * renderScale));
    pictures.whole = {left, bottom, left + pictures.width, bottom + pictures.height};
    return pictures;
}

}  // namespace

InstanceObject::InstanceObject(EffectPlugin::State& plugin, EffectObject& description,
                               const std::string& fullContext, const ClipFormat& format, double renderScale)
    : EffectObject(description, EffectInstanceRows(), *this),
      _plugin(plugin),
      _format(format),
      _renderScale(renderScale),
      _pictures(PicturesOf(format, renderScale, plugin.host->Profile())) {
    if (plugin.host->Profile().deviceProperties) {
        Properties().Define(DeviceSupportRows());
    }
    Properties().CopyFrom(description.Properties());
    FillProperties(fullContext);
    ConnectClips();
    _pictures.cutImages = plugin.host->Profile().cutImages && UsesTiles();
}

bool InstanceObject::UsesTiles() const {
    return _plugin.host->Profile().supportsTiles && Properties().Int(kOfxImageEffectPropSupportsTiles);
}

OfxRectD InstanceObject::WholeRegion() const {
    const HostProfile& profile = _plugin.host->Profile();
    return {profile.originX * _format.pixelAspect, static_cast<double>(profile.originY),
            (profile.originX + _format.width) * _format.pixelAspect,
            static_cast<double>(profile.originY + _format.height)};
}

void InstanceObject::FillProperties(const std::string& fullContext) {
    PropertySet& own = Properties();
    const OfxRectD whole = WholeRegion();
    own.SetText(kOfxPropType, kOfxTypeImageEffectInstance);
    own.SetText(kOfxImageEffectPropContext, fullContext);
    own.SetPointer(kOfxImageEffectPropPluginHandle, _plugin.record);
    own.SetDoubles(kOfxImageEffectPropProjectSize, {whole.x2 - whole.x1, whole.y2 - whole.y1});
    own.SetDoubles(kOfxImageEffectPropProjectOffset, {whole.x1, whole.y1});
    own.SetDoubles(kOfxImageEffectPropProjectExtent, {whole.x2, whole.y2});
    own.SetDouble(kOfxImageEffectPropProjectPixelAspectRatio, _format.pixelAspect);
    own.SetDouble(kOfxImageEffectInstancePropEffectDuration, _format.frameCount);
    own.SetDouble(kOfxImageEffectPropFrameRate, _format.frameRate);
}

/// The clip "Source", else the first that is an input, carries the pictures; no other input is connected.
void InstanceObject::ConnectClips() {
    _source = FindClip(kOfxImageEffectSimpleSourceClipName);
    for (const auto& clip : Clips()) {
        if (!_source && !clip->IsOutput()) {
            _source = clip.get();
        }
    }
    if (!_source) {
        throw HostError(
            fmt::format("{} takes no pictures: it defines no source clip", _plugin.DisplayName()));
    }
    for (const auto& clip : Clips()) {
        if (clip.get() == _source || clip->IsOutput()) {
            Connect(*clip);
        } else if (!clip->Properties().Int(kOfxImageClipPropOptional)) {
            throw HostError(fmt::format("{} needs a second clip, \"{}\", which this host cannot give",
                                        _plugin.DisplayName(), clip->Name()));
        }
    }
}

void InstanceObject::Connect(Clip& clip) {
    PropertySet& own = clip.Properties();
    const auto components = own.Texts(kOfxImageEffectPropSupportedComponents);
    if (std::find(components.begin(), components.end(), kOfxImageComponentRGBA) == components.end()) {
        throw HostError(
            fmt::format("{} takes no RGBA pictures at its clip \"{}\"", _plugin.DisplayName(), clip.Name()));
    }
    own.SetInt(kOfxImageClipPropConnected, 1);
    const HostProfile& profile = _plugin.host->Profile();
    own.SetText(kOfxImageEffectPropPixelDepth, ClaimedDepth(profile, _format.depth));
    own.SetText(kOfxImageClipPropUnmappedPixelDepth, ClaimedDepth(profile, _format.depth));
    own.SetText(kOfxImageClipPropFieldOrder, profile.field.empty() ? kOfxImageFieldNone : profile.field);
    own.SetText(kOfxImageEffectPropComponents, kOfxImageComponentRGBA);
    own.SetText(kOfxImageClipPropUnmappedComponents, kOfxImageComponentRGBA);
    own.SetText(kOfxImageEffectPropPreMultiplication, AlphaName(_format.alpha));
    own.SetDouble(kOfxImagePropPixelAspectRatio, _format.pixelAspect);
    own.SetDouble(kOfxImageEffectPropFrameRate, _format.frameRate);
    own.SetDouble(kOfxImageEffectPropUnmappedFrameRate, _format.frameRate);
    using ClipRange = HostProfile::ClipRange;
    const OfxRangeD frames = profile.clipFrameRange == ClipRange::ZeroToOne ? OfxRangeD{0, 1} : TimeBounds();
    for (const char* range : {kOfxImageEffectPropFrameRange, kOfxImageEffectPropUnmappedFrameRange}) {
        if (profile.clipFrameRange == ClipRange::None) {
            own.Hollow(range);
        } else {
            own.SetDoubles(range, {frames.min, frames.max});
        }
    }
}

OfxStatus InstanceObject::Try(const char* action, PropertySet* inArgs, PropertySet* outArgs, RenderJob* job,
                              std::vector<HostMessage>& messages) {
    const auto& absent = _plugin.host->Profile().absentActions;
    if (std::find(absent.begin(), absent.end(), action) != absent.end()) {
        return kOfxStatReplyDefault;
    }
    Action scope(action, job);
    const OfxStatus status = _plugin.Call(action, this, inArgs, outArgs);
    messages = scope.TakeMessages();
    return status;
}

OfxStatus InstanceObject::Perform(const char* action, PropertySet* inArgs, PropertySet* outArgs,
                                  const std::string& purpose, RenderJob* job) {
    std::vector<HostMessage> messages;
    const OfxStatus status = Try(action, inArgs, outArgs, job, messages);
    if (status != kOfxStatOK && status != kOfxStatReplyDefault) {
        throw HostError(FailureText(_plugin.DisplayName(), purpose, status, messages));
    }
    AddMessages(std::move(messages));
    return status;
}

void InstanceObject::NotifyChange(Parameter& parameter, const char* reason) {
    PropertySet bracket;
    bracket.Define(TextRow(kOfxPropChangeReason, reason));
    PropertySet change;
    change.Define(TextRow(kOfxPropType, kOfxTypeParameter));
    change.Define(TextRow(kOfxPropName, parameter.Name().c_str()));
    change.Define(TextRow(kOfxPropChangeReason, reason));
    AddTime(change, 0);
    AddScale(change);
    const std::string purpose = fmt::format("take the change of \"{}\"", parameter.Name());
    _changing.push_back(&parameter);
    struct Leave {
        std::vector<Parameter*>& changing;
        ~Leave() { changing.pop_back(); }
    } leave{_changing};
    Perform(kOfxActionBeginInstanceChanged, &bracket, nullptr, purpose);
    std::string failure;
    try {
        Perform(kOfxActionInstanceChanged, &change, nullptr, purpose);
    } catch (const HostError& error) {
        failure = error.what();
    }
    Perform(kOfxActionEndInstanceChanged, &bracket, nullptr, purpose);
    if (failure.empty() && _changing.size() == 1) {
        failure = std::exchange(_nestedFailure, {});
    }
    if (!failure.empty()) {
        throw HostError(failure);
    }
}

bool InstanceObject::MayWrite() const {
    const Action* action = Action::Current();
    return action &&
           std::find_if(std::begin(writingActions), std::end(writingActions), [&](const char* name) {
               return std::string_view(name) == action->Name();
           }) != std::end(writingActions);
}

void InstanceObject::Written(Parameter& parameter) {
    const bool isNew = std::string_view(Action::Current()->Name()) == kOfxActionCreateInstance;
    const bool isKnown = std::find(_changing.begin(), _changing.end(), &parameter) != _changing.end();
    if (isNew || isKnown || _changing.size() >= deepestChange) {
        return;
    }
    try {
        NotifyChange(parameter, kOfxChangePluginEdited);
    } catch (const HostError& error) {
        // The plug-in stands between here and the user's edit, which is what has to fail in the end.
        _nestedFailure = error.what();
    }
}

InstanceObject::ActiveJob::ActiveJob(InstanceObject& instance, RenderJob& job)
    : _instance(instance), _job(job) {
    std::lock_guard lock(_instance._jobMutex);
    _instance._jobs.insert(&_job);
}

InstanceObject::ActiveJob::~ActiveJob() {
    std::lock_guard lock(_instance._jobMutex);
    _instance._jobs.erase(&_job);
}

RenderJob* InstanceObject::CurrentJob() {
    const Action* action = Action::Current();
    std::lock_guard lock(_jobMutex);
    if (action) {
        return action->Job() && _jobs.count(action->Job()) ? action->Job() : nullptr;
    }
    return _jobs.size() == 1 ? *_jobs.begin() : nullptr;
}

OfxStatus InstanceObject::ClipRegion(const Clip& clip, OfxRectD& region) const {
    const OfxStatus status = _plugin.host->Profile().regionOfDefinitionStatus;
    if (status != kOfxStatOK) {
        return status;
    }
    if (!clip.IsConnected()) {
        return kOfxStatFailed;
    }
    region = WholeRegion();
    return kOfxStatOK;
}

void InstanceObject::AddMessages(std::vector<HostMessage> messages) {
    std::lock_guard lock(_messageMutex);
    const std::size_t room = mostMessages - std::min(mostMessages, _messages.size());
    const auto end = messages.begin() + static_cast<std::ptrdiff_t>(std::min(room, messages.size()));
    std::move(messages.begin(), end, std::back_inserter(_messages));
}

std::vector<HostMessage> InstanceObject::TakeMessages() {
    std::lock_guard lock(_messageMutex);
    return std::exchange(_messages, {});
}

void InstanceObject::AddTime(PropertySet& arguments, double time) const {
    arguments.Define(DoubleRow(kOfxPropTime, time));
    const HostProfile& profile = _plugin.host->Profile();
    if (profile.apiMajor > 1 || profile.apiMinor >= 5) {
        arguments.Define(TextRow(kOfxImageEffectPropThumbnailRender, "false"));
    }
}

void InstanceObject::AddScale(PropertySet& arguments) const {
    arguments.Define(DoubleRow(kOfxImageEffectPropRenderScale, _renderScale, 2));
}

}  // namespace TQ::App
