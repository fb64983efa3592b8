#include "platform/Platform.h"

#include <algorithm>
#include <utility>

#include "platform/FolderList.h"

namespace TQ::Platform {

SharedLibrary::SharedLibrary(SharedLibrary&& other) noexcept
    : _handle(std::exchange(other._handle, nullptr)) {
}

SharedLibrary& SharedLibrary::operator=(SharedLibrary&& other) noexcept {
    SharedLibrary moved(std::move(other));
    std::swap(_handle, moved._handle);
    return *this;
}

std::vector<std::filesystem::path> SplitFolderList(const std::filesystem::path::string_type& list,
                                                   std::filesystem::path::value_type separator) {
    std::vector<std::filesystem::path> folders;
    std::size_t begin = 0;
    while (begin <= list.size()) {
        const std::size_t end = std::min(list.find(separator, begin), list.size());
        if (end > begin) {
            folders.emplace_back(list.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return folders;
}

}  // namespace TQ::Platform
