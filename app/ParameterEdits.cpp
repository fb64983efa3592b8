#include "app/ParameterEdits.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "app/ExitStatus.h"

namespace TQ::App {

namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool IsSeparator(const std::string& option) {
    return option.rfind(separatorPrefix, 0) == 0;
}

void Set(EffectInstance& instance, const std::string& name, const std::string& value) {
    try {
        instance.SetParameter(name, value);
    } catch (const HostError& error) {
        throw CommandError(ExitStatus::Parameter, error.what());
    }
}

}  // namespace

const ParameterDescription& PresetParameter(const ContextDescription& description) {
    for (const ParameterDescription& parameter : description.parameters) {
        if (parameter.name == "preset" && !parameter.options.empty()) {
            return parameter;
        }
    }
    throw CommandError(ExitStatus::Parameter, "this plug-in has no presets");
}

int PresetNumber(const ParameterDescription& preset, const std::string& nameOrNumber) {
    const int count = static_cast<int>(preset.options.size());
    int number = -1;
    const char* end = nameOrNumber.data() + nameOrNumber.size();
    const auto [stop, error] = std::from_chars(nameOrNumber.data(), end, number);
    if (error == std::errc() && stop == end && number >= 0 && number < count) {
        return number;
    }
    for (number = 0; number < count; ++number) {
        const std::string& option = preset.options[static_cast<std::size_t>(number)];
        if (!IsSeparator(option) && Lower(option) == Lower(nameOrNumber)) {
            return number;
        }
    }
    throw CommandError(ExitStatus::Parameter,
                       "there is no preset '" + nameOrNumber + "'; 'steadylux presets' lists them");
}

void EditParameters(EffectInstance& instance, const ContextDescription& description,
                    const std::string& preset, const std::vector<std::string>& assignments) {
    if (!preset.empty()) {
        Set(instance, "preset", std::to_string(PresetNumber(PresetParameter(description), preset)));
    }
    for (const std::string& assignment : assignments) {
        const std::size_t equals = assignment.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw CommandError(ExitStatus::Usage, "--set takes name=value, not '" + assignment + "'");
        }
        Set(instance, assignment.substr(0, equals), assignment.substr(equals + 1));
    }
}

}  // namespace TQ::App
