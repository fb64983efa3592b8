#pragma once

// Parameters: their types, properties and the suite that defines, reads and writes them.

#include <cstddef>

#include "host/ofx/abi/OfxCore.h"

/// Name of the suite.
inline constexpr char kOfxParameterSuite[] = "OfxParameterSuite";

using OfxParamHandle = struct OfxParamStruct*;
using OfxParamSetHandle = struct OfxParamSetStruct*;

/// The value of a parameter of type bytes.
struct OfxBytes {
    const unsigned char* data;
    size_t length;
};

/// Interpolates a custom parameter between two keys.
using OfxCustomParamInterpFuncV1 = OfxStatus(OfxParamSetHandle instance, OfxPropertySetHandle inArgs,
                                             OfxPropertySetHandle outArgs);

/// Version 1. The variable arguments are pointers to the values for the getters and the values themselves for
/// the setters, one per dimension.
struct OfxParameterSuiteV1 {
    OfxStatus (*paramDefine)(OfxParamSetHandle paramSet, const char* paramType, const char* name,
                             OfxPropertySetHandle* propertySet);
    OfxStatus (*paramGetHandle)(OfxParamSetHandle paramSet, const char* name, OfxParamHandle* param,
                                OfxPropertySetHandle* propertySet);
    OfxStatus (*paramSetGetPropertySet)(OfxParamSetHandle paramSet, OfxPropertySetHandle* propHandle);
    OfxStatus (*paramGetPropertySet)(OfxParamHandle param, OfxPropertySetHandle* propHandle);
    OfxStatus (*paramGetValue)(OfxParamHandle paramHandle, ...);
    OfxStatus (*paramGetValueAtTime)(OfxParamHandle paramHandle, OfxTime time, ...);
    OfxStatus (*paramGetDerivative)(OfxParamHandle paramHandle, OfxTime time, ...);
    OfxStatus (*paramGetIntegral)(OfxParamHandle paramHandle, OfxTime time1, OfxTime time2, ...);
    OfxStatus (*paramSetValue)(OfxParamHandle paramHandle, ...);
    OfxStatus (*paramSetValueAtTime)(OfxParamHandle paramHandle, OfxTime time, ...);
    OfxStatus (*paramGetNumKeys)(OfxParamHandle paramHandle, unsigned int* numberOfKeys);
    OfxStatus (*paramGetKeyTime)(OfxParamHandle paramHandle, unsigned int nthKey, OfxTime* time);
    OfxStatus (*paramGetKeyIndex)(OfxParamHandle paramHandle, OfxTime time, int direction, int* index);
    OfxStatus (*paramDeleteKey)(OfxParamHandle paramHandle, OfxTime time);
    OfxStatus (*paramDeleteAllKeys)(OfxParamHandle paramHandle);
    OfxStatus (*paramCopy)(OfxParamHandle paramTo, OfxParamHandle paramFrom, OfxTime dstOffset,
                           const OfxRangeD* frameRange);
    OfxStatus (*paramEditBegin)(OfxParamSetHandle paramSet, const char* name);
    OfxStatus (*paramEditEnd)(OfxParamSetHandle paramSet);
};

/// What kOfxPropType says of parameters.
inline constexpr char kOfxTypeParameter[] = "OfxTypeParameter";
inline constexpr char kOfxTypeParameterInstance[] = "OfxTypeParameterInstance";

/// Types of parameters.
inline constexpr char kOfxParamTypeInteger[] = "OfxParamTypeInteger";
inline constexpr char kOfxParamTypeDouble[] = "OfxParamTypeDouble";
inline constexpr char kOfxParamTypeBoolean[] = "OfxParamTypeBoolean";
inline constexpr char kOfxParamTypeChoice[] = "OfxParamTypeChoice";
inline constexpr char kOfxParamTypeStrChoice[] = "OfxParamTypeStrChoice";
inline constexpr char kOfxParamTypeRGBA[] = "OfxParamTypeRGBA";
inline constexpr char kOfxParamTypeRGB[] = "OfxParamTypeRGB";
inline constexpr char kOfxParamTypeDouble2D[] = "OfxParamTypeDouble2D";
inline constexpr char kOfxParamTypeInteger2D[] = "OfxParamTypeInteger2D";
inline constexpr char kOfxParamTypeDouble3D[] = "OfxParamTypeDouble3D";
inline constexpr char kOfxParamTypeInteger3D[] = "OfxParamTypeInteger3D";
inline constexpr char kOfxParamTypeString[] = "OfxParamTypeString";
inline constexpr char kOfxParamTypeCustom[] = "OfxParamTypeCustom";
inline constexpr char kOfxParamTypeBytes[] = "OfxParamTypeBytes";
inline constexpr char kOfxParamTypeGroup[] = "OfxParamTypeGroup";
inline constexpr char kOfxParamTypePage[] = "OfxParamTypePage";
inline constexpr char kOfxParamTypePushButton[] = "OfxParamTypePushButton";

