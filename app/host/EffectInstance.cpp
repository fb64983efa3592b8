#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <optional>

#include "app/host/InstanceObject.h"
#include "app/host/MemoryPool.h"
#include "app/host/PropertyTables.h"

namespace TQ::App {
namespace {

/// Frames beyond this are a plug-in's mistake, not a wish.
constexpr double farthestFrame = 1e9;

/// Plug-ins that cannot run twice at all take turns across the process.
std::mutex unsafeMutex;

/// The frame that a time means; none for one that is no number or beyond all clips.
std::optional<int> FrameAt(double time) {
    const double frame = std::floor(time + 0.5);
    return std::abs(frame) <= farthestFrame ? std::optional<int>(static_cast<int>(frame)) : std::nullopt;
}

void CheckFormat(const EffectPlugin& plugin, const ClipFormat& format, double renderScale) {
    const bool isSound = format.width >= 1 && format.height >= 1 && format.pixelAspect > 0 &&
                         format.frameRate > 0 && format.frameCount >= 1;
    if (!isSound || !(renderScale > 0 && renderScale <= 1)) {
        throw HostError("a clip needs a size, a frame, a rate, a pixel aspect and a scale of at most 1");
    }
    if (!plugin.SupportsDepth(format.depth)) {
        throw HostError(fmt::format("{} does not take pictures of depth \"{}\"", plugin.Label(),
                                    DepthName(format.depth)));
    }
}

}  // namespace

int ScaledSize(int size, double renderScale) {
    // 10 * 0.7 is a little more than 7 in binary; such a remainder is no pixel.
    constexpr double remainder = 1e-6;
    return std::max(1, static_cast<int>(std::ceil(size * renderScale - remainder)));
}

struct EffectInstance::State {
    State(std::shared_ptr<EffectPlugin> loadedPlugin, const std::string& fullContext,
          const ClipFormat& format, double renderScale)
        : plugin(std::move(loadedPlugin)),
          object(plugin->Internals(), *plugin->Internals().ContextOf(fullContext).object, fullContext, format,
                 renderScale) {}

    bool UsesTiles() {
        return object.Plugin().host->Profile().supportsTiles &&
               object.Properties().Int(kOfxImageEffectPropSupportsTiles);
    }
    std::unique_lock<std::mutex> TakeTurn();
    void DefineWindow(PropertySet& arguments);
    void AddRenderStatus(PropertySet& arguments);
    std::map<std::string, Rectangle> QueryRegions(int frame, RenderJob* job);
    void Sequence(const char* action, int first, int last, RenderJob* job);
    OfxStatus RenderFrame(RenderJob& job, std::vector<HostMessage>& messages);
    void Judge(RenderJob& job, OfxStatus status, std::vector<HostMessage> messages);

