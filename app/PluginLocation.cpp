#include "app/PluginLocation.h"

#include <vector>

#include "app/ExitStatus.h"
#include "app/media/MediaError.h"
#include "platform/Platform.h"

namespace TQ::App {

namespace fs = std::filesystem;

fs::path FindPlugin(const fs::path& given) {
    std::error_code error;
    if (!given.empty()) {
        if (!fs::exists(given, error)) {
            throw CommandError(ExitStatus::Plugin, "there is no plug-in at " + Quoted(given));
        }
        return given;
    }
    const char* bundle = "SteadyLux.ofx.bundle";
    const fs::path folder = Platform::ExecutablePath().parent_path();
    std::vector<fs::path> places = {folder, folder.parent_path(),
                                    folder.parent_path() / "lib" / "OFX" / "Plugins"};
    for (const fs::path& installed : Platform::PluginFolders()) {
        places.push_back(installed);
    }
    for (const fs::path& place : places) {
        if (fs::exists(place / bundle, error)) {
            return place / bundle;
        }
    }
    throw CommandError(ExitStatus::Plugin,
                       std::string(bundle) +
                           " is neither beside steadylux nor in a plug-in folder; --plugin says "
                           "where it is");
}

std::shared_ptr<EffectPlugin> LoadPlugin(const fs::path& given, const std::string& host) {
    const HostProfile* profile = FindHost(host);
    if (profile == nullptr) {
        throw CommandError(ExitStatus::Usage, "there is no known application " + Quoted(host));
    }
    return EffectPlugin::Load(FindPlugin(given), *profile);
}

}  // namespace TQ::App
