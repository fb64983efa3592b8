#include "host/ofx/ParameterDefinition.h"

#include <array>

namespace TQ::Host::OFX {

using Param::ParameterDescription;
using Param::ParameterType;
using Param::ParameterValue;
namespace Flag = Param::ParameterFlag;

namespace {

constexpr char pageName[] = "Main";
constexpr int doubleDigits = 2;

const char* HostType(ParameterType type) {
    switch (type) {
        case ParameterType::Integer:
            return kOfxParamTypeInteger;
        case ParameterType::Double:
            return kOfxParamTypeDouble;
        case ParameterType::Boolean:
            return kOfxParamTypeBoolean;
        case ParameterType::Text:
        case ParameterType::Path:
            return kOfxParamTypeString;
        case ParameterType::Choice:
            return kOfxParamTypeChoice;
        case ParameterType::Colour:
            return kOfxParamTypeRGB;
        case ParameterType::Point:
            return kOfxParamTypeDouble2D;
        case ParameterType::GroupStart:
            return kOfxParamTypeGroup;
        case ParameterType::Button:
            return kOfxParamTypePushButton;
        case ParameterType::GroupEnd:
        case ParameterType::Clip:
            break;
    }
    return nullptr;  // no parameter of the host
}

struct DoubleKind {
    std::uint32_t flag;
    const char* kind;
    bool canonical;  ///< the default is in canonical coordinates
};

// The first row whose flag is set holds.
constexpr std::array doubleKinds{
    DoubleKind{Flag::doubleAngle, kOfxParamDoubleTypeAngle, false},
    DoubleKind{Flag::doubleScale, kOfxParamDoubleTypeScale, false},
    DoubleKind{Flag::doubleX, kOfxParamDoubleTypeX, true},
    DoubleKind{Flag::doubleY, kOfxParamDoubleTypeY, true},
    DoubleKind{Flag::doubleTime, kOfxParamDoubleTypeTime, false},
    DoubleKind{Flag::doubleAbsoluteTime, kOfxParamDoubleTypeAbsoluteTime, false},
};

struct FlagRow {
    std::uint32_t flags;  ///< any of these
    const char* property;
    int value;
};

constexpr std::array flagTable{
    FlagRow{Flag::startsDisabled, kOfxParamPropEnabled, 0},
    FlagRow{Flag::secret, kOfxParamPropSecret, 1},
    FlagRow{Flag::notAnimated, kOfxParamPropAnimates, 0},
    FlagRow{Flag::callbackOnChange | Flag::pluginWrites, kOfxParamPropPluginMayWrite, 1},
    FlagRow{Flag::noUndo, kOfxParamPropCanUndo, 0},
    FlagRow{Flag::noEvaluate, kOfxParamPropEvaluateOnChange, 0},
    FlagRow{Flag::notPersistent, kOfxParamPropPersistant, 0},
};

struct RangeRow {
    const char* property;
    ParameterValue ParameterDescription::*value;
};

constexpr std::array rangeTable{
    RangeRow{kOfxParamPropMin, &ParameterDescription::minValue},
    RangeRow{kOfxParamPropMax, &ParameterDescription::maxValue},
    RangeRow{kOfxParamPropDisplayMin, &ParameterDescription::displayMin},
    RangeRow{kOfxParamPropDisplayMax, &ParameterDescription::displayMax},
};

void DescribeInteger(const PropertySet& properties, const ParameterDescription& description) {
    properties.Offer(kOfxParamPropDefault, description.defaultValue.Int());
    for (const RangeRow& row : rangeTable) {
        properties.Offer(row.property, (description.*row.value).Int());
    }
}

void DescribeDouble(const PropertySet& properties, const ParameterDescription& description) {
    const char* kind = kOfxParamDoubleTypePlain;
    for (const DoubleKind& row : doubleKinds) {
        if (description.Has(row.flag)) {
            kind = row.kind;
            if (row.canonical) {
                properties.Offer(kOfxParamPropDefaultCoordinateSystem, kOfxParamCoordinatesCanonical);
            }
            break;
        }
    }
    properties.Offer(kOfxParamPropDoubleType, kind);
    properties.Offer(kOfxParamPropDefault, description.defaultValue.Double());
    for (const RangeRow& row : rangeTable) {
        properties.Offer(row.property, (description.*row.value).Double());
    }
    properties.Offer(kOfxParamPropDigits, doubleDigits);
    if (description.Has(Flag::fineIncrement)) {
        properties.Offer(kOfxParamPropIncrement, description.increment);
    }
}

void DescribeChoice(const PropertySet& properties, const ParameterDescription& description) {
    for (std::size_t i = 0; i < description.choiceLabels.size(); ++i) {
        properties.Set(kOfxParamPropChoiceOption, description.choiceLabels[i].c_str(), static_cast<int>(i));
    }
    properties.Offer(kOfxParamPropDefault, description.defaultValue.Int());
}

void DescribeText(const PropertySet& properties, const ParameterDescription& description) {
    properties.Offer(kOfxParamPropStringMode, description.type == ParameterType::Path
                                                  ? kOfxParamStringIsFilePath
                                                  : kOfxParamStringIsSingleLine);
    properties.Offer(kOfxParamPropDefault, description.defaultValue.text.c_str());
}

void DescribeType(const PropertySet& properties, const ParameterDescription& description) {
    switch (description.type) {
        case ParameterType::Integer:
            return DescribeInteger(properties, description);
        case ParameterType::Double:
            return DescribeDouble(properties, description);
        case ParameterType::Boolean:
            return properties.Offer(kOfxParamPropDefault, description.defaultValue.Int());
        case ParameterType::Choice:
            return DescribeChoice(properties, description);
        case ParameterType::Text:
        case ParameterType::Path:
            return DescribeText(properties, description);
        case ParameterType::Colour:
        case ParameterType::Point:
            for (int i = 0; i < (description.type == ParameterType::Colour ? 3 : 2); ++i) {
                properties.Offer(kOfxParamPropDefault,
                                 description.defaultValue.numbers[static_cast<std::size_t>(i)], i);
            }
            return;
        case ParameterType::GroupStart:
            return properties.Offer(kOfxParamPropGroupOpen, description.Has(Flag::groupOpen) ? 1 : 0);
        case ParameterType::GroupEnd:
        case ParameterType::Clip:
        case ParameterType::Button:
            return;
    }
}

/// One run through the list, with what is open at the moment.
class Definition {
  public:
    Definition(Host& effect, Parameters& parameters) : _effect(effect), _parameters(parameters) {
        // A host that lays parameters out in pages has no place for groups.
        _pages = effect.hostProps.Int(kOfxParamHostPropPageRowColumnCount, 0) > 0;
        Check(effect.effectSuite->getParamSet(effect.effectHandle, &_set));
    }

