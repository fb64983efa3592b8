#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <charconv>
#include <climits>
#include <cmath>
#include <optional>

#include "app/host/Parameter.h"

namespace TQ::App {
namespace {

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
        text.remove_suffix(1);
    }
    return text;
}

bool SameLetters(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
    text = Trimmed(text);
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

std::vector<std::string_view> Components(std::string_view text) {
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t comma = text.find(',');
        parts.push_back(text.substr(0, comma));
        if (comma == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(comma + 1);
    }
}

/// "from 0 to 10", "of at least 0", or nothing.
std::string RangeText(double low, double high, double lowest, double highest) {
    if (low > lowest && high < highest) {
        return fmt::format(" from {} to {}", low, high);
    }
    if (low > lowest) {
        return fmt::format(" of at least {}", low);
    }
    return high < highest ? fmt::format(" of at most {}", high) : std::string();
}

std::string NumbersWanted(const Parameter& parameter) {
    const bool isInt = parameter.Type().kind == ValueKind::Int;
    const double low = parameter.Properties().Numbers(kOfxParamPropMin)[0];
    const double high = parameter.Properties().Numbers(kOfxParamPropMax)[0];
    const std::string range =
        isInt ? RangeText(low, high, INT_MIN, INT_MAX) : RangeText(low, high, -DBL_MAX, DBL_MAX);
    const int count = parameter.Type().dimension;
    if (count == 1) {
        return (isInt ? "a whole number" : "a number") + range;
    }
    return fmt::format("{} {} separated by commas", count, (isInt ? "whole numbers" : "numbers") + range);
}

std::string OptionsWanted(const Parameter& parameter) {
    const auto options = parameter.Options();
    std::string wanted = "one of ";
    for (std::size_t i = 0; i < options.size(); ++i) {
        wanted += fmt::format("{}\"{}\"", i ? ", " : "", options[i]);
    }
    return wanted + fmt::format(", or its number from 0 to {}", static_cast<int>(options.size()) - 1);
}

[[noreturn]] void Refuse(const Parameter& parameter, const std::string& wanted, std::string_view text) {
    throw HostError(fmt::format("the parameter \"{}\" takes {}, not \"{}\"", parameter.Name(), wanted, text));
}

template <typename Number>
std::vector<Number> ParseNumbers(const Parameter& parameter, std::string_view text) {
    const auto parts = Components(text);
    const auto low = parameter.Properties().Numbers(kOfxParamPropMin);
    const auto high = parameter.Properties().Numbers(kOfxParamPropMax);
    if (parts.size() != low.size()) {
        Refuse(parameter, NumbersWanted(parameter), text);
    }
    std::vector<Number> numbers;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const std::optional<Number> number = ParseNumber<Number>(parts[i]);
        // Written so that what is not a number is refused too.
        if (!number || !(*number >= low[i] && *number <= high[i])) {
            Refuse(parameter, NumbersWanted(parameter), text);
        }
        numbers.push_back(*number);
    }
    return numbers;
}

bool ParseBoolean(const Parameter& parameter, std::string_view text) {
    for (std::string_view yes : {"true", "1", "on", "yes"}) {
        if (SameLetters(Trimmed(text), yes)) {
            return true;
        }
    }
    for (std::string_view no : {"false", "0", "off", "no"}) {
        if (SameLetters(Trimmed(text), no)) {
            return false;
        }
    }
    Refuse(parameter, "\"true\" or \"false\"", text);
}

/// Index of an option, by its text first, since an option may look like a number.
int ParseOption(const Parameter& parameter, std::string_view text) {
    const auto options = parameter.Options();
    const auto option = std::find_if(options.begin(), options.end(), [&](const std::string& candidate) {
        return SameLetters(Trimmed(candidate), Trimmed(text));
    });
    if (option != options.end()) {
        return static_cast<int>(option - options.begin());
    }
    const std::optional<int> number = ParseNumber<int>(text);
    if (!number || *number < 0 || *number >= static_cast<int>(options.size())) {
        Refuse(parameter, OptionsWanted(parameter), text);
    }
    return *number;
}

std::string ParseText(const Parameter& parameter, std::string_view text) {
    if (!parameter.Properties().Has(kOfxParamPropChoiceEnum)) {
        return std::string(text);
    }
    const auto values = parameter.Properties().Texts(kOfxParamPropChoiceEnum);
    if (std::find(values.begin(), values.end(), text) != values.end()) {
        return std::string(text);
    }
    const auto index = static_cast<std::size_t>(ParseOption(parameter, text));
    if (index >= values.size()) {
        Refuse(parameter, "one of its options", text);
    }
    return values[index];
}

template <typename Number>
std::string Join(const std::vector<Number>& numbers) {
    std::string text;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        text += fmt::format("{}{}", i ? "," : "", numbers[i]);
    }
    return text;
}

}  // namespace

Parameter::Value ParseValue(const Parameter& parameter, std::string_view text) {
    Parameter::Value value;
    switch (parameter.Type().kind) {
        case ValueKind::None:
            break;
        case ValueKind::Boolean:
            value.integers = {ParseBoolean(parameter, text)};
            break;
        case ValueKind::Int:
            value.integers = ParseNumbers<int>(parameter, text);
            break;
        case ValueKind::Double:
            value.doubles = ParseNumbers<double>(parameter, text);
            break;
        case ValueKind::Choice:
            value.integers = {ParseOption(parameter, text)};
            break;
        case ValueKind::Text:
            value.text = MakeText(ParseText(parameter, text));
            break;
    }
    return value;
}

std::string FormatValue(const Parameter& parameter, const Parameter::Value& value) {
    switch (parameter.Type().kind) {
        case ValueKind::None:
            return {};
        case ValueKind::Boolean:
            return value.integers[0] ? "true" : "false";
        case ValueKind::Choice: {
            const auto options = parameter.Options();
            const auto index = static_cast<std::size_t>(value.integers[0]);
            return index < options.size() ? options[index] : std::to_string(value.integers[0]);
        }
        case ValueKind::Text:
            return *value.text;
        default:
            return value.doubles.empty() ? Join(value.integers) : Join(value.doubles);
    }
}

}  // namespace TQ::App
