#pragma once

#include <filesystem>

namespace TQ::App {

/// The binary of a bundle folder for this system, or the file itself when `path` is one. Throws HostError
/// when there is no such thing.
std::filesystem::path FindPluginBinary(const std::filesystem::path& path);

}  // namespace TQ::App
