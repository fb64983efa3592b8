#include "app/media/MediaError.h"

namespace TQ::App {

std::string Quoted(const std::filesystem::path& path) {
    std::string text = path.string();
    text.insert(text.begin(), '\'');
    text.push_back('\'');
    return text;
}

}  // namespace TQ::App
