#include <stdexcept>

#include "host/ofx/Parameters.h"

namespace TQ::Host::Param {

namespace {

ParameterDescription Make(ParameterType type, std::string name, ParameterValue value, std::uint32_t flags) {
    ParameterDescription description;
    description.type = type;
    description.name = std::move(name);
    description.value = value;
    description.defaultValue = std::move(value);
    description.flags = flags;
    description.increment = (flags & ParameterFlag::fineIncrement) != 0 ? 0.01 : 1.0;
    return description;
}

void SetRange(ParameterDescription& description, double min, double max, double displayMin,
              double displayMax) {
    description.minValue = ParameterValue::Number(min);
    description.maxValue = ParameterValue::Number(max);
    description.displayMin = ParameterValue::Number(displayMin);
    description.displayMax = ParameterValue::Number(displayMax);
}

}  // namespace

ParameterDescription ParameterDescription::MakeInteger(std::string name, int value, int min, int max,
                                                       std::uint32_t flags) {
    auto result = Make(ParameterType::Integer, std::move(name), ParameterValue::Number(value), flags);
    SetRange(result, min, max, min, max);
    return result;
}

ParameterDescription ParameterDescription::MakeDouble(std::string name, double value, double min, double max,
                                                      double displayMin, double displayMax,
                                                      std::uint32_t flags) {
    auto result = Make(ParameterType::Double, std::move(name), ParameterValue::Number(value), flags);
    SetRange(result, min, max, displayMin, displayMax);
    return result;
}

ParameterDescription ParameterDescription::MakeBoolean(std::string name, bool value, std::uint32_t flags) {
    auto result = Make(ParameterType::Boolean, std::move(name), ParameterValue::Number(value ? 1 : 0), flags);
    SetRange(result, 0, 1, 0, 1);
    return result;
}

ParameterDescription ParameterDescription::MakeChoice(std::string name, int value,
                                                      std::vector<std::string> labels, std::uint32_t flags) {
    auto result = Make(ParameterType::Choice, std::move(name), ParameterValue::Number(value), flags);
    const double last = labels.empty() ? 0.0 : static_cast<double>(labels.size() - 1);
    SetRange(result, 0, last, 0, last);
    result.choiceLabels = std::move(labels);
    return result;
}

ParameterDescription ParameterDescription::MakeText(std::string name, std::string value, std::uint32_t flags,
                                                    ParameterType type) {
    return Make(type, std::move(name), ParameterValue::String(std::move(value)), flags);
}

ParameterDescription ParameterDescription::MakeColour(std::string name, const Colour& value,
                                                      std::uint32_t flags) {
    return Make(ParameterType::Colour, std::move(name), {value, {}}, flags);
}

ParameterDescription ParameterDescription::MakePoint(std::string name, const Point& value,
                                                     std::uint32_t flags) {
    return Make(ParameterType::Point, std::move(name), {{value[0], value[1], 0.0}, {}}, flags);
}

ParameterDescription ParameterDescription::MakeGroupStart(std::string name, std::uint32_t flags) {
    return Make(ParameterType::GroupStart, std::move(name), {}, flags);
}

ParameterDescription ParameterDescription::MakeGroupEnd() {
    return Make(ParameterType::GroupEnd, {}, {}, 0);
}

ParameterDescription ParameterDescription::MakeClip(std::string name) {
    return Make(ParameterType::Clip, std::move(name), {}, 0);
}

ParameterDescription ParameterDescription::MakeButton(std::string name, std::uint32_t flags) {
    return Make(ParameterType::Button, std::move(name), {}, flags);
}

Parameters::~Parameters() = default;

void Parameters::resetToDefaults() {
    for (std::size_t index = 0; index < size(); ++index) {
        descriptions[index].value = descriptions[index].defaultValue;
        commitValue(index);
    }
}

void Parameters::pushAll() {
    for (std::size_t index = 0; index < size(); ++index) {
        pushValue(index);
    }
}

void Parameters::commitEach() {
    for (std::size_t index = 0; index < size(); ++index) {
        commitValue(index);
    }
}

void Parameters::copyFrom(const Parameters& other) {
    descriptions = other.descriptions;
}

bool Parameters::isTypeSaved(ParameterType type) const {
    const auto number = static_cast<std::int32_t>(type);
    return number != 12 && number != 14 && number != 15;
}

double Parameters::getDoubleAt(std::size_t index, double) {
    return getDouble(index);
}
double Parameters::getDouble(std::size_t index) {
    return description(index).value.Double();
}
int Parameters::getIntAt(std::size_t index, double) {
    return getInt(index);
}
int Parameters::getInt(std::size_t index) {
    return description(index).value.Int();
}
bool Parameters::getBoolAt(std::size_t index, double) {
    return getBool(index);
}
bool Parameters::getBool(std::size_t index) {
    return description(index).value.Bool();
}
std::string Parameters::getTextAt(std::size_t index, double) {
    return getText(index);
}
std::string Parameters::getText(std::size_t index) {
    return description(index).value.text;
}
Colour Parameters::getColourAt(std::size_t index, double) {
    return getColour(index);
}
Colour Parameters::getColour(std::size_t index) {
    return description(index).value.numbers;
}
Point Parameters::getPointAt(std::size_t index, double) {
    return getPoint(index);
}
std::string Parameters::getPathAt(std::size_t index, double) {
    return getPath(index);
}
std::string Parameters::getPath(std::size_t index) {
    return description(index).value.text;
}

Point Parameters::getPoint(std::size_t index) {
    const ParameterValue& value = description(index).value;
    return {value.numbers[0], value.numbers[1]};
}

void Parameters::setDoubleAt(double value, std::size_t index, double) {
    setDouble(value, index);
}
void Parameters::setDouble(double value, std::size_t index) {
    stored(index).numbers[0] = value;
}
void Parameters::setIntAt(int value, std::size_t index, double) {
    setInt(value, index);
}
void Parameters::setInt(int value, std::size_t index) {
    stored(index).numbers[0] = value;
}
void Parameters::setBoolAt(bool value, std::size_t index, double) {
    setBool(value, index);
}
void Parameters::setBool(bool value, std::size_t index) {
    stored(index).numbers[0] = value ? 1.0 : 0.0;
}
void Parameters::setColourAt(const Colour& value, std::size_t index, double) {
    setColour(value, index);
}
void Parameters::setColour(const Colour& value, std::size_t index) {
    stored(index).numbers = value;
}
void Parameters::setPointAt(const Point& value, std::size_t index, double) {
    setPoint(value, index);
}
void Parameters::setPoint(const Point& value, std::size_t index) {
    stored(index).numbers = {value[0], value[1], 0.0};
}
void Parameters::setTextAt(const std::string& value, std::size_t index, double) {
    setText(value, index);
}
void Parameters::setText(const std::string& value, std::size_t index) {
    stored(index).text = value;
}

void Parameters::setEnabled(bool, std::size_t) {
}
void Parameters::setSecret(bool, std::size_t) {
}
void Parameters::pushValue(std::size_t) {
}

void Parameters::commitValue(std::size_t index) {
    if (!isSuspended()) {
        pushValue(index);
    }
}

std::size_t Parameters::clipParameterIndex(std::size_t n) const {
    for (std::size_t index = 0; index < size(); ++index) {
        if (descriptions[index].type == ParameterType::Clip && n-- == 0) {
            return index;
        }
    }
    throw std::invalid_argument("Invalid layer");
}

}  // namespace TQ::Host::Param