    std::shared_ptr<EffectPlugin> plugin;
    InstanceObject object;
    bool temporal = false;
    std::string threadSafety;
    std::mutex instanceMutex;
    std::atomic<bool> sequenceOpen{false};
    FrameRange sequence;
    std::atomic<int> leakedImages{0};
};

EffectInstance::EffectInstance(std::shared_ptr<EffectPlugin> plugin, std::string_view context,
                               const ClipFormat& format, double renderScale) {
    CheckFormat(*plugin, format, renderScale);
    _state = std::make_unique<State>(std::move(plugin), FullContextName(context), format, renderScale);
    const PropertySet& described = _state->plugin->Internals().descriptor->Properties();
    _state->temporal = described.Int(kOfxImageEffectPropTemporalClipAccess) &&
                       _state->object.Plugin().host->Profile().temporalClipAccess;
    _state->threadSafety = described.Text(kOfxImageEffectPluginRenderThreadSafety);
    _state->object.Perform(kOfxActionCreateInstance, nullptr, nullptr, "make an instance");
    try {
        UpdateClipPreferences(_state->object);
    } catch (...) {
        std::vector<HostMessage> messages;
        _state->object.Try(kOfxActionDestroyInstance, nullptr, nullptr, nullptr, messages);
        throw;
    }
}

EffectInstance::~EffectInstance() {
    try {
        EndSequence();
    } catch (const HostError&) {
        // The instance is going anyway.
    }
    try {
        std::vector<HostMessage> messages;
        _state->object.Try(kOfxActionDestroyInstance, nullptr, nullptr, nullptr, messages);
    } catch (const HostError&) {
        // As above.
    }
    _state.reset();
    MemoryPool::Shared().Trim();
}

const ClipFormat& EffectInstance::Format() const {
    return _state->object.Format();
}
double EffectInstance::RenderScale() const {
    return _state->object.RenderScale();
}
int EffectInstance::PictureWidth() const {
    return _state->object.Pictures().width;
}
int EffectInstance::PictureHeight() const {
    return _state->object.Pictures().height;
}

double EffectInstance::OutputFrameRate() const {
    return _state->object.Output().Properties().Double(kOfxImageEffectPropFrameRate);
}

double EffectInstance::OutputPixelAspect() const {
    return _state->object.Output().Properties().Double(kOfxImagePropPixelAspectRatio);
}

void EffectInstance::SetParameter(std::string_view name, std::string_view text) {
    InstanceObject& object = _state->object;
    Parameter* parameter = object.Parameters().Find(name);
    const bool isButton = parameter && std::string_view(parameter->Type().name) == kOfxParamTypePushButton;
    if (!parameter || (parameter->Type().kind == ValueKind::None && !isButton)) {
        std::string names;
        for (const auto& known : object.Parameters().All()) {
            if (known->Type().kind != ValueKind::None) {
                names.append(names.empty() ? "" : ", ").append(known->Name());
            }
        }
        throw HostError(fmt::format("there is no parameter \"{}\"; {} has {}", name, _state->plugin->Label(),
                                    names.empty() ? "none" : names));
    }
    if (!parameter->Properties().Int(kOfxParamPropEnabled)) {
        throw HostError(
            fmt::format("the effect has switched the parameter \"{}\" off: it cannot be changed now", name));
    }
    if (!isButton) {
        const OfxStatus status = parameter->Set(ParseValue(*parameter, text));
        if (status != kOfxStatOK) {
            throw HostError(fmt::format("the parameter \"{}\" does not take \"{}\"", name, text));
        }
    }
    object.NotifyChange(*parameter, kOfxChangeUserEdited);
    const auto slaves =
        object.Plugin().descriptor->Properties().Texts(kOfxImageEffectPropClipPreferencesSlaveParam);
    if (std::find(slaves.begin(), slaves.end(), name) != slaves.end()) {
        UpdateClipPreferences(object);
    }
}

std::vector<ParameterState> EffectInstance::Parameters() const {
    std::vector<ParameterState> states;
    for (const auto& parameter : _state->object.Parameters().All()) {
        if (parameter->Type().kind != ValueKind::None) {
            states.push_back(parameter->State());
        }
    }
    return states;
}

FramesNeeded EffectInstance::NeededFrames(int frame) {
    InstanceObject& object = _state->object;
    FramesNeeded needed{{frame, frame}, {{frame, frame}}};
    if (!_state->temporal) {
        return needed;
    }
    PropertySet inArgs;
    object.AddTime(inArgs, frame);
    PropertySet outArgs;
    const auto name = [](const Clip& clip) { return OfxNames::clipFrameRangePrefix + clip.Name(); };
    for (const auto& clip : object.Clips()) {
        if (!clip->IsOutput()) {
            outArgs.Define(Writable(DoubleRow(name(*clip).c_str(), 0, 0)));
            outArgs.SetDoubles(name(*clip), std::vector<double>(2, frame));
        }
    }
    const std::string purpose = fmt::format("tell the frames that frame {} needs", frame);
    object.Perform(kOfxImageEffectActionGetFramesNeeded, &inArgs, &outArgs, purpose);
    const auto times = outArgs.Numbers(name(object.Source()));
    needed.ranges.clear();
    for (std::size_t i = 0; i + 1 < times.size(); i += 2) {
        const auto first = FrameAt(std::floor(times[i]));
        const auto last = FrameAt(std::ceil(times[i + 1]));
        if (first && last && *first <= *last) {
            needed.ranges.push_back({*first, *last});
        }
    }
    if (needed.ranges.empty() || needed.ranges.size() * 2 != times.size()) {
        throw HostError(
            fmt::format("{} could not {}: it gave no proper ranges", _state->plugin->Label(), purpose));
    }
    needed.hull = needed.ranges.front();
    for (const FrameRange& range : needed.ranges) {
        needed.hull.first = std::min(needed.hull.first, range.first);
        needed.hull.last = std::max(needed.hull.last, range.last);
    }
    return needed;
}

std::optional<int> EffectInstance::IdentityFrame(int frame) {
    InstanceObject& object = _state->object;
    PropertySet inArgs;
    object.AddTime(inArgs, frame);
    object.AddScale(inArgs);
    _state->DefineWindow(inArgs);
    PropertySet outArgs;
    outArgs.Define(Writable(TextRow(kOfxPropName)));
    outArgs.Define(Writable(DoubleRow(kOfxPropTime, frame)));
    const std::string purpose = fmt::format("tell whether frame {} changes", frame);
    if (object.Perform(kOfxImageEffectActionIsIdentity, &inArgs, &outArgs, purpose) != kOfxStatOK) {
        return std::nullopt;
    }
    const std::string name = outArgs.Text(kOfxPropName);
    if (name != object.Source().Name()) {
        throw HostError(
            fmt::format("{} could not {}: it named the clip \"{}\"", _state->plugin->Label(), purpose, name));
    }
    const auto identical = FrameAt(outArgs.Double(kOfxPropTime));
    const bool exists = identical && *identical >= 0 && *identical < Format().frameCount;
    return exists ? identical : std::nullopt;
}

Rectangle EffectInstance::RegionOfDefinition(int frame) {
    InstanceObject& object = _state->object;
    PropertySet inArgs;
    object.AddTime(inArgs, frame);
    object.AddScale(inArgs);
    PropertySet outArgs;
    outArgs.Define(Writable(DoubleRow(kOfxImageEffectPropRegionOfDefinition, 0, 4)));
    outArgs.SetDoubles(kOfxImageEffectPropRegionOfDefinition,
                       {0, 0, Format().width * Format().pixelAspect, static_cast<double>(Format().height)});
    object.Perform(kOfxImageEffectActionGetRegionOfDefinition, &inArgs, &outArgs,
                   fmt::format("tell the region of frame {}", frame));
    const auto region = outArgs.Numbers(kOfxImageEffectPropRegionOfDefinition);
    return {region[0], region[1], region[2], region[3]};
}

std::map<std::string, Rectangle> EffectInstance::RegionsOfInterest(int frame) {
    return _state->QueryRegions(frame, nullptr);
}

std::map<std::string, Rectangle> EffectInstance::State::QueryRegions(int frame, RenderJob* job) {
    const ClipFormat& format = object.Format();
    const std::vector<double> whole = {0, 0, format.width * format.pixelAspect,
                                       static_cast<double>(format.height)};
    PropertySet inArgs;
    object.AddTime(inArgs, frame);
    object.AddScale(inArgs);
    inArgs.Define(DoubleRow(kOfxImageEffectPropRegionOfInterest, 0, 4));
    inArgs.SetDoubles(kOfxImageEffectPropRegionOfInterest, whole);
    PropertySet outArgs;
    const auto name = [](const Clip& clip) { return OfxNames::clipRegionPrefix + clip.Name(); };
    for (const auto& clip : object.Clips()) {
        if (!clip->IsOutput()) {
            outArgs.Define(Writable(DoubleRow(name(*clip).c_str(), 0, 4)));
            outArgs.SetDoubles(name(*clip), whole);
        }
    }
    if (UsesTiles()) {
        object.Perform(kOfxImageEffectActionGetRegionsOfInterest, &inArgs, &outArgs,
                       fmt::format("tell the regions that frame {} needs", frame), job);
    }
    std::map<std::string, Rectangle> regions;
    for (const auto& clip : object.Clips()) {
        if (!clip->IsOutput()) {
            const auto region = outArgs.Numbers(name(*clip));
            regions[clip->Name()] = {region[0], region[1], region[2], region[3]};
        }
    }
    return regions;
}

void EffectInstance::State::DefineWindow(PropertySet& arguments) {
    const PictureFormat& pictures = object.Pictures();
    arguments.Define(IntRow(kOfxImageEffectPropRenderWindow, 0, 4));
    arguments.SetInts(kOfxImageEffectPropRenderWindow, {0, 0, pictures.width, pictures.height});
    arguments.Define(TextRow(kOfxImageEffectPropFieldToRender, kOfxImageFieldNone));
}

void EffectInstance::State::AddRenderStatus(PropertySet& arguments) {
    arguments.Define(IntRow(kOfxImageEffectPropSequentialRenderStatus));
    arguments.Define(IntRow(kOfxImageEffectPropInteractiveRenderStatus));
    arguments.Define(TextRow(kOfxImageEffectPropNoSpatialAwareness, "false"));
    if (object.Plugin().host->Profile().deviceProperties) {
        arguments.Define(DeviceArgumentRows());
    }
}

std::unique_lock<std::mutex> EffectInstance::State::TakeTurn() {
    if (threadSafety == kOfxImageEffectRenderFullySafe) {
        return {};
    }
    return std::unique_lock(threadSafety == kOfxImageEffectRenderInstanceSafe ? instanceMutex : unsafeMutex);
}

void EffectInstance::State::Sequence(const char* action, int first, int last, RenderJob* job) {
    PropertySet inArgs;
    object.AddTime(inArgs, first);
    object.AddScale(inArgs);
    AddRenderStatus(inArgs);
    inArgs.Define(DoubleRow(kOfxImageEffectPropFrameRange, 0, 2));
    inArgs.SetDoubles(kOfxImageEffectPropFrameRange, {static_cast<double>(first), static_cast<double>(last)});
    inArgs.Define(DoubleRow(kOfxImageEffectPropFrameStep, 1));
    inArgs.Define(IntRow(kOfxPropIsInteractive));
    object.Perform(action, &inArgs, nullptr, fmt::format("prepare for frames {} to {}", first, last), job);
}

void EffectInstance::BeginSequence(int first, int last) {
    if (_state->sequenceOpen) {
        EndSequence();
    }
    _state->Sequence(kOfxImageEffectActionBeginSequenceRender, first, last, nullptr);
    _state->sequence = {first, last};
    _state->sequenceOpen = true;
}

void EffectInstance::EndSequence() {
    if (_state->sequenceOpen.exchange(false)) {
        _state->Sequence(kOfxImageEffectActionEndSequenceRender, _state->sequence.first,
                         _state->sequence.last, nullptr);
    }
}

OfxStatus EffectInstance::State::RenderFrame(RenderJob& job, std::vector<HostMessage>& messages) {
    PropertySet inArgs;
    object.AddTime(inArgs, job.Frame());
    object.AddScale(inArgs);
    DefineWindow(inArgs);
    AddRenderStatus(inArgs);
    inArgs.Define(IntRow(kOfxImageEffectPropRenderQualityDraft));
    return object.Try(kOfxImageEffectActionRender, &inArgs, nullptr, &job, messages);
}

void EffectInstance::State::Judge(RenderJob& job, OfxStatus status, std::vector<HostMessage> messages) {
    const int kept = job.TakeBackImages();
    leakedImages += kept;
    job.RethrowFailure();
    if (status != kOfxStatOK) {
        if (job.WasAborted()) {
            throw RenderAborted();
        }
        throw HostError(
            FailureText(plugin->Label(), fmt::format("render frame {}", job.Frame()), status, messages));
    }
    if (kept > 0) {
        throw HostError(fmt::format("{} kept {} of the images that it fetched for frame {}", plugin->Label(),
                                    kept, job.Frame()));
    }
    object.AddMessages(std::move(messages));
}

void EffectInstance::Render(int frame, const FrameProvider& provider, Picture& output,
                            const std::atomic<bool>* abort, const std::function<void(double)>& progress) {
    const PictureFormat& pictures = _state->object.Pictures();
    if (output.Width() != pictures.width || output.Height() != pictures.height ||
        output.Depth() != pictures.depth) {
        throw HostError("the output picture has another size or depth than the clip");
    }
    RenderJob job(pictures, frame, provider, output, abort, progress);
    const auto turn = _state->TakeTurn();
    if (job.WasAborted()) {
        throw RenderAborted();
    }
    const InstanceObject::ActiveJob active(_state->object, job);
    _state->QueryRegions(frame, &job);
    const bool isOwnSequence = !_state->sequenceOpen;
    if (isOwnSequence) {
        _state->Sequence(kOfxImageEffectActionBeginSequenceRender, frame, frame, &job);
    }
    std::vector<HostMessage> messages;
    const OfxStatus status = _state->RenderFrame(job, messages);
    if (isOwnSequence) {
        try {
            _state->Sequence(kOfxImageEffectActionEndSequenceRender, frame, frame, &job);
        } catch (const HostError&) {
            // Why the render failed says more.
            if (status == kOfxStatOK) {
                throw;
            }
        }
    }
    _state->Judge(job, status, std::move(messages));
}

bool EffectInstance::RendersConcurrently() const {
    return _state->threadSafety == kOfxImageEffectRenderFullySafe;
}

std::vector<HostMessage> EffectInstance::TakeMessages() {
    return _state->object.TakeMessages();
}
int EffectInstance::LeakedImages() const {
    return _state->leakedImages;
}

}  // namespace TQ::App
