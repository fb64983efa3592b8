#include "app/host/Parameter.h"

#include <algorithm>

namespace TQ::App {
namespace {

constexpr std::string_view typePrefix = WithoutEnd(kOfxParamTypeInteger, "Integer");

/// Keeps a number in the range of the parameter's component; limits that contradict each other are ignored.
template <typename Number>
void Limit(std::vector<Number>& numbers, const std::vector<double>& low, const std::vector<double>& high) {
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (low[i] <= high[i]) {
            const double number = std::clamp(static_cast<double>(numbers[i]), low[i], high[i]);
            numbers[i] = static_cast<Number>(number);
        }
    }
}

}  // namespace

std::string ShortTypeName(std::string_view type) {
    const bool isStandard = type.substr(0, typePrefix.size()) == typePrefix;
    return std::string(isStandard ? type.substr(typePrefix.size()) : type);
}

bool ParameterDescription::HasValue() const {
    return type != "Group" && type != "Page" && type != "PushButton";
}

Parameter::Parameter(ParameterSet& owner, const ParameterType& type, const std::string& name)
    : _owner(owner), _type(type), _name(name) {
    DefineParameter(_properties, type, name);
}

Parameter::Parameter(ParameterSet& owner, const Parameter& other)
    : Parameter(owner, other._type, other._name) {
    _properties.CopyFrom(other._properties);
    _properties.SetText(kOfxPropType, kOfxTypeParameterInstance);
    _value = DefaultValue();
}

std::vector<std::string> Parameter::Options() const {
    return _properties.Has(kOfxParamPropChoiceOption) ? _properties.Texts(kOfxParamPropChoiceOption)
                                                      : std::vector<std::string>();
}

Parameter::Value Parameter::DefaultValue() const {
    Value value;
    switch (_type.kind) {
        case ValueKind::None:
            break;
        case ValueKind::Double:
            value.doubles = _properties.Numbers(kOfxParamPropDefault);
            break;
        case ValueKind::Text:
            value.text = MakeText(_properties.Text(kOfxParamPropDefault));
            break;
        default:
            for (double number : _properties.Numbers(kOfxParamPropDefault)) {
                value.integers.push_back(static_cast<int>(number));
            }
    }
    return value;
}

Parameter::Value Parameter::Get() const {
    std::lock_guard lock(_mutex);
    return _value;
}

bool Parameter::IsOption(const std::string& value) const {
    const auto values = _properties.Texts(kOfxParamPropChoiceEnum);
    return std::find(values.begin(), values.end(), value) != values.end();
}

OfxStatus Parameter::Set(Value value) {
    switch (_type.kind) {
        case ValueKind::None:
            return kOfxStatErrUnsupported;
        case ValueKind::Boolean:
            value.integers[0] = value.integers[0] != 0;
            break;
        case ValueKind::Choice:
            if (value.integers[0] < 0 || value.integers[0] >= static_cast<int>(Options().size())) {
                return kOfxStatErrValue;
            }
            break;
        case ValueKind::Text:
            if (_properties.Has(kOfxParamPropChoiceEnum) && !IsOption(*value.text)) {
                return kOfxStatErrValue;
            }
            break;
        default: {
            const auto low = _properties.Numbers(kOfxParamPropMin);
            const auto high = _properties.Numbers(kOfxParamPropMax);
            Limit(value.integers, low, high);
            Limit(value.doubles, low, high);
        }
    }
    std::lock_guard lock(_mutex);
    _value = std::move(value);
    return kOfxStatOK;
}

ParameterDescription Parameter::Describe() const {
    ParameterDescription description;
    description.name = _name;
    description.type = ShortTypeName(_type.name);
    description.label = _properties.Text(kOfxPropLabel);
    description.parent = _properties.Text(kOfxParamPropParent);
    description.hint = _properties.Text(kOfxParamPropHint);
    description.enabled = _properties.Int(kOfxParamPropEnabled) != 0;
    description.secret = _properties.Int(kOfxParamPropSecret) != 0;
    description.options = Options();
    if (_type.kind == ValueKind::None) {
        return description;
    }
    description.animates = _properties.Int(kOfxParamPropAnimates) != 0;
    if (_type.kind == ValueKind::Text) {
        description.defaultText = _properties.Text(kOfxParamPropDefault);
    } else {
        description.defaults = _properties.Numbers(kOfxParamPropDefault);
    }
    if (_properties.Has(kOfxParamPropChoiceEnum)) {
        description.optionValues = _properties.Texts(kOfxParamPropChoiceEnum);
    }
    if (_properties.Has(kOfxParamPropMin)) {
        description.minimum = _properties.Numbers(kOfxParamPropMin);
        description.maximum = _properties.Numbers(kOfxParamPropMax);
        description.displayMinimum = _properties.Numbers(kOfxParamPropDisplayMin);
        description.displayMaximum = _properties.Numbers(kOfxParamPropDisplayMax);
    }
    return description;
}

ParameterState Parameter::State() const {
    const Value value = Get();
    ParameterState state;
    state.name = _name;
    state.label = _properties.Text(kOfxPropLabel);
    state.type = ShortTypeName(_type.name);
    state.text = FormatValue(*this, value);
    state.enabled = _properties.Int(kOfxParamPropEnabled) != 0;
    state.secret = _properties.Int(kOfxParamPropSecret) != 0;
    if (_type.kind == ValueKind::Boolean) {
        state.value = value.integers[0] != 0;
    } else if (_type.kind == ValueKind::Text) {
        state.value = *value.text;
    } else if (value.integers.size() == 1) {
        state.value = value.integers[0];
    } else if (value.doubles.size() == 1) {
        state.value = value.doubles[0];
    } else if (!value.integers.empty()) {
        state.value = value.integers;
    } else {
        state.value = value.doubles;
    }
    return state;
}

ParameterSet::ParameterSet(const ParameterSet& description, Watcher& watcher)
    : _open(false), _properties(ParameterSetRows()), _watcher(&watcher) {
    _properties.CopyFrom(description._properties);
    for (const auto& parameter : description._parameters) {
        _parameters.push_back(std::make_unique<Parameter>(*this, *parameter));
    }
}

Parameter* ParameterSet::Define(const ParameterType& type, const std::string& name) {
    if (!_open || Find(name)) {
        return nullptr;
    }
    return _parameters.emplace_back(std::make_unique<Parameter>(*this, type, name)).get();
}

OfxStatus ParameterSet::Write(Parameter& parameter, Parameter::Value value) {
    if (!_watcher || !_watcher->MayWrite()) {
        return kOfxStatErrUnsupported;
    }
    const OfxStatus status = parameter.Set(std::move(value));
    if (status == kOfxStatOK) {
        _watcher->Written(parameter);
    }
    return status;
}

Parameter* ParameterSet::Find(std::string_view name) const {
    const auto place = std::find_if(_parameters.begin(), _parameters.end(),
                                    [&](const auto& parameter) { return parameter->Name() == name; });
    return place == _parameters.end() ? nullptr : place->get();
}

}  // namespace TQ::App
