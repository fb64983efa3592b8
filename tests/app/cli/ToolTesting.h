#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "app/media/MediaTesting.h"

namespace TQ::App {

struct ToolResult {
    int status;
    std::string output;
    std::string error;
};

inline std::string Content(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Runs the tool in a folder. `before` and `arguments` are shell text.
inline ToolResult RunTool(const TemporaryFolder& folder, const std::string& arguments,
                          const std::string& before = "") {
    const std::filesystem::path out = folder / ".out", err = folder / ".err";
    const std::string command = "cd '" + (folder / "").string() + "' && " + before +
                                " '" STEADYLUX_TOOL "' " + arguments + " >.out 2>.err </dev/null";
    const int status = std::system(command.c_str());
    ToolResult result{(status >> 8) & 0xff, Content(out), Content(err)};
    std::filesystem::remove(out);
    std::filesystem::remove(err);
    return result;
}

/// A soft clip whose brightness jumps from frame to frame.
inline void WriteFlicker(const std::filesystem::path& path, AVPixelFormat format, int width, int height,
                         int frames, const char* codec = "") {
    VideoOutput output = OutputOf(path, format, width, height, frames);
    output.codec = codec;
    const auto writer = CreateVideo(output);
    for (int i = 0; i < frames; ++i) {
        writer->Write(*SoftPicture(width, height, DepthOf(format), 0.02 * i + 0.1 * (i % 3)), {i, i, 1});
    }
    writer->Finish();
}

}  // namespace TQ::App
