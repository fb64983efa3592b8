#pragma once

#include <filesystem>

#include "app/media/MediaError.h"

namespace TQ::App {

/// The name beside `final` under which it is written first.
std::filesystem::path TemporaryNameFor(const std::filesystem::path& final);

/// Throws MediaError: OutputUnwritable when the folder does not exist or takes no file, OutputExists when a
/// file has the name and `overwrite` is false (a folder of that name is never replaced).
void CheckOutput(const std::filesystem::path& final, bool overwrite);

/// Gives the temporary file its final name. Without `overwrite` an existing file (that came since the check)
/// is kept and OutputExists thrown.
void GiveFinalName(const std::filesystem::path& final, bool overwrite);

/// The failure for a code of FFmpeg or a negated errno that came from writing.
MediaError WriteFailure(const std::filesystem::path& final, int code);

}  // namespace TQ::App
