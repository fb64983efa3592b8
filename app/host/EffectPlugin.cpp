#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "app/host/PluginFile.h"
#include "app/host/PluginState.h"
#include "app/host/PropertyTables.h"
#include "host/ofx/abi/OfxImageEffect.h"

namespace TQ::App {
namespace {

constexpr std::string_view contextPrefix = WithoutEnd(kOfxImageEffectContextFilter, "Filter");

struct DepthRow {
    const char* name;
    SampleDepth depth;
};

constexpr DepthRow depthRows[] = {
    {kOfxBitDepthByte, SampleDepth::Byte},
    {kOfxBitDepthShort, SampleDepth::Short},
    {kOfxBitDepthFloat, SampleDepth::Float},
};

std::string Quoted(const std::filesystem::path& path) {
    return fmt::format("\"{}\"", path.string());
}

/// Why a record cannot be used; empty when it can.
std::string Fault(const OfxPlugin* plugin) {
    if (!plugin) {
        return "its plug-in record is missing";
    }
    if (!plugin->pluginApi || !plugin->pluginIdentifier || !*plugin->pluginIdentifier) {
        return "its plug-in record has no name";
    }
    if (std::string_view(plugin->pluginApi) != kOfxImageEffectPluginApi) {
        return fmt::format("it is made for the interface \"{}\", not for image effects", plugin->pluginApi);
    }
    if (plugin->apiVersion != kOfxImageEffectPluginApiVersion) {
        return fmt::format("it needs version {} of the image effect interface", plugin->apiVersion);
    }
    if (!plugin->setHost || !plugin->mainEntry) {
        return "its plug-in record has no entry";
    }
    return {};
}

/// The first usable record (with that identifier, if it is not empty).
OfxPlugin* ChooseRecord(const std::filesystem::path& path, const Platform::SharedLibrary& library,
                        const std::string& identifier) {
    auto* count = reinterpret_cast<OfxGetNumberOfPluginsFunction*>(library.Symbol("OfxGetNumberOfPlugins"));
    auto* get = reinterpret_cast<OfxGetPluginFunction*>(library.Symbol("OfxGetPlugin"));
    if (!count || !get) {
        throw HostError(fmt::format("{} is no OpenFX plug-in: it exports no {}", Quoted(path),
                                    count ? "OfxGetPlugin" : "OfxGetNumberOfPlugins"));
    }
    const int plugins = count();
    std::string fault = "it holds no plug-in";
    for (int i = 0; i < plugins; ++i) {
        OfxPlugin* record = get(i);
        const std::string recordFault = Fault(record);
        if (!recordFault.empty()) {
            fault = recordFault;
        } else if (identifier.empty() || identifier == record->pluginIdentifier) {
            return record;
        } else {
            fault = fmt::format("it holds no plug-in \"{}\"", identifier);
        }
    }
    throw HostError(fmt::format("{} cannot be used: {}", Quoted(path), fault));
}

void CheckDescription(const EffectPlugin& plugin) {
    const auto refuse = [&](const char* reason) {
        throw HostError(fmt::format("{} cannot be used: it {}", Quoted(plugin.BinaryPath()), reason));
    };
    if (plugin.Contexts().empty()) {
        refuse("names no context that it can be used in");
    }
    if (plugin.Depths().empty()) {
        refuse("takes no pictures of a depth that the host has");
    }
}

}  // namespace

std::string ShortContextName(std::string_view context) {
    if (context.substr(0, contextPrefix.size()) != contextPrefix || context == contextPrefix) {
        return std::string(context);
    }
    std::string name(context.substr(contextPrefix.size()));
    name[0] = static_cast<char>(name[0] >= 'A' && name[0] <= 'Z' ? name[0] - 'A' + 'a' : name[0]);
    return name;
}

std::string FullContextName(std::string_view context) {
    if (context.empty() || context.substr(0, contextPrefix.size()) == contextPrefix) {
        return std::string(context);
    }
    std::string name(context);
    name[0] = static_cast<char>(name[0] >= 'a' && name[0] <= 'z' ? name[0] - 'a' + 'A' : name[0]);
    return std::string(contextPrefix) + name;
}

std::string FailureText(const std::string& plugin, const std::string& purpose, OfxStatus status,
                        const std::vector<HostMessage>& messages) {
    std::string reason;
    for (const HostMessage& message : messages) {
        if (message.kind != "log" && !message.text.empty()) {
            reason.append(reason.empty() ? "" : "; ").append(message.text);
        }
    }
    return fmt::format("{} could not {}: {}", plugin, purpose, reason.empty() ? StatusText(status) : reason);
}

std::unique_ptr<EffectObject> NewDescriptor(const EffectPlugin::State& plugin) {
    auto object = std::make_unique<EffectObject>(EffectDescriptorRows());
    if (plugin.host->Profile().deviceProperties) {
        object->Properties().Define(DeviceSupportRows());
    }
    object->Properties().SetText(kOfxPluginPropFilePath, plugin.path.string());
    return object;
}

OfxStatus EffectPlugin::State::Call(const char* action, EffectObject* object, PropertySet* inArgs,
                                    PropertySet* outArgs) const {
    try {
        return record->mainEntry(action, object ? object->AsHandle() : nullptr,
                                 inArgs ? inArgs->AsHandle() : nullptr,
                                 outArgs ? outArgs->AsHandle() : nullptr);
    } catch (...) {
        throw HostError(fmt::format("{} let an exception out of {}", DisplayName(), action));
    }
}

void EffectPlugin::State::Require(const char* action, EffectObject* object, PropertySet* inArgs,
                                  bool allowDefault, const std::string& purpose) const {
    Action scope(action, nullptr);
    const OfxStatus status = Call(action, object, inArgs, nullptr);
    const auto messages = scope.TakeMessages();
    if (status != kOfxStatOK && !(allowDefault && status == kOfxStatReplyDefault)) {
        throw HostError(FailureText(DisplayName(), purpose, status, messages));
    }
}

std::string EffectPlugin::State::DisplayName() const {
    const std::string label = descriptor ? descriptor->Properties().Text(kOfxPropLabel) : std::string();
    return label.empty() ? Quoted(path) : label;
}

EffectPlugin::State::Context& EffectPlugin::State::ContextOf(const std::string& fullName) {
    std::lock_guard lock(contextMutex);
    const auto known = contexts.find(fullName);
    if (known != contexts.end()) {
        return known->second;
    }
    const auto offered = descriptor->Properties().Texts(kOfxImageEffectPropSupportedContexts);
    if (std::find(offered.begin(), offered.end(), fullName) == offered.end()) {
        throw HostError(fmt::format("{} cannot be used in the context \"{}\"", DisplayName(),
                                    ShortContextName(fullName)));
    }
    Context context;
    context.object = NewDescriptor(*this);
    context.object->Properties().CopyFrom(descriptor->Properties());
    PropertySet inArgs;
    inArgs.Define(TextRow(kOfxImageEffectPropContext, fullName.c_str()));
    Require(kOfxImageEffectActionDescribeInContext, context.object.get(), &inArgs, false,
            fmt::format("describe itself for the context \"{}\"", ShortContextName(fullName)));
    context.object->Close();
    if (!context.object->FindClip(kOfxImageEffectOutputClipName)) {
        throw HostError(fmt::format("{} cannot be used: it defines no output clip", DisplayName()));
    }
    for (const auto& clip : context.object->Clips()) {
        context.description.clips.push_back(clip->Describe());
    }
    for (const auto& parameter : context.object->Parameters().All()) {
        context.description.parameters.push_back(parameter->Describe());
    }
    return contexts.emplace(fullName, std::move(context)).first->second;
}

std::shared_ptr<EffectPlugin> EffectPlugin::Load(const std::filesystem::path& path,
                                                 const HostProfile& profile, const std::string& identifier) {
    auto state = std::make_unique<State>();
    state->path = FindPluginBinary(path);
    try {
        state->library = Platform::SharedLibrary(std::filesystem::absolute(state->path));
    } catch (const std::runtime_error& error) {
        throw HostError(fmt::format("{} cannot be loaded: {}", Quoted(state->path), error.what()));
    }
    state->record = ChooseRecord(state->path, state->library, identifier);
    state->host = &HostRecord::For(profile);
    state->record->setHost(state->host->Record());
    std::shared_ptr<EffectPlugin> plugin(new EffectPlugin(std::move(state)));
    State& loading = *plugin->_state;
    loading.Describe();
    if (profile.describesTwice) {
        loading.Unload();
        loading.Describe();
    }
    CheckDescription(*plugin);
    return plugin;
}

std::shared_ptr<EffectPlugin> EffectPlugin::LoadAgain(const std::shared_ptr<EffectPlugin>& plugin) {
    auto state = std::make_unique<State>();
    state->path = plugin->_state->path;
    state->record = plugin->_state->record;
    state->host = plugin->_state->host;
    state->original = plugin;
    std::shared_ptr<EffectPlugin> again(new EffectPlugin(std::move(state)));
    again->_state->Describe();
    return again;
}

void EffectPlugin::State::Describe() {
    Require(kOfxActionLoad, nullptr, nullptr, !host->Profile().loadNeedsAnswer, "start");
    loaded = true;
    if (!descriptor) {
        descriptor = NewDescriptor(*this);
        // Clips and parameters belong to a context.
        descriptor->Close();
    }
    Require(kOfxActionDescribe, descriptor.get(), nullptr, false, "describe itself");
}

void EffectPlugin::State::Unload() {
    if (!loaded || original) {
        return;
    }
    loaded = false;
    try {
        Action scope(kOfxActionUnload, nullptr);
        Call(kOfxActionUnload, nullptr, nullptr, nullptr);
    } catch (const HostError&) {
        // It is going anyway.
    }
}

EffectPlugin::EffectPlugin(std::unique_ptr<State> state) : _state(std::move(state)) {
}

EffectPlugin::~EffectPlugin() {
    _state->Unload();
}

const std::filesystem::path& EffectPlugin::BinaryPath() const {
    return _state->path;
}
std::string EffectPlugin::Identifier() const {
    return _state->record->pluginIdentifier;
}

std::string EffectPlugin::Version() const {
    return fmt::format("{}.{}", _state->record->pluginVersionMajor, _state->record->pluginVersionMinor);
}

std::string EffectPlugin::Label() const {
    return _state->DisplayName();
}

std::string EffectPlugin::Grouping() const {
    return _state->descriptor->Properties().Text(kOfxImageEffectPluginPropGrouping);
}

std::string EffectPlugin::Description() const {
    return _state->descriptor->Properties().Text(kOfxPropPluginDescription);
}

std::vector<std::string> EffectPlugin::Contexts() const {
    auto contexts = _state->descriptor->Properties().Texts(kOfxImageEffectPropSupportedContexts);
    for (std::string& context : contexts) {
        context = ShortContextName(context);
    }
    return contexts;
}

bool EffectPlugin::SupportsContext(std::string_view context) const {
    const auto contexts = Contexts();
    return std::find(contexts.begin(), contexts.end(), ShortContextName(context)) != contexts.end();
}

std::vector<SampleDepth> EffectPlugin::Depths() const {
    const std::vector<SampleDepth>& known = _state->host->Profile().depths;
    std::vector<SampleDepth> depths;
    for (const auto& name : _state->descriptor->Properties().Texts(kOfxImageEffectPropSupportedPixelDepths)) {
        for (const DepthRow& row : depthRows) {
            if (name == row.name && std::find(known.begin(), known.end(), row.depth) != known.end()) {
                depths.push_back(row.depth);
            }
        }
    }
    return depths;
}

bool EffectPlugin::SupportsDepth(SampleDepth depth) const {
    const auto depths = Depths();
    return std::find(depths.begin(), depths.end(), depth) != depths.end();
}

const ContextDescription& EffectPlugin::Describe(std::string_view context) {
    return _state->ContextOf(FullContextName(context)).description;
}

const char* DepthName(SampleDepth depth) {
    return std::find_if(std::begin(depthRows), std::end(depthRows),
                        [depth](const DepthRow& row) { return row.depth == depth; })
        ->name;
}

}  // namespace TQ::App
