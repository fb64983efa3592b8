#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "app/host/InstanceState.h"
#include "app/host/MemoryPool.h"
#include "app/host/PropertyTables.h"

namespace TQ::App {
namespace {

/// Frames beyond this are a plug-in's mistake, not a wish.
constexpr double farthestFrame = 1e9;

/// The frame that a time means; none for one that is no number or beyond all clips.
std::optional<int> FrameAt(double time) {
    const double frame = std::floor(time + 0.5);
    return std::abs(frame) <= farthestFrame ? std::optional<int>(static_cast<int>(frame)) : std::nullopt;
}

void CheckFormat(const EffectPlugin& plugin, const HostProfile& profile, const ClipFormat& format,
                 double renderScale) {
    const bool isSound = format.width >= 1 && format.height >= 1 && format.pixelAspect > 0 &&
                         format.frameRate > 0 && format.frameCount >= 1;
    if (!isSound || !(renderScale > 0 && renderScale <= 1)) {
        throw HostError("a clip needs a size, a frame, a rate, a pixel aspect and a scale of at most 1");
    }
    if (!plugin.SupportsDepth(format.depth)) {
        throw HostError(fmt::format("{} does not take pictures of depth \"{}\", or the host {} has none",
                                    plugin.Label(), DepthName(format.depth), profile.label));
    }
}

void CheckContext(const HostProfile& profile, std::string_view context) {
    const auto& known = profile.contexts;
    if (std::find(known.begin(), known.end(), ShortContextName(context)) == known.end()) {
        throw HostError(fmt::format("the host {} does not know the context \"{}\"", profile.label,
                                    ShortContextName(context)));
    }
}

}  // namespace

int ScaledSize(int size, double renderScale) {
    // 10 * 0.7 is a little more than 7 in binary; such a remainder is no pixel.
    constexpr double remainder = 1e-6;
    return std::max(1, static_cast<int>(std::ceil(size * renderScale - remainder)));
}

EffectInstance::EffectInstance(std::shared_ptr<EffectPlugin> plugin, std::string_view context,
                               const ClipFormat& format, double renderScale) {
    const HostProfile& profile = plugin->Internals().host->Profile();
    CheckFormat(*plugin, profile, format, renderScale);
    CheckContext(profile, context);
    _state = std::make_unique<State>(std::move(plugin), FullContextName(context), format, renderScale);
    const PropertySet& described = _state->plugin->Internals().descriptor->Properties();
    _state->temporal = described.Int(kOfxImageEffectPropTemporalClipAccess) &&
                       _state->object.Plugin().host->Profile().temporalClipAccess;
    _state->threadSafety = described.Text(kOfxImageEffectPluginRenderThreadSafety);
    _state->object.Perform(kOfxActionCreateInstance, nullptr, nullptr, "make an instance");
    try {
        UpdateClipPreferences(_state->object);
        Settle();
    } catch (...) {
        std::vector<HostMessage> messages;
        _state->object.Try(kOfxActionDestroyInstance, nullptr, nullptr, nullptr, messages);
        throw;
    }
}

void EffectInstance::Settle() {
    InstanceObject& object = _state->object;
    const HostProfile& profile = object.Plugin().host->Profile();
    for (const auto& parameter : object.Parameters().All()) {
        if (profile.announcesChange && parameter->Type().kind != ValueKind::None) {
            object.NotifyChange(*parameter, kOfxChangeUserEdited);
            break;
        }
    }
    Ask(profile.instanceQueries, 0);
}

void EffectInstance::Ask(const std::vector<std::string>& queries, int frame) {
    struct QueryRow {
        const char* action;
        void (*ask)(EffectInstance&, int frame);
    };
    static constexpr QueryRow rows[] = {
        {kOfxImageEffectActionGetRegionOfDefinition,
         [](EffectInstance& i, int f) { i.RegionOfDefinition(f); }},
        {kOfxImageEffectActionIsIdentity, [](EffectInstance& i, int f) { i.IdentityFrame(f); }},
        {kOfxImageEffectActionGetFramesNeeded, [](EffectInstance& i, int f) { i.NeededFrames(f); }},
        {kOfxImageEffectActionGetTimeDomain, [](EffectInstance& i, int) { i.TimeDomain(); }},
    };
    for (const QueryRow& row : rows) {
        if (std::find(queries.begin(), queries.end(), row.action) != queries.end()) {
            row.ask(*this, frame);
        }
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
    // A parameter that the effect has greyed out is set like any other: here is no window to grey it out in.
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
    _state->DefineWindow(inArgs, object.Pictures().whole);
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
    const OfxRectD whole = object.WholeRegion();
    PropertySet outArgs;
    outArgs.Define(Writable(DoubleRow(kOfxImageEffectPropRegionOfDefinition, 0, 4)));
    outArgs.SetDoubles(kOfxImageEffectPropRegionOfDefinition, {whole.x1, whole.y1, whole.x2, whole.y2});
    object.Perform(kOfxImageEffectActionGetRegionOfDefinition, &inArgs, &outArgs,
                   fmt::format("tell the region of frame {}", frame));
    const auto region = outArgs.Numbers(kOfxImageEffectPropRegionOfDefinition);
    return {region[0], region[1], region[2], region[3]};
}

FrameRange EffectInstance::TimeDomain() {
    InstanceObject& object = _state->object;
    const OfxRangeD whole = object.TimeBounds();
    PropertySet outArgs;
    outArgs.Define(Writable(DoubleRow(kOfxImageEffectPropFrameRange, 0, 2)));
    outArgs.SetDoubles(kOfxImageEffectPropFrameRange, {whole.min, whole.max});
    const std::string purpose = "tell the frames that it has";
    object.Perform(kOfxImageEffectActionGetTimeDomain, nullptr, &outArgs, purpose);
    const auto first = FrameAt(outArgs.Double(kOfxImageEffectPropFrameRange, 0));
    const auto last = FrameAt(outArgs.Double(kOfxImageEffectPropFrameRange, 1));
    if (!first || !last || *first > *last) {
        throw HostError(
            fmt::format("{} could not {}: it gave no proper range", _state->plugin->Label(), purpose));
    }
    return {*first, *last};
}

std::map<std::string, Rectangle> EffectInstance::RegionsOfInterest(int frame) {
    const auto regions = _state->QueryRegions(frame, _state->object.WholeRegion(), nullptr);
    std::map<std::string, Rectangle> rectangles;
    for (const auto& [clip, region] : regions) {
        rectangles[clip] = {region.x1, region.y1, region.x2, region.y2};
    }
    return rectangles;
}

std::vector<HostMessage> EffectInstance::TakeMessages() {
    return _state->object.TakeMessages();
}
int EffectInstance::LeakedImages() const {
    return _state->leakedImages;
}

}  // namespace TQ::App
