#pragma once

#include <filesystem>
#include <vector>

namespace TQ::Platform {

/// The entries of a list of folders as environment variables hold it, in their order; empty entries are left
/// out.
std::vector<std::filesystem::path> SplitFolderList(const std::filesystem::path::string_type& list,
                                                   std::filesystem::path::value_type separator);

}  // namespace TQ::Platform