    void Run() {
        for (std::size_t index = 0; index < _parameters.size(); ++index) {
            const ParameterDescription& description = _parameters.description(index);
            if (description.type == ParameterType::GroupEnd) {
                CloseGroup();
            } else if (HostType(description.type) != nullptr && _effect.wantsParameter(description)) {
                Define(index, description);
            }
        }
        DefinePage();
    }

  private:
    void CloseGroup() {
        if (!_openGroups.empty()) {
            _openGroups.pop_back();
        }
    }

    void Define(std::size_t index, const ParameterDescription& description) {
        const bool isGroup = description.type == ParameterType::GroupStart;
        if (isGroup && _pages) {
            return;
        }
        const std::string name = _parameters.scriptName(index);
        OfxPropertySetHandle handle = nullptr;
        Check(_effect.parameterSuite->paramDefine(_set, HostType(description.type), name.c_str(), &handle));
        const PropertySet properties(_effect.propertySuite, handle);
        DescribeType(properties, description);
        DescribeCommon(properties, index, description);
        if (isGroup) {
            _openGroups.push_back(name);
        } else {
            _pageChildren.push_back(name);
        }
    }

    void DescribeCommon(const PropertySet& properties, std::size_t index,
                        const ParameterDescription& description) {
        if (const char* hint = _parameters.hintOf(index)) {
            properties.Offer(kOfxParamPropHint, hint);
        }
        if (_parameters.hasScriptName(index)) {
            properties.Offer(kOfxParamPropScriptName, _parameters.scriptName(index).c_str());
        }
        properties.Offer(kOfxPropLabel, _parameters.labelOf(index).c_str());
        for (const FlagRow& row : flagTable) {
            if (description.Has(row.flags)) {
                properties.Offer(row.property, row.value);
            }
        }
        if (!_openGroups.empty()) {
            properties.Offer(kOfxParamPropParent, _openGroups.back().c_str());
        }
    }

    void DefinePage() {
        OfxPropertySetHandle handle = nullptr;
        const OfxStatus status =
            _effect.parameterSuite->paramDefine(_set, kOfxParamTypePage, pageName, &handle);
        if (status == kOfxStatErrUnknown || status == kOfxStatErrUnsupported) {
            return;  // a host without pages shows the parameters all the same
        }
        Check(status);
        const PropertySet page(_effect.propertySuite, handle);
        for (std::size_t i = 0; i < _pageChildren.size(); ++i) {
            page.Offer(kOfxParamPropPageChild, _pageChildren[i].c_str(), static_cast<int>(i));
        }
    }

    Host& _effect;
    Parameters& _parameters;
    OfxParamSetHandle _set = nullptr;
    bool _pages = false;
    std::vector<std::string> _openGroups;
    std::vector<std::string> _pageChildren;
};

}  // namespace

void DefineParameters(Host& effect, Parameters& parameters) {
    Definition(effect, parameters).Run();
}

}  // namespace TQ::Host::OFX