/// Behaviour and state of a parameter.
inline constexpr char kOfxParamPropType[] = "OfxParamPropType";
inline constexpr char kOfxParamPropAnimates[] = "OfxParamPropAnimates";
inline constexpr char kOfxParamPropCanUndo[] = "OfxParamPropCanUndo";
inline constexpr char kOfxPropParamSetNeedsSyncing[] = "OfxPropParamSetNeedsSyncing";
inline constexpr char kOfxParamPropIsAnimating[] = "OfxParamPropIsAnimating";
inline constexpr char kOfxParamPropPluginMayWrite[] = "OfxParamPropPluginMayWrite";
inline constexpr char kOfxParamPropPersistant[] = "OfxParamPropPersistant";
inline constexpr char kOfxParamPropEvaluateOnChange[] = "OfxParamPropEvaluateOnChange";
inline constexpr char kOfxParamPropSecret[] = "OfxParamPropSecret";
inline constexpr char kOfxParamPropScriptName[] = "OfxParamPropScriptName";
inline constexpr char kOfxParamPropCacheInvalidation[] = "OfxParamPropCacheInvalidation";
inline constexpr char kOfxParamInvalidateValueChange[] = "OfxParamInvalidateValueChange";
inline constexpr char kOfxParamInvalidateValueChangeToEnd[] = "OfxParamInvalidateValueChangeToEnd";
inline constexpr char kOfxParamInvalidateAll[] = "OfxParamInvalidateAll";
inline constexpr char kOfxParamPropHint[] = "OfxParamPropHint";
inline constexpr char kOfxParamPropHasHostOverlayHandle[] = "OfxParamPropHasHostOverlayHandle";
inline constexpr char kOfxParamPropUseHostOverlayHandle[] = "kOfxParamPropUseHostOverlayHandle";
inline constexpr char kOfxParamPropShowTimeMarker[] = "OfxParamPropShowTimeMarker";
inline constexpr char kOfxParamPropParent[] = "OfxParamPropParent";
inline constexpr char kOfxParamPropEnabled[] = "OfxParamPropEnabled";
inline constexpr char kOfxParamPropDataPtr[] = "OfxParamPropDataPtr";
inline constexpr char kOfxParamPropIsAutoKeying[] = "OfxParamPropIsAutoKeying";

/// Values and limits.
inline constexpr char kOfxParamPropDefault[] = "OfxParamPropDefault";
inline constexpr char kOfxParamPropMin[] = "OfxParamPropMin";
inline constexpr char kOfxParamPropMax[] = "OfxParamPropMax";
inline constexpr char kOfxParamPropDisplayMin[] = "OfxParamPropDisplayMin";
inline constexpr char kOfxParamPropDisplayMax[] = "OfxParamPropDisplayMax";
inline constexpr char kOfxParamPropIncrement[] = "OfxParamPropIncrement";
inline constexpr char kOfxParamPropDigits[] = "OfxParamPropDigits";
inline constexpr char kOfxParamPropDimensionLabel[] = "OfxParamPropDimensionLabel";

/// What a double stands for.
inline constexpr char kOfxParamPropDoubleType[] = "OfxParamPropDoubleType";
inline constexpr char kOfxParamDoubleTypePlain[] = "OfxParamDoubleTypePlain";
inline constexpr char kOfxParamDoubleTypeScale[] = "OfxParamDoubleTypeScale";
inline constexpr char kOfxParamDoubleTypeAngle[] = "OfxParamDoubleTypeAngle";
inline constexpr char kOfxParamDoubleTypeTime[] = "OfxParamDoubleTypeTime";
inline constexpr char kOfxParamDoubleTypeAbsoluteTime[] = "OfxParamDoubleTypeAbsoluteTime";
inline constexpr char kOfxParamDoubleTypeX[] = "OfxParamDoubleTypeX";
inline constexpr char kOfxParamDoubleTypeY[] = "OfxParamDoubleTypeY";
inline constexpr char kOfxParamDoubleTypeXAbsolute[] = "OfxParamDoubleTypeXAbsolute";
inline constexpr char kOfxParamDoubleTypeYAbsolute[] = "OfxParamDoubleTypeYAbsolute";
inline constexpr char kOfxParamDoubleTypeXY[] = "OfxParamDoubleTypeXY";
inline constexpr char kOfxParamDoubleTypeXYAbsolute[] = "OfxParamDoubleTypeXYAbsolute";

