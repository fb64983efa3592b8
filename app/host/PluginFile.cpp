#include "app/host/PluginFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "app/host/HostError.h"
#include "platform/Platform.h"

namespace TQ::App {
namespace {

namespace fs = std::filesystem;

constexpr const char* binaryExtension = ".ofx";

/// The bundle's own name first ("Name.ofx" in "Name.ofx.bundle"), else the first binary in the folder.
fs::path BinaryIn(const fs::path& folder, const fs::path& ownName) {
    std::error_code error;
    if (fs::is_regular_file(folder / ownName, error)) {
        return folder / ownName;
    }
    std::vector<fs::path> binaries;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().extension() == binaryExtension && entry.is_regular_file(error)) {
            binaries.push_back(entry.path());
        }
    }
    const auto first = std::min_element(binaries.begin(), binaries.end());
    return first == binaries.end() ? fs::path() : *first;
}

}  // namespace

fs::path FindPluginBinary(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) {
        throw HostError(fmt::format("there is no plug-in at \"{}\"", path.string()));
    }
    if (!fs::is_directory(status)) {
        return path;
    }
    const fs::path bundle = path.has_filename() ? path : path.parent_path();
    const fs::path folder = bundle / "Contents" / Platform::BundleArchitecture();
    const fs::path binary = BinaryIn(folder, bundle.filename().stem());
    if (binary.empty()) {
        throw HostError(
            fmt::format("\"{}\" is no plug-in bundle for this system: there is no binary in \"{}\"",
                        bundle.string(), folder.string()));
    }
    return binary;
}

}  // namespace TQ::App
