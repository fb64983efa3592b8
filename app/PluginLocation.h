#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "app/host/Effect.h"

namespace TQ::App {

/// The bundle to load: `given` when it is not empty, else SteadyLux.ofx.bundle beside this program, one
/// folder up, or in the folders where OpenFX plug-ins are installed. Throws CommandError(Plugin) when there
/// is none.
std::filesystem::path FindPlugin(const std::filesystem::path& given);

/// Finds and loads it, as the application `host` (the key of a known host) would. Throws CommandError,
/// HostError.
std::shared_ptr<EffectPlugin> LoadPlugin(const std::filesystem::path& given,
                                         const std::string& host = "steadylux");

}  // namespace TQ::App