/// In which coordinates the default of a position is given.
inline constexpr char kOfxParamPropDefaultCoordinateSystem[] = "OfxParamPropDefaultCoordinateSystem";
inline constexpr char kOfxParamCoordinatesCanonical[] = "OfxParamCoordinatesCanonical";
inline constexpr char kOfxParamCoordinatesNormalised[] = "OfxParamCoordinatesNormalised";

/// Choices.
inline constexpr char kOfxParamPropChoiceOption[] = "OfxParamPropChoiceOption";
inline constexpr char kOfxParamPropChoiceOrder[] = "OfxParamPropChoiceOrder";
inline constexpr char kOfxParamPropChoiceEnum[] = "OfxParamPropChoiceEnum";

/// Kinds of string parameters.
inline constexpr char kOfxParamPropStringMode[] = "OfxParamPropStringMode";
inline constexpr char kOfxParamPropStringFilePathExists[] = "OfxParamPropStringFilePathExists";
inline constexpr char kOfxParamStringIsSingleLine[] = "OfxParamStringIsSingleLine";
inline constexpr char kOfxParamStringIsMultiLine[] = "OfxParamStringIsMultiLine";
inline constexpr char kOfxParamStringIsFilePath[] = "OfxParamStringIsFilePath";
inline constexpr char kOfxParamStringIsDirectoryPath[] = "OfxParamStringIsDirectoryPath";
inline constexpr char kOfxParamStringIsLabel[] = "OfxParamStringIsLabel";
inline constexpr char kOfxParamStringIsRichTextFormat[] = "OfxParamStringIsRichTextFormat";

/// Groups and pages.
inline constexpr char kOfxParamPageSkipRow[] = "OfxParamPageSkipRow";
inline constexpr char kOfxParamPageSkipColumn[] = "OfxParamPageSkipColumn";
inline constexpr char kOfxPluginPropParamPageOrder[] = "OfxPluginPropParamPageOrder";
inline constexpr char kOfxParamPropPageChild[] = "OfxParamPropPageChild";
inline constexpr char kOfxParamPropGroupOpen[] = "OfxParamPropGroupOpen";

/// What the host can do with parameters.
inline constexpr char kOfxParamHostPropSupportsCustomAnimation[] = "OfxParamHostPropSupportsCustomAnimation";
inline constexpr char kOfxParamHostPropSupportsStringAnimation[] = "OfxParamHostPropSupportsStringAnimation";
inline constexpr char kOfxParamHostPropSupportsBooleanAnimation[] =
    "OfxParamHostPropSupportsBooleanAnimation";
inline constexpr char kOfxParamHostPropSupportsChoiceAnimation[] = "OfxParamHostPropSupportsChoiceAnimation";
inline constexpr char kOfxParamHostPropSupportsCustomInteract[] = "OfxParamHostPropSupportsCustomInteract";
inline constexpr char kOfxParamHostPropMaxParameters[] = "OfxParamHostPropMaxParameters";
inline constexpr char kOfxParamHostPropMaxPages[] = "OfxParamHostPropMaxPages";
inline constexpr char kOfxParamHostPropPageRowColumnCount[] = "OfxParamHostPropPageRowColumnCount";
inline constexpr char kOfxParamHostPropSupportsStrChoiceAnimation[] =
    "OfxParamHostPropSupportsStrChoiceAnimation";
inline constexpr char kOfxParamHostPropSupportsStrChoice[] = "OfxParamHostPropSupportsStrChoice";

/// Parameters that draw themselves.
inline constexpr char kOfxParamPropInteractV1[] = "OfxParamPropInteractV1";
inline constexpr char kOfxParamPropInteractSize[] = "OfxParamPropInteractSize";
inline constexpr char kOfxParamPropInteractSizeAspect[] = "OfxParamPropInteractSizeAspect";
inline constexpr char kOfxParamPropInteractMinimumSize[] = "OfxParamPropInteractMinimumSize";
inline constexpr char kOfxParamPropInteractPreferedSize[] = "OfxParamPropInteractPreferedSize";

/// Custom parameters and interpolation.
inline constexpr char kOfxParamInterpTypeConstantStep[] = "OfxParamInterpTypeConstantStep";
inline constexpr char kOfxParamInterpTypeLinear[] = "OfxParamInterpTypeLinear";
inline constexpr char kOfxParamInterpTypeSmooth[] = "OfxParamInterpTypeSmooth";
inline constexpr char kOfxParamInterpType[] = "OfxParamInterpType";
inline constexpr char kOfxParamPropCustomInterpCallbackV1[] = "OfxParamPropCustomCallbackV1";
inline constexpr char kOfxParamPropCustomValue[] = "OfxParamPropCustomValue";
inline constexpr char kOfxParamPropInterpolationTime[] = "OfxParamPropInterpolationTime";
inline constexpr char kOfxParamPropInterpolationAmount[] = "OfxParamPropInterpolationAmount";
