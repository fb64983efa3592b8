#include "app/media/PendingFile.h"

#include <cerrno>
#include <fstream>

#include "app/media/FFmpeg.h"
#include "platform/Platform.h"

namespace TQ::App {

namespace fs = std::filesystem;

fs::path TemporaryNameFor(const fs::path& final) {
    std::string name = ".";
    name += final.stem().string() + ".steadylux-" + std::to_string(Platform::ProcessId());
    return final.parent_path() / (name + final.extension().string());
}

void CheckOutput(const fs::path& final, bool overwrite) {
    std::error_code error;
    const std::string name = Quoted(final);
    const fs::path folder = final.parent_path().empty() ? fs::path(".") : final.parent_path();
    if (!fs::is_directory(folder, error)) {
        throw MediaError(MediaFailure::OutputUnwritable,
                         name + " cannot be written: there is no folder " + Quoted(folder));
    }
    if (fs::exists(final, error)) {
        if (!fs::is_regular_file(final, error)) {
            throw MediaError(MediaFailure::OutputUnwritable, name + " is not a regular file");
        }
        if (!overwrite) {
            throw MediaError(MediaFailure::OutputExists, name + " exists; --overwrite replaces it");
        }
    }
    const fs::path trial = TemporaryNameFor(final);
    errno = 0;
    const bool opened = static_cast<bool>(std::ofstream(trial));
    const int code = errno;
    fs::remove(trial, error);
    if (!opened) {
        throw WriteFailure(final, AVERROR(code ? code : EACCES));
    }
}

void GiveFinalName(const fs::path& final, bool overwrite) {
    std::error_code error;
    if (!overwrite && fs::exists(final, error)) {
        throw MediaError(MediaFailure::OutputExists, Quoted(final) + " exists; --overwrite replaces it");
    }
    try {
        Platform::ReplaceFile(TemporaryNameFor(final), final);
    } catch (const fs::filesystem_error& failure) {
        throw MediaError(MediaFailure::OutputUnwritable,
                         Quoted(final) + " cannot be written: " + failure.code().message());
    }
}

MediaError WriteFailure(const fs::path& final, int code) {
    const std::string name = Quoted(final);
    if (code == AVERROR(ENOSPC) || code == AVERROR(EFBIG)) {
        return {MediaFailure::DiskFull, "the disk is full; " + name + " was not written"};
    }
    return {MediaFailure::OutputUnwritable, name + " cannot be written: " + ErrorText(code)};
}

}  // namespace TQ::App
