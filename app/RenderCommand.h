#pragma once

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

namespace TQ::App {

/// What `steadylux render` was asked to do.
struct RenderOptions {
    std::filesystem::path input;
    std::filesystem::path output;
    std::string preset;
    std::vector<std::string> assignments;
    /// "A-B", empty for the whole clip.
    std::string frames;
    /// Frames per second of an image sequence, "24", "23.976" or "24000/1001"; empty for 25.
    std::string framesPerSecond;
    double scale = 1;
    /// "auto", "8", "16" or "float".
    std::string depth = "auto";
    std::string context = "filter";
    /// 0: as many as the machine has.
    int threads = 0;
    int jobs = 1;
    std::string codec;
    std::string codecOptions;
    std::filesystem::path plugin;
    /// Key of the application to pretend to be.
    std::string host = "steadylux";
    bool overwrite = false;
    std::filesystem::path statistics;
    bool quiet = false;
};

/// Renders a clip. Throws CommandError, MediaError, HostError, RenderAborted.
void RunRender(const RenderOptions& options, const std::atomic<bool>& interrupted);

}  // namespace TQ::App
