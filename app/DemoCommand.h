#pragma once

#include <atomic>
#include <filesystem>
#include <string>

namespace TQ::App {

/// Makes the demonstration of one kind, of all when `kind` is empty: the clip before, after and in truth as
/// videos, a picture that sums it up, and the figures on standard output. Files of the same names in `folder`
/// are replaced. Throws CommandError, MediaError, HostError, RenderAborted.
void RunDemo(const std::string& kind, const std::filesystem::path& folder,
             const std::filesystem::path& plugin, bool quiet, const std::atomic<bool>& interrupted);

}  // namespace TQ::App
