#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace TQ::App {

/// True when the extension (with or without the dot, any case) is that of a file type with one picture per
/// file.
bool IsStillImage(const std::filesystem::path& path);

/// The names of an image sequence: a text, a number of at least `digits` digits, a text.
class SequencePattern {
  public:
    /// Reads "name.%04d.png", "name.%d.png" or "name.####.png"; none when the file name holds no such place,
    /// or two.
    static std::optional<SequencePattern> Parse(const std::filesystem::path& path);
    /// The one numbered sequence of images in a folder. Throws MediaError(Input) when there is none or
    /// several.
    static SequencePattern FromFolder(const std::filesystem::path& folder);

    std::filesystem::path FileOf(std::int64_t number) const;
    /// Numbers of the files that exist, ascending.
    std::vector<std::int64_t> ExistingNumbers() const;
    const std::filesystem::path& Folder() const { return _folder; }

  private:
    std::optional<std::int64_t> NumberOf(const std::string& name) const;

    std::filesystem::path _folder;
    std::string _before;
    std::string _after;
    std::size_t _digits = 0;
};

}  // namespace TQ::App
