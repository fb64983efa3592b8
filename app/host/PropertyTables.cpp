#include "app/host/PropertyTables.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <iterator>

#include "host/ofx/abi/OfxGpuRender.h"
#include "host/ofx/abi/OfxImageEffect.h"
#include "host/ofx/abi/OfxParam.h"

namespace TQ::App {
namespace {

constexpr PropertyRow hostRows[] = {
    IntRow(kOfxPropAPIVersion, 0, 0),
    TextRow(kOfxPropType, kOfxTypeImageEffectHost),
    TextRow(kOfxPropName),
    TextRow(kOfxPropLabel),
    IntRow(kOfxPropVersion, 0, 0),
    TextRow(kOfxPropVersionLabel),
    IntRow(kOfxImageEffectHostPropIsBackground),
    IntRow(kOfxImageEffectPropSupportsOverlays),
    IntRow(kOfxImageEffectPropSupportsMultiResolution),
    IntRow(kOfxImageEffectPropSupportsTiles),
    IntRow(kOfxImageEffectPropTemporalClipAccess),
    TextRow(kOfxImageEffectPropSupportedComponents, "", 0),
    TextRow(kOfxImageEffectPropSupportedContexts, "", 0),
    TextRow(kOfxImageEffectPropSupportedPixelDepths, "", 0),
    IntRow(kOfxImageEffectPropSupportsMultipleClipDepths),
    IntRow(kOfxImageEffectPropSupportsMultipleClipPARs),
    IntRow(kOfxImageEffectPropSetableFrameRate),
    IntRow(kOfxImageEffectPropSetableFielding),
    IntRow(kOfxImageEffectInstancePropSequentialRender),
    IntRow(kOfxImageEffectPropRenderQualityDraft),
    TextRow(kOfxImageEffectHostPropNativeOrigin, kOfxHostNativeOriginTopLeft),
    IntRow(kOfxParamHostPropSupportsCustomInteract),
    IntRow(kOfxParamHostPropSupportsStringAnimation),
    IntRow(kOfxParamHostPropSupportsChoiceAnimation),
    IntRow(kOfxParamHostPropSupportsStrChoiceAnimation),
    IntRow(kOfxParamHostPropSupportsBooleanAnimation),
    IntRow(kOfxParamHostPropSupportsCustomAnimation),
    IntRow(kOfxParamHostPropSupportsStrChoice, 1),
    IntRow(kOfxParamHostPropMaxParameters, -1),
    IntRow(kOfxParamHostPropMaxPages),
    IntRow(kOfxParamHostPropPageRowColumnCount, 0, 2),
    PointerRow(kOfxPropHostOSHandle),
};

constexpr PropertyRow effectDescriptorRows[] = {
    TextRow(kOfxPropType, kOfxTypeImageEffect),
    TextRow(kOfxPluginPropFilePath),
    Writable(TextRow(kOfxPropLabel)),
    Writable(TextRow(kOfxPropShortLabel)),
    Writable(TextRow(kOfxPropLongLabel)),
    Writable(IntRow(kOfxPropVersion, 0, 0)),
    Writable(TextRow(kOfxPropVersionLabel)),
    Writable(TextRow(kOfxPropPluginDescription)),
    Writable(TextRow(kOfxPropIcon, "", 2)),
    Writable(TextRow(kOfxImageEffectPropSupportedContexts, "", 0)),
    Writable(TextRow(kOfxImageEffectPluginPropGrouping)),
    Writable(IntRow(kOfxImageEffectPluginPropObsolete)),
    Writable(IntRow(kOfxImageEffectPluginPropSingleInstance)),
    Writable(TextRow(kOfxImageEffectPluginRenderThreadSafety, kOfxImageEffectRenderInstanceSafe)),
    Writable(IntRow(kOfxImageEffectPluginPropHostFrameThreading, 1)),
    Writable(PointerRow(kOfxImageEffectPluginPropOverlayInteractV1)),
    Writable(PointerRow(kOfxImageEffectPluginPropOverlayInteractV2)),
    Writable(IntRow(kOfxImageEffectPropSupportsMultiResolution, 1)),
    Writable(IntRow(kOfxImageEffectPropSupportsTiles, 1)),
    Writable(IntRow(kOfxImageEffectPropTemporalClipAccess)),
    Writable(TextRow(kOfxImageEffectPropSupportedPixelDepths, "", 0)),
    Writable(IntRow(kOfxImageEffectPluginPropFieldRenderTwiceAlways, 1)),
    Writable(IntRow(kOfxImageEffectPropSupportsMultipleClipDepths)),
    Writable(IntRow(kOfxImageEffectPropSupportsMultipleClipPARs)),
    Writable(TextRow(kOfxImageEffectPropClipPreferencesSlaveParam, "", 0)),
    Writable(TextRow(kOfxImageEffectPropNoSpatialAwareness, "false")),
    Writable(TextRow(kOfxOpenGLPropPixelDepth, "", 0)),
};

constexpr PropertyRow effectInstanceRows[] = {
    TextRow(kOfxPropType, kOfxTypeImageEffectInstance),
    TextRow(kOfxImageEffectPropContext),
    Writable(PointerRow(kOfxPropInstanceData)),
    PointerRow(kOfxImageEffectPropPluginHandle),
    TextRow(kOfxPluginPropFilePath),
    TextRow(kOfxPropLabel),
    DoubleRow(kOfxImageEffectPropProjectSize, 0, 2),
    DoubleRow(kOfxImageEffectPropProjectOffset, 0, 2),
    DoubleRow(kOfxImageEffectPropProjectExtent, 0, 2),
    DoubleRow(kOfxImageEffectPropProjectPixelAspectRatio, 1),
    DoubleRow(kOfxImageEffectInstancePropEffectDuration),
    DoubleRow(kOfxImageEffectPropFrameRate),
    IntRow(kOfxPropIsInteractive),
    Writable(IntRow(kOfxImageEffectInstancePropSequentialRender)),
    Writable(IntRow(kOfxImageEffectPropSupportsTiles, 1)),
    TextRow(kOfxImageEffectPluginRenderThreadSafety, kOfxImageEffectRenderInstanceSafe),
};

constexpr PropertyRow clipRows[] = {
    TextRow(kOfxPropType, kOfxTypeClip),
    TextRow(kOfxPropName),
    Writable(TextRow(kOfxPropLabel)),
    Writable(TextRow(kOfxPropShortLabel)),
    Writable(TextRow(kOfxPropLongLabel)),
    Writable(TextRow(kOfxImageEffectPropSupportedComponents, "", 0)),
    Writable(IntRow(kOfxImageEffectPropTemporalClipAccess)),
    Writable(IntRow(kOfxImageClipPropOptional)),
    Writable(TextRow(kOfxImageClipPropFieldExtraction, kOfxImageFieldDoubled)),
    Writable(IntRow(kOfxImageClipPropIsMask)),
    Writable(IntRow(kOfxImageEffectPropSupportsTiles, 1)),
    TextRow(kOfxImageEffectPropPixelDepth, kOfxBitDepthNone),
    TextRow(kOfxImageEffectPropComponents, kOfxImageComponentNone),
    TextRow(kOfxImageClipPropUnmappedPixelDepth, kOfxBitDepthNone),
    TextRow(kOfxImageClipPropUnmappedComponents, kOfxImageComponentNone),
    TextRow(kOfxImageEffectPropPreMultiplication, kOfxImageOpaque),
    DoubleRow(kOfxImagePropPixelAspectRatio, 1),
    DoubleRow(kOfxImageEffectPropFrameRate),
    DoubleRow(kOfxImageEffectPropUnmappedFrameRate),
    DoubleRow(kOfxImageEffectPropFrameRange, 0, 2),
    DoubleRow(kOfxImageEffectPropUnmappedFrameRange, 0, 2),
    TextRow(kOfxImageClipPropFieldOrder, kOfxImageFieldNone),
    IntRow(kOfxImageClipPropConnected),
    IntRow(kOfxImageClipPropContinuousSamples),
};

constexpr PropertyRow imageRows[] = {
    TextRow(kOfxPropType, kOfxTypeImage),
    TextRow(kOfxImageEffectPropPixelDepth, kOfxBitDepthNone),
    TextRow(kOfxImageEffectPropComponents, kOfxImageComponentRGBA),
    TextRow(kOfxImageEffectPropPreMultiplication, kOfxImageOpaque),
    DoubleRow(kOfxImageEffectPropRenderScale, 1, 2),
    DoubleRow(kOfxImagePropPixelAspectRatio, 1),
    PointerRow(kOfxImagePropData),
    IntRow(kOfxImagePropBounds, 0, 4),
    IntRow(kOfxImagePropRegionOfDefinition, 0, 4),
    IntRow(kOfxImagePropRowBytes),
    TextRow(kOfxImagePropField, kOfxImageFieldNone),
    TextRow(kOfxImagePropUniqueIdentifier),
};

constexpr PropertyRow parameterSetRows[] = {
    Writable(IntRow(kOfxPropParamSetNeedsSyncing)),
    Writable(TextRow(kOfxPluginPropParamPageOrder, "", 0)),
};

constexpr PropertyRow deviceSupportRows[] = {
    Writable(TextRow(kOfxImageEffectPropCPURenderSupported, "true")),
    Writable(TextRow(kOfxImageEffectPropOpenGLRenderSupported, "false")),
    Writable(TextRow(kOfxImageEffectPropCudaRenderSupported, "false")),
    Writable(TextRow(kOfxImageEffectPropCudaStreamSupported, "false")),
    Writable(TextRow(kOfxImageEffectPropOpenCLRenderSupported, "false")),
    Writable(TextRow(kOfxImageEffectPropOpenCLSupported, "false")),
    Writable(TextRow(kOfxImageEffectPropMetalRenderSupported, "false")),
};

constexpr PropertyRow deviceArgumentRows[] = {
    IntRow(kOfxImageEffectPropOpenGLEnabled),          IntRow(kOfxImageEffectPropCudaEnabled),
    PointerRow(kOfxImageEffectPropCudaStream),         IntRow(kOfxImageEffectPropOpenCLEnabled),
    PointerRow(kOfxImageEffectPropOpenCLCommandQueue), IntRow(kOfxImageEffectPropMetalEnabled),
    PointerRow(kOfxImageEffectPropMetalCommandQueue),
};

constexpr PropertyRow commonParameterRows[] = {
    TextRow(kOfxPropType, kOfxTypeParameter),
    TextRow(kOfxPropName),
    TextRow(kOfxParamPropType),
    Writable(TextRow(kOfxPropLabel)),
    Writable(TextRow(kOfxPropShortLabel)),
    Writable(TextRow(kOfxPropLongLabel)),
    Writable(IntRow(kOfxParamPropSecret)),
    Writable(TextRow(kOfxParamPropHint)),
    Writable(TextRow(kOfxParamPropScriptName)),
    Writable(TextRow(kOfxParamPropParent)),
    Writable(IntRow(kOfxParamPropEnabled, 1)),
    Writable(PointerRow(kOfxParamPropDataPtr)),
    Writable(TextRow(kOfxPropIcon, "", 2)),
    // Interacts are accepted and never drawn: this host has no window.
    Writable(PointerRow(kOfxParamPropInteractV1)),
    Writable(DoubleRow(kOfxParamPropInteractSize, 0, 2)),
    Writable(DoubleRow(kOfxParamPropInteractSizeAspect, 1)),
    Writable(DoubleRow(kOfxParamPropInteractMinimumSize, 10, 2)),
    Writable(IntRow(kOfxParamPropInteractPreferedSize, 10, 2)),
    IntRow(kOfxParamPropHasHostOverlayHandle),
    Writable(IntRow(kOfxParamPropUseHostOverlayHandle)),
};

constexpr PropertyRow valueParameterRows[] = {
    IntRow(kOfxParamPropIsAnimating),
    IntRow(kOfxParamPropIsAutoKeying),
    Writable(IntRow(kOfxParamPropPersistant, 1)),
    Writable(IntRow(kOfxParamPropEvaluateOnChange, 1)),
    Writable(IntRow(kOfxParamPropPluginMayWrite)),
    Writable(TextRow(kOfxParamPropCacheInvalidation, kOfxParamInvalidateValueChange)),
    Writable(IntRow(kOfxParamPropCanUndo, 1)),
};

constexpr PropertyRow doubleParameterRows[] = {
    Writable(DoubleRow(kOfxParamPropIncrement, 1)),
    Writable(IntRow(kOfxParamPropDigits, 2)),
    Writable(IntRow(kOfxParamPropShowTimeMarker)),
    Writable(TextRow(kOfxParamPropDoubleType, kOfxParamDoubleTypePlain)),
    Writable(TextRow(kOfxParamPropDefaultCoordinateSystem, kOfxParamCoordinatesCanonical)),
};

constexpr PropertyRow choiceParameterRows[] = {
    Writable(TextRow(kOfxParamPropChoiceOption, "", 0)),
    Writable(IntRow(kOfxParamPropChoiceOrder, 0, 0)),
    Writable(TextRow(kOfxParamPropChoiceEnum, "", 0)),
};

constexpr PropertyRow textParameterRows[] = {
    Writable(TextRow(kOfxParamPropStringMode, kOfxParamStringIsSingleLine)),
    Writable(IntRow(kOfxParamPropStringFilePathExists, 1)),
    Writable(PointerRow(kOfxParamPropCustomInterpCallbackV1)),
};

constexpr PropertyRow layoutParameterRows[] = {
    Writable(IntRow(kOfxParamPropGroupOpen, 1)),
    Writable(TextRow(kOfxParamPropPageChild, "", 0)),
};

constexpr ParameterType parameterTypes[] = {
    {kOfxParamTypeInteger, ValueKind::Int, 1},     {kOfxParamTypeInteger2D, ValueKind::Int, 2},
    {kOfxParamTypeInteger3D, ValueKind::Int, 3},   {kOfxParamTypeDouble, ValueKind::Double, 1},
    {kOfxParamTypeDouble2D, ValueKind::Double, 2}, {kOfxParamTypeDouble3D, ValueKind::Double, 3},
    {kOfxParamTypeRGB, ValueKind::Double, 3},      {kOfxParamTypeRGBA, ValueKind::Double, 4},
    {kOfxParamTypeBoolean, ValueKind::Boolean, 1}, {kOfxParamTypeChoice, ValueKind::Choice, 1},
    {kOfxParamTypeStrChoice, ValueKind::Text, 1},  {kOfxParamTypeString, ValueKind::Text, 1},
    {kOfxParamTypeCustom, ValueKind::Text, 1},     {kOfxParamTypeGroup, ValueKind::None, 0},
    {kOfxParamTypePage, ValueKind::None, 0},       {kOfxParamTypePushButton, ValueKind::None, 0},
};

bool IsColour(std::string_view type) {
    return type == kOfxParamTypeRGB || type == kOfxParamTypeRGBA;
}

void DefineLimits(PropertySet& properties, const ParameterType& type) {
    const bool isInt = type.kind == ValueKind::Int;
    const bool isColour = IsColour(type.name);
    const double low = isInt ? INT_MIN : -DBL_MAX;
    const double high = isInt ? INT_MAX : DBL_MAX;
    const auto row = [&](const char* name, double value) {
        properties.Define(
            Writable(isInt ? IntRow(name, value, type.dimension) : DoubleRow(name, value, type.dimension)));
    };
    row(kOfxParamPropMin, low);
    row(kOfxParamPropMax, high);
    row(kOfxParamPropDisplayMin, isColour ? 0 : low);
    row(kOfxParamPropDisplayMax, isColour ? 1 : high);
    properties.Define(Writable(TextRow(kOfxParamPropDimensionLabel, "", type.dimension)));
}

PropertyRow DefaultRow(const ParameterType& type) {
    switch (type.kind) {
        case ValueKind::Double:
            return DoubleRow(kOfxParamPropDefault, 0, type.dimension);
        case ValueKind::Text:
            return TextRow(kOfxParamPropDefault);
        default:
            return IntRow(kOfxParamPropDefault, 0, type.dimension);
    }
}

}  // namespace

std::span<const PropertyRow> HostRows() {
    return hostRows;
}
std::span<const PropertyRow> EffectDescriptorRows() {
    return effectDescriptorRows;
}
std::span<const PropertyRow> EffectInstanceRows() {
    return effectInstanceRows;
}
std::span<const PropertyRow> ClipRows() {
    return clipRows;
}
std::span<const PropertyRow> ImageRows() {
    return imageRows;
}
std::span<const PropertyRow> ParameterSetRows() {
    return parameterSetRows;
}
std::span<const PropertyRow> DeviceSupportRows() {
    return deviceSupportRows;
}
std::span<const PropertyRow> DeviceArgumentRows() {
    return deviceArgumentRows;
}

const ParameterType* FindParameterType(std::string_view name) {
    const auto type = std::find_if(std::begin(parameterTypes), std::end(parameterTypes),
                                   [&](const ParameterType& candidate) { return name == candidate.name; });
    return type == std::end(parameterTypes) ? nullptr : type;
}

void DefineParameter(PropertySet& properties, const ParameterType& type, const std::string& name) {
    properties.Define(commonParameterRows);
    properties.SetText(kOfxParamPropType, type.name);
    properties.SetText(kOfxPropName, name);
    properties.SetText(kOfxPropLabel, name);
    properties.SetText(kOfxParamPropScriptName, name);
    if (type.kind == ValueKind::None) {
        properties.Define(layoutParameterRows);
        return;
    }
    properties.Define(valueParameterRows);
    properties.Define(Writable(DefaultRow(type)));
    // Only numbers may animate unless the host says otherwise, which this one does not.
    const bool isNumber = type.kind == ValueKind::Int || type.kind == ValueKind::Double;
    properties.Define(Writable(IntRow(kOfxParamPropAnimates, isNumber ? 1 : 0)));
    if (isNumber) {
        DefineLimits(properties, type);
    }
    if (type.kind == ValueKind::Double) {
        properties.Define(doubleParameterRows);
    }
    if (type.kind == ValueKind::Choice || std::string_view(type.name) == kOfxParamTypeStrChoice) {
        properties.Define(choiceParameterRows);
    }
    if (type.kind == ValueKind::Text) {
        properties.Define(textParameterRows);
    }
}

}  // namespace TQ::App
