#include "host/ofx/Parameters.h"

#include <algorithm>
#include <cctype>

#include "host/ofx/Host.h"

namespace TQ::Host::OFX {

using Param::Colour;
using Param::ParameterDescription;
using Param::ParameterName;
using Param::ParameterType;
using Param::Point;

namespace {

const ParameterName* FindById(std::span<const ParameterName> table, int id) {
    if (id == 0 || table.empty() || table.front().id == 0) {
        return nullptr;
    }
    const auto row = std::ranges::find(table, id, &ParameterName::id);
    return row == table.end() ? nullptr : &*row;
}

const ParameterName* FindByLabel(std::span<const ParameterName> table, const std::string& label) {
    const auto row =
        std::ranges::find_if(table, [&](const ParameterName& name) { return label == name.label; });
    return row == table.end() ? nullptr : &*row;
}

const ParameterName* FindRow(const Host& host, const ParameterDescription& description) {
    const ParameterName* row = FindById(host.parameterNamesById(), description.id);
    return row != nullptr ? row : FindByLabel(host.parameterNamesByLabel(), description.name);
}

bool TakesNameFromLabel(ParameterType type) {
    return type != ParameterType::GroupStart && type != ParameterType::GroupEnd &&
           type != ParameterType::Clip;
}

/// The label without blanks, its first letter small.
std::string NameFromLabel(std::string label) {
    std::erase(label, ' ');
    if (!label.empty()) {
        label[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(label[0])));
    }
    return label;
}

}  // namespace

bool Parameters::isTypeSaved(ParameterType type) const {
    return type != ParameterType::Path && Param::Parameters::isTypeSaved(type);
}

// --- Names ---------------------------------------------------------------------------------------

void Parameters::buildScriptNames() {
    std::vector<std::string> names;
    names.reserve(size());
    for (const ParameterDescription& description : descriptions) {
        const ParameterName* row = FindRow(*_host, description);
        if (row != nullptr && row->scriptName != nullptr && *row->scriptName != '\0') {
            names.emplace_back(row->scriptName);
        } else {
            names.push_back(TakesNameFromLabel(description.type) ? NameFromLabel(description.name) : "");
        }
    }
    _scriptNames = std::move(names);
}

bool Parameters::hasScriptName(std::size_t index) {
    if (_scriptNames.size() != size()) {
        buildScriptNames();
    }
    return !_scriptNames.at(index).empty();
}

const std::string& Parameters::scriptName(std::size_t index) {
    return hasScriptName(index) ? _scriptNames[index] : labelOf(index);
}

std::size_t Parameters::findByScriptName(const std::string& name) {
    for (std::size_t index = 0; index < size(); ++index) {
        if (hasScriptName(index) && _scriptNames[index] == name) {
            return index;
        }
    }
    return size();
}

const char* Parameters::hintOf(std::size_t index) const {
    const ParameterName* row = FindRow(*_host, description(index));
    return row == nullptr ? nullptr : row->hint;
}

// --- The host's values ---------------------------------------------------------------------------

OfxParamHandle Parameters::handleOf(std::size_t index, OfxPropertySetHandle* properties) {
    OfxParamSetHandle set = nullptr;
    Check(_host->effectSuite->getParamSet(_host->effectHandle, &set));
    OfxParamHandle handle = nullptr;
    Check(_host->parameterSuite->paramGetHandle(set, scriptName(index).c_str(), &handle, properties));
    return handle;
}

template <class... Values>
void Parameters::read(std::size_t index, Values*... values) {
    Check(_host->parameterSuite->paramGetValue(handleOf(index), values...));
}

template <class... Values>
void Parameters::readAt(std::size_t index, double time, Values*... values) {
    Check(_host->parameterSuite->paramGetValueAtTime(handleOf(index), time, values...));
}

template <class... Values>
void Parameters::write(std::size_t index, Values... values) {
    forget(index);
    Check(_host->parameterSuite->paramSetValue(handleOf(index), values...));
}

template <class... Values>
void Parameters::writeAt(std::size_t index, double time, Values... values) {
    if (_host->quirks().plainSetters) {
        write(index, values...);
        return;
    }
    forget(index);
    Check(_host->parameterSuite->paramSetValueAtTime(handleOf(index), time, values...));
}

void Parameters::markRead(std::size_t index) {
    if (_readMask.empty()) {
        _readMask.resize(size());
    }
    if (index < _readMask.size()) {
        _readMask[index] = true;
    }
}

void Parameters::forget(std::size_t index) {
    if (index < _readMask.size()) {
        _readMask[index] = false;
    }
}

double Parameters::getDoubleAt(std::size_t index, double time) {
    double value = description(index).defaultValue.Double();
    readAt(index, time, &value);
    return value;
}

double Parameters::getDouble(std::size_t index) {
    if (isRead(index)) {
        return description(index).value.Double();
    }
    ParameterDescription& entry = descriptions.at(index);
    double value = entry.defaultValue.Double();
    read(index, &value);
    entry.value.numbers[0] = std::max(entry.displayMin.Double(), std::min(value, entry.displayMax.Double()));
    markRead(index);
    return value;
}

