#pragma once

#include <filesystem>
#include <string>

namespace TQ::App {

// Commands that print what a plug-in says of itself. All throw CommandError, HostError.

/// Number and name of every entry of the preset menu; separators as headings.
void RunPresets(const std::filesystem::path& plugin);
/// Identity, contexts, depths and every parameter with its range, options and default; as JSON if wanted.
void RunDescribe(const std::filesystem::path& plugin, const std::string& host, bool json);
void RunVersion();

}  // namespace TQ::App
