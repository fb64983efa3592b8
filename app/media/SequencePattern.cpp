#include "app/media/SequencePattern.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <map>

#include "app/media/MediaError.h"

namespace TQ::App {

namespace fs = std::filesystem;

namespace {

constexpr const char* stillExtensions[] = {".png", ".tif", ".tiff", ".dpx", ".exr",  ".jpg", ".jpeg", ".bmp",
                                           ".tga", ".ppm", ".pgm",  ".pam", ".webp", ".jp2", ".j2k",  ".sgi"};

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Where a pattern's file name has the number.
struct NumberPlace {
    std::size_t begin;
    std::size_t end;
    std::size_t digits;
};

// The first %d, %0Nd or run of # from `from` on.
std::optional<NumberPlace> FindPlace(const std::string& name, std::size_t from) {
    for (std::size_t at = from; at < name.size(); ++at) {
        if (name[at] == '#') {
            const std::size_t end = std::min(name.find_first_not_of('#', at), name.size());
            return NumberPlace{at, end, end - at};
        }
        if (name.compare(at, 2, "%d") == 0) {
            return NumberPlace{at, at + 2, 0};
        }
        if (name.compare(at, 2, "%0") == 0 && at + 3 < name.size() && IsDigit(name[at + 2]) &&
            name[at + 3] == 'd') {
            return NumberPlace{at, at + 4, static_cast<std::size_t>(name[at + 2] - '0')};
        }
    }
    return std::nullopt;
}

}  // namespace

bool IsStillImage(const fs::path& path) {
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::find(std::begin(stillExtensions), std::end(stillExtensions), extension) !=
           std::end(stillExtensions);
}

std::optional<SequencePattern> SequencePattern::Parse(const fs::path& path) {
    const std::string name = path.filename().string();
    const std::optional<NumberPlace> place = FindPlace(name, 0);
    if (!place || FindPlace(name, place->end)) {
        return std::nullopt;
    }
    SequencePattern pattern;
    pattern._folder = path.parent_path();
    pattern._before = name.substr(0, place->begin);
    pattern._after = name.substr(place->end);
    pattern._digits = place->digits;
    return pattern;
}

SequencePattern SequencePattern::FromFolder(const fs::path& folder) {
    std::map<std::pair<std::string, std::string>, std::vector<std::string>>
        sequences;  // texts around the number
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (!IsStillImage(entry.path()) || name[0] == '.') {
            continue;
        }
        const std::string stem = entry.path().stem().string();
        std::size_t begin = stem.size();
        while (begin > 0 && IsDigit(stem[begin - 1])) {
            --begin;
        }
        if (begin < stem.size()) {
            sequences[{stem.substr(0, begin), name.substr(stem.size())}].push_back(stem.substr(begin));
        }
    }
    if (sequences.size() != 1) {
        throw MediaError(MediaFailure::Input,
                         Quoted(folder) + (sequences.empty() ? " holds no numbered images"
                                                             : " holds more than one image sequence; name "
                                                               "one by its pattern, such as name.%04d.png"));
    }
    const auto& [texts, numbers] = *sequences.begin();
    const std::size_t length = numbers.front().size();
    const auto sameLength = [length](const std::string& number) { return number.size() == length; };
    SequencePattern pattern;
    pattern._folder = folder;
    pattern._before = texts.first;
    pattern._after = texts.second;
    pattern._digits = std::all_of(numbers.begin(), numbers.end(), sameLength) ? numbers.front().size() : 0;
    return pattern;
}

fs::path SequencePattern::FileOf(std::int64_t number) const {
    std::string digits = std::to_string(number);
    if (digits.size() < _digits) {
        digits.insert(0, _digits - digits.size(), '0');
    }
    return _folder / (_before + digits + _after);
}

std::optional<std::int64_t> SequencePattern::NumberOf(const std::string& name) const {
    if (name.size() <= _before.size() + _after.size() || name.compare(0, _before.size(), _before) != 0 ||
        name.compare(name.size() - _after.size(), _after.size(), _after) != 0) {
        return std::nullopt;
    }
    const char* begin = name.data() + _before.size();
    const char* end = name.data() + name.size() - _after.size();
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(begin, end, number);
    if (error != std::errc() || stop != end || number < 0 || FileOf(number).filename().string() != name) {
        return std::nullopt;
    }
    return number;
}

std::vector<std::int64_t> SequencePattern::ExistingNumbers() const {
    std::vector<std::int64_t> numbers;
    std::error_code error;
    for (const fs::directory_entry& entry :
         fs::directory_iterator(_folder.empty() ? fs::path(".") : _folder, error)) {
        if (const auto number = NumberOf(entry.path().filename().string())) {
            numbers.push_back(*number);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

}  // namespace TQ::App