int Parameters::getIntAt(std::size_t index, double time) {
    int value = description(index).defaultValue.Int();
    readAt(index, time, &value);
    return value;
}

int Parameters::getInt(std::size_t index) {
    if (!isRead(index)) {
        int value = description(index).defaultValue.Int();
        read(index, &value);
        stored(index).numbers[0] = value;
        markRead(index);
    }
    return description(index).value.Int();
}

bool Parameters::getBoolAt(std::size_t index, double time) {
    return getIntAt(index, time) != 0;
}
bool Parameters::getBool(std::size_t index) {
    return getInt(index) != 0;
}

std::string Parameters::getTextAt(std::size_t index, double time) {
    char* value = nullptr;
    readAt(index, time, &value);
    return value == nullptr ? "" : value;
}

std::string Parameters::getText(std::size_t index) {
    if (!isRead(index)) {
        char* value = nullptr;
        read(index, &value);
        stored(index).text = value == nullptr ? "" : value;
        markRead(index);
    }
    return description(index).value.text;
}

Colour Parameters::getColourAt(std::size_t index, double time) {
    Colour value = description(index).defaultValue.numbers;
    readAt(index, time, &value[0], &value[1], &value[2]);
    return value;
}

Colour Parameters::getColour(std::size_t index) {
    if (!isRead(index)) {
        Colour value = description(index).defaultValue.numbers;
        read(index, &value[0], &value[1], &value[2]);
        stored(index).numbers = value;
        markRead(index);
    }
    return description(index).value.numbers;
}

Point Parameters::getPointAt(std::size_t index, double time) {
    const auto& fallback = description(index).defaultValue.numbers;
    Point value{fallback[0], fallback[1]};
    readAt(index, time, &value[0], &value[1]);
    return value;
}

Point Parameters::getPoint(std::size_t index) {
    if (!isRead(index)) {
        const auto& fallback = description(index).defaultValue.numbers;
        Point value{fallback[0], fallback[1]};
        read(index, &value[0], &value[1]);
        stored(index).numbers = {value[0], value[1], 0.0};
        markRead(index);
    }
    return Param::Parameters::getPoint(index);
}

std::string Parameters::getPathAt(std::size_t index, double time) {
    return getTextAt(index, time);
}
std::string Parameters::getPath(std::size_t index) {
    return getText(index);
}

void Parameters::setDoubleAt(double value, std::size_t index, double time) {
    writeAt(index, time, value);
}
void Parameters::setDouble(double value, std::size_t index) {
    write(index, value);
}
void Parameters::setIntAt(int value, std::size_t index, double time) {
    writeAt(index, time, value);
}
void Parameters::setInt(int value, std::size_t index) {
    write(index, value);
}
void Parameters::setBoolAt(bool value, std::size_t index, double time) {
    writeAt(index, time, value ? 1 : 0);
}
void Parameters::setBool(bool value, std::size_t index) {
    write(index, value ? 1 : 0);
}

void Parameters::setColourAt(const Colour& value, std::size_t index, double time) {
    writeAt(index, time, value[0], value[1], value[2]);
}
void Parameters::setColour(const Colour& value, std::size_t index) {
    write(index, value[0], value[1], value[2]);
}

void Parameters::setPointAt(const Point& value, std::size_t index, double time) {
    writeAt(index, time, value[0], value[1]);
}
void Parameters::setPoint(const Point& value, std::size_t index) {
    write(index, value[0], value[1]);
}

void Parameters::setTextAt(const std::string& value, std::size_t index, double time) {
    writeAt(index, time, value.c_str());
}
void Parameters::setText(const std::string& value, std::size_t index) {
    write(index, value.c_str());
}

void Parameters::pushValue(std::size_t index) {
    const Param::ParameterValue value = description(index).value;
    switch (description(index).type) {
        case ParameterType::Integer:
        case ParameterType::Choice:
            return setInt(value.Int(), index);
        case ParameterType::Double:
            return setDouble(value.Double(), index);
        case ParameterType::Boolean:
            return setBool(value.Bool(), index);
        case ParameterType::Text:
        case ParameterType::Path:
            return setText(value.text, index);
        case ParameterType::Colour:
            return setColour(value.numbers, index);
        case ParameterType::Point:
            return setPoint({value.numbers[0], value.numbers[1]}, index);
        case ParameterType::GroupStart:
        case ParameterType::GroupEnd:
        case ParameterType::Clip:
        case ParameterType::Button:
            break;
    }
}

void Parameters::writeState(const char* property, bool value, std::size_t index) {
    OfxPropertySetHandle properties = nullptr;
    handleOf(index, &properties);
    PropertySet(_host->propertySuite, properties).Set(property, value ? 1 : 0);
}

void Parameters::setEnabled(bool enabled, std::size_t index) {
    writeState(kOfxParamPropEnabled, enabled, index);
}
void Parameters::setSecret(bool secret, std::size_t index) {
    writeState(kOfxParamPropSecret, secret, index);
}

}  // namespace TQ::Host::OFX
