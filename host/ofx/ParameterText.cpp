// Parameter files: text lines "label: value".

#include <fstream>
#include <locale>
#include <optional>
#include <sstream>

#include "host/ofx/Parameters.h"
#include "ip/records/Exception.h"
#include "platform/Platform.h"

namespace TQ::Host::Param {

namespace {

constexpr char separator[] = ": ";
constexpr char elementSeparator[] = ", ";
constexpr char nameLabel[] = "Plugin Name";
constexpr char versionLabel[] = "Version Number";

struct Line {
    std::string label;
    std::string value;
};

/// A line split at its first colon; a line without one is nothing.
std::optional<Line> Split(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t begin = line.find_first_not_of(' ', colon + 1);
    return Line{line.substr(0, colon), begin == std::string::npos ? "" : line.substr(begin)};
}

std::string Quote(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '\\' || c == '"') {
            result += '\\';
        }
        result += c;
    }
    return result + '"';
}

std::optional<std::string> Unquote(const std::string& text) {
    if (text.size() < 2 || text.front() != '"' || text.back() != '"') {
        return std::nullopt;
    }
    std::string result;
    for (std::size_t i = 1; i + 1 < text.size(); ++i) {
        if (text[i] == '\\' && i + 2 < text.size()) {
            ++i;
        }
        result += text[i];
    }
    return result;
}

/// Numbers are written and read with a point, whatever the language of the application.
template <std::size_t count>
std::string NumbersAsText(const std::array<double, count>& numbers) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    for (std::size_t i = 0; i < count; ++i) {
        out << (i == 0 ? "" : elementSeparator) << numbers[i];
    }
    return out.str();
}

/// False, and `numbers` untouched, unless all are there and nothing else.
template <class Number, std::size_t count>
bool ParseNumbers(const std::string& text, std::array<Number, count>& numbers) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    std::array<Number, count> parsed{};
    for (std::size_t i = 0; i < count; ++i) {
        char comma = ',';
        if (i > 0 && !(in >> comma)) {
            return false;
        }
        if (comma != ',' || !(in >> parsed[i])) {
            return false;
        }
    }
    in >> std::ws;
    if (!in.eof()) {
        return false;
    }
    numbers = parsed;
    return true;
}

bool ParseInteger(const std::string& text, ParameterValue& value) {
    std::array<int, 1> number{};
    if (!ParseNumbers(text, number)) {
        return false;
    }
    value.numbers[0] = number[0];
    return true;
}

template <std::size_t count>
bool ParseReals(const std::string& text, ParameterValue& value) {
    std::array<double, count> numbers{};
    if (!ParseNumbers(text, numbers)) {
        return false;
    }
    std::copy(numbers.begin(), numbers.end(), value.numbers.begin());
    return true;
}

bool IsWritten(const Parameters& parameters, const ParameterDescription& description) {
    return !description.Has(ParameterFlag::startsDisabled) && parameters.isTypeSaved(description.type) &&
           description.type <= ParameterType::Clip && description.type != ParameterType::GroupStart &&
           description.type != ParameterType::GroupEnd;
}

[[noreturn]] void FailAt(const std::filesystem::path& path, const std::string& what) {
    throw Exception("Parameter file", "\"" + path.string() + "\" " + what);
}

}  // namespace

std::string Parameters::valueAsText(std::size_t index) {
    switch (description(index).type) {
        case ParameterType::Integer:
        case ParameterType::Choice:
            return std::to_string(getInt(index));
        case ParameterType::Clip:
            return std::to_string(description(index).value.Int());
        case ParameterType::Double:
            return NumbersAsText<1>({getDouble(index)});
        case ParameterType::Boolean:
            return getBool(index) ? "true" : "false";
        case ParameterType::Text:
            return Quote(getText(index));
        case ParameterType::Path:
            return Quote(getPath(index));
        case ParameterType::Colour:
            return NumbersAsText(getColour(index));
        case ParameterType::Point:
            return NumbersAsText(getPoint(index));
        case ParameterType::GroupStart:
        case ParameterType::GroupEnd:
        case ParameterType::Button:
            break;
    }
    return {};
}

bool Parameters::takeText(std::size_t index, const std::string& text) {
    ParameterValue& value = stored(index);
    switch (description(index).type) {
        case ParameterType::Integer:
        case ParameterType::Choice:
        case ParameterType::Clip:
            return ParseInteger(text, value);
        case ParameterType::Double:
            return ParseReals<1>(text, value);
        case ParameterType::Boolean:
            value.numbers[0] = text == "true" ? 1.0 : 0.0;
            return true;
        case ParameterType::Text:
        case ParameterType::Path:
            if (const auto unquoted = Unquote(text)) {
                value.text = *unquoted;
                return true;
            }
            return false;
        case ParameterType::Colour:
            return ParseReals<3>(text, value);
        case ParameterType::Point:
            return ParseReals<2>(text, value);
        case ParameterType::GroupStart:
        case ParameterType::GroupEnd:
        case ParameterType::Button:
            break;
    }
    return false;
}

void Parameters::save(const std::filesystem::path& path, const std::string& pluginName,
                      const std::string& version) {
    refreshAll();
    std::filesystem::path beside = path;
    beside += '.';
    beside += std::to_string(Platform::ProcessId());
    beside += ".part";
    {
        std::ofstream file(beside, std::ios::binary | std::ios::trunc);
        file << nameLabel << separator << pluginName << '\n' << versionLabel << separator << version << '\n';
        for (std::size_t index = 0; index < size(); ++index) {
            if (IsWritten(*this, description(index))) {
                file << labelOf(index) << separator << valueAsText(index) << '\n';
            }
        }
        file.close();
        if (!file) {
            std::error_code ignored;
            std::filesystem::remove(beside, ignored);
            FailAt(path, "cannot be written. Check the folder and the free space.");
        }
    }
    try {
        Platform::ReplaceFile(beside, path);
    } catch (const std::filesystem::filesystem_error& error) {
        std::error_code ignored;
        std::filesystem::remove(beside, ignored);
        FailAt(path, std::string("cannot be written: ") + error.code().message() + ".");
    }
}

void Parameters::load(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text;
    for (const char* expected : {nameLabel, versionLabel}) {
        if (!std::getline(file, text)) {
            FailAt(path, "cannot be read. Check that the file is there and may be opened.");
        }
        const auto header = Split(text);
        if (!header || header->label != expected) {
            FailAt(path, "is no parameter file. Choose a file that was saved by this effect.");
        }
    }
    while (std::getline(file, text)) {
        const auto line = Split(text);
        for (std::size_t index = 0; line && index < size(); ++index) {
            // Groups may share their label with a parameter, so only what is written is looked at.
            if (labelOf(index) == line->label && IsWritten(*this, description(index))) {
                if (takeText(index, line->value)) {
                    commitValue(index);
                }
                break;
            }
        }
    }
    if (file.bad()) {
        FailAt(path, "could not be read to its end.");
    }
    commitAll();
}

}  // namespace TQ::Host::Param
