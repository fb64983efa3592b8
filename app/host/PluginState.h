#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "app/host/Action.h"
#include "app/host/Effect.h"
#include "app/host/EffectObject.h"
#include "app/host/HostRecord.h"
#include "platform/Platform.h"

namespace TQ::App {

/// A loaded plug-in. `host` lives for ever, `record` as long as `library`.
struct EffectPlugin::State {
    struct Context {
        std::unique_ptr<EffectObject> object;
        ContextDescription description;
    };

    /// Calls the plug-in's entry. An exception that it lets out becomes a HostError.
    OfxStatus Call(const char* action, EffectObject* object, PropertySet* inArgs, PropertySet* outArgs) const;
    /// The same within an action of its own; throws HostError unless the status is 0, or the default where
    /// that is allowed.
    void Require(const char* action, EffectObject* object, PropertySet* inArgs, bool allowDefault,
                 const std::string& purpose) const;
    /// How messages name it: the label, before the description the file.
    std::string DisplayName() const;
    Context& ContextOf(const std::string& fullName);
    /// Loads and describes; on a description that is there already, once more.
    void Describe();
    /// Nothing when not loaded, or when another one will do it.
    void Unload();

    std::filesystem::path path;
    Platform::SharedLibrary library;
    OfxPlugin* record = nullptr;
    HostRecord* host = nullptr;
    bool loaded = false;
    /// The plug-in that this one is loaded again of: holds the library, and unloads.
    std::shared_ptr<EffectPlugin> original;
    std::unique_ptr<EffectObject> descriptor;
    std::mutex contextMutex;
    std::map<std::string, Context> contexts;
};

/// One sentence about a call that failed: the plug-in's own messages if it sent any, else what the status
/// means.
std::string FailureText(const std::string& plugin, const std::string& purpose, OfxStatus status,
                        const std::vector<HostMessage>& messages);

/// A new description object with the properties that this host gives it.
std::unique_ptr<EffectObject> NewDescriptor(const EffectPlugin::State& plugin);

}  // namespace TQ::App
