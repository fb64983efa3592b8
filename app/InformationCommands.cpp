#include "app/InformationCommands.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "app/ParameterEdits.h"
#include "app/PluginLocation.h"
#include "app/Statistics.h"
#include "app/media/FFmpeg.h"
#include "ip/kernels/KernelTable.h"

namespace TQ::App {

namespace {

using Json = nlohmann::ordered_json;

// The context whose parameters are shown: the filter, or the first that there is.
const ContextDescription& MainContext(EffectPlugin& plugin) {
    return plugin.Describe(plugin.SupportsContext("filter") ? "filter" : plugin.Contexts().at(0));
}

// One number alone, several as a list.
Json Numbers(const std::vector<double>& values, const std::string& type) {
    Json list = Json::array();
    for (const double value : values) {
        const bool whole = type == "Integer" || type == "Choice" || type.rfind("Integer", 0) == 0;
        if (type == "Boolean") {
            list.push_back(value != 0);
        } else if (whole) {
            list.push_back(static_cast<long long>(value));
        } else {
            list.push_back(value);
        }
    }
    return list.size() == 1 ? list[0] : list;
}

Json DescribeParameter(const ParameterDescription& parameter) {
    Json json = {{"name", parameter.name}, {"label", parameter.label}, {"type", parameter.type}};
    const auto add = [&](const char* key, const std::vector<double>& values) {
        if (!values.empty()) {
            json[key] = Numbers(values, parameter.type);
        }
    };
    add("default", parameter.defaults);
    if (parameter.defaults.empty() && parameter.HasValue()) {
        json["default"] = parameter.defaultText;
    }
    if (parameter.options.empty() && parameter.type != "Boolean") {
        add("minimum", parameter.minimum);
        add("maximum", parameter.maximum);
        add("displayMinimum", parameter.displayMinimum);
        add("displayMaximum", parameter.displayMaximum);
    }
    if (!parameter.options.empty()) {
        json["options"] = parameter.options;
    }
    if (!parameter.parent.empty()) {
        json["parent"] = parameter.parent;
    }
    if (!parameter.hint.empty()) {
        json["hint"] = parameter.hint;
    }
    json["enabled"] = parameter.enabled;
    json["secret"] = parameter.secret;
    json["animates"] = parameter.animates;
    return json;
}

Json DescribePlugin(EffectPlugin& plugin) {
    Json json = {{"identifier", plugin.Identifier()},
                 {"version", plugin.Version()},
                 {"label", plugin.Label()},
                 {"grouping", plugin.Grouping()},
                 {"description", plugin.Description()},
                 {"path", plugin.BinaryPath().string()},
                 {"contexts", plugin.Contexts()}};
    json["depths"] = Json::array();
    for (const SampleDepth depth : plugin.Depths()) {
        json["depths"].push_back(DepthOptionName(depth));
    }
    const ContextDescription& context = MainContext(plugin);
    json["clips"] = Json::array();
    for (const ClipDescription& clip : context.clips) {
        json["clips"].push_back({{"name", clip.name},
                                 {"components", clip.components},
                                 {"optional", clip.optional},
                                 {"temporalAccess", clip.temporalAccess}});
    }
    json["parameters"] = Json::array();
    for (const ParameterDescription& parameter : context.parameters) {
        json["parameters"].push_back(DescribeParameter(parameter));
    }
    return json;
}

std::string Joined(const Json& list) {
    std::string text;
    for (const Json& entry : list) {
        text += (text.empty() ? "" : ", ") + entry.get<std::string>();
    }
    return text;
}

// A number for people: 3 rather than 3.0.
std::string Short(const Json& value) {
    return value.is_number_float() ? fmt::format("{:g}", value.get<double>())
           : value.is_string()     ? value.get<std::string>()
                                   : value.dump();
}

void PrintParameter(const Json& parameter) {
    const std::string type = parameter["type"];
    const std::string name = parameter["name"], label = parameter["label"];
    if (!parameter.contains("default")) {
        fmt::print("  {:20} {} \"{}\"\n", name, type, label);
        return;
    }
    std::string text = fmt::format("{} \"{}\", default {}", type, label, Short(parameter["default"]));
    if (parameter.contains("minimum") && parameter.contains("maximum")) {
        text += fmt::format(", {} to {}", Short(parameter["minimum"]), Short(parameter["maximum"]));
    }
    if (!parameter["enabled"].get<bool>()) {
        text += ", disabled at first";
    }
    fmt::print("  {:20} {}\n", name, text);
    if (parameter.contains("options")) {
        int index = 0;
        for (const Json& option : parameter["options"]) {
            fmt::print("  {:20}   {:2} {}\n", "", index++, option.get<std::string>());
        }
    }
}

}  // namespace

void RunPresets(const std::filesystem::path& path) {
    const std::shared_ptr<EffectPlugin> plugin = LoadPlugin(path);
    int number = 0;
    for (const std::string& option : PresetParameter(MainContext(*plugin)).options) {
        if (option.rfind(separatorPrefix, 0) == 0) {
            fmt::print("    {}\n", option);
        } else {
            fmt::print("{:3} {}\n", number, option);
        }
        ++number;
    }
}

void RunDescribe(const std::filesystem::path& path, const std::string& host, bool json) {
    const std::shared_ptr<EffectPlugin> plugin = LoadPlugin(path, host);
    const Json description = DescribePlugin(*plugin);
    if (json) {
        fmt::print("{}\n", description.dump(2));
        return;
    }
    fmt::print("{} {} ({})\n", plugin->Label(), plugin->Version(), plugin->Identifier());
    fmt::print("{}, {}\n", plugin->Grouping(), plugin->Description());
    fmt::print("contexts: {}\n", Joined(description["contexts"]));
    fmt::print("depths: {}\n", Joined(description["depths"]));
    fmt::print("binary: {}\nparameters:\n", plugin->BinaryPath().string());
    for (const Json& parameter : description["parameters"]) {
        PrintParameter(parameter);
    }
}

void RunVersion() {
    const unsigned codec = avcodec_version();
    fmt::print("steadylux {} (libavcodec {}.{}.{}, {})\n", STEADYLUX_VERSION, AV_VERSION_MAJOR(codec),
               AV_VERSION_MINOR(codec), AV_VERSION_MICRO(codec), IP::LevelName(IP::BestLevel()));
}

}  // namespace TQ::App
