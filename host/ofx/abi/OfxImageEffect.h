#pragma once

// Image effects: actions, clips, images and the suite behind them.
//
// Ours, not of the standard: namespace OfxNames, which holds the beginnings of property names that end in a
// clip's name.

#include <cstddef>

#include "host/ofx/abi/OfxCore.h"
#include "host/ofx/abi/OfxParam.h"

/// Name of the suite.
inline constexpr char kOfxImageEffectSuite[] = "OfxImageEffectSuite";

using OfxImageEffectHandle = struct OfxImageEffectStruct*;
using OfxImageClipHandle = struct OfxImageClipStruct*;
using OfxImageMemoryHandle = struct OfxImageMemoryStruct*;

/// Version 1.
struct OfxImageEffectSuiteV1 {
    OfxStatus (*getPropertySet)(OfxImageEffectHandle imageEffect, OfxPropertySetHandle* propHandle);
    OfxStatus (*getParamSet)(OfxImageEffectHandle imageEffect, OfxParamSetHandle* paramSet);
    OfxStatus (*clipDefine)(OfxImageEffectHandle imageEffect, const char* name,
                            OfxPropertySetHandle* propertySet);
    OfxStatus (*clipGetHandle)(OfxImageEffectHandle imageEffect, const char* name, OfxImageClipHandle* clip,
                               OfxPropertySetHandle* propertySet);
    OfxStatus (*clipGetPropertySet)(OfxImageClipHandle clip, OfxPropertySetHandle* propHandle);
    /// kOfxStatFailed: there is no image at that time. Each image is given back once with clipReleaseImage.
    OfxStatus (*clipGetImage)(OfxImageClipHandle clip, OfxTime time, const OfxRectD* region,
                              OfxPropertySetHandle* imageHandle);
    OfxStatus (*clipReleaseImage)(OfxPropertySetHandle imageHandle);
    OfxStatus (*clipGetRegionOfDefinition)(OfxImageClipHandle clip, OfxTime time, OfxRectD* bounds);
    /// 1 when the render is to stop.
    int (*abort)(OfxImageEffectHandle imageEffect);
    OfxStatus (*imageMemoryAlloc)(OfxImageEffectHandle instanceHandle, size_t nBytes,
                                  OfxImageMemoryHandle* memoryHandle);
    OfxStatus (*imageMemoryFree)(OfxImageMemoryHandle memoryHandle);
    OfxStatus (*imageMemoryLock)(OfxImageMemoryHandle memoryHandle, void** returnedPtr);
    OfxStatus (*imageMemoryUnlock)(OfxImageMemoryHandle memoryHandle);
};

/// Which API a plug-in is for.
inline constexpr char kOfxImageEffectPluginApi[] = "OfxImageEffectPluginAPI";
constexpr int kOfxImageEffectPluginApiVersion = 1;

/// Actions of image effects.
inline constexpr char kOfxImageEffectActionGetRegionOfDefinition[] =
    "OfxImageEffectActionGetRegionOfDefinition";
inline constexpr char kOfxImageEffectActionGetRegionsOfInterest[] =
    "OfxImageEffectActionGetRegionsOfInterest";
inline constexpr char kOfxImageEffectActionGetTimeDomain[] = "OfxImageEffectActionGetTimeDomain";
inline constexpr char kOfxImageEffectActionGetFramesNeeded[] = "OfxImageEffectActionGetFramesNeeded";
inline constexpr char kOfxImageEffectActionGetClipPreferences[] = "OfxImageEffectActionGetClipPreferences";
inline constexpr char kOfxImageEffectActionIsIdentity[] = "OfxImageEffectActionIsIdentity";
inline constexpr char kOfxImageEffectActionRender[] = "OfxImageEffectActionRender";
inline constexpr char kOfxImageEffectActionBeginSequenceRender[] = "OfxImageEffectActionBeginSequenceRender";
inline constexpr char kOfxImageEffectActionEndSequenceRender[] = "OfxImageEffectActionEndSequenceRender";
inline constexpr char kOfxImageEffectActionDescribeInContext[] = "OfxImageEffectActionDescribeInContext";

/// What kOfxPropType says.
inline constexpr char kOfxTypeImageEffectHost[] = "OfxTypeImageEffectHost";
inline constexpr char kOfxTypeImageEffect[] = "OfxTypeImageEffect";
inline constexpr char kOfxTypeImageEffectInstance[] = "OfxTypeImageEffectInstance";
inline constexpr char kOfxTypeClip[] = "OfxTypeClip";
inline constexpr char kOfxTypeImage[] = "OfxTypeImage";

/// Contexts in which an effect can be used.
inline constexpr char kOfxImageEffectContextGenerator[] = "OfxImageEffectContextGenerator";
inline constexpr char kOfxImageEffectContextFilter[] = "OfxImageEffectContextFilter";
inline constexpr char kOfxImageEffectContextTransition[] = "OfxImageEffectContextTransition";
inline constexpr char kOfxImageEffectContextPaint[] = "OfxImageEffectContextPaint";
inline constexpr char kOfxImageEffectContextGeneral[] = "OfxImageEffectContextGeneral";
inline constexpr char kOfxImageEffectContextRetimer[] = "OfxImageEffectContextRetimer";
inline constexpr char kOfxImageEffectPropSupportedContexts[] = "OfxImageEffectPropSupportedContexts";
inline constexpr char kOfxImageEffectPropContext[] = "OfxImageEffectPropContext";

/// Names of clips and parameters that contexts prescribe.
inline constexpr char kOfxImageEffectOutputClipName[] = "Output";
inline constexpr char kOfxImageEffectSimpleSourceClipName[] = "Source";
inline constexpr char kOfxImageEffectTransitionSourceFromClipName[] = "SourceFrom";
inline constexpr char kOfxImageEffectTransitionSourceToClipName[] = "SourceTo";
inline constexpr char kOfxImageEffectTransitionParamName[] = "Transition";
inline constexpr char kOfxImageEffectRetimerParamName[] = "SourceTime";

/// Components of a pixel.
inline constexpr char kOfxImageComponentNone[] = "OfxImageComponentNone";
inline constexpr char kOfxImageComponentRGBA[] = "OfxImageComponentRGBA";
inline constexpr char kOfxImageComponentRGB[] = "OfxImageComponentRGB";
inline constexpr char kOfxImageComponentAlpha[] = "OfxImageComponentAlpha";
inline constexpr char kOfxImageEffectPropComponents[] = "OfxImageEffectPropComponents";
inline constexpr char kOfxImageEffectPropSupportedComponents[] = "OfxImageEffectPropSupportedComponents";

/// Depths: those that a host or effect supports, and that of an image or clip.
inline constexpr char kOfxImageEffectPropSupportsMultipleClipDepths[] =
    "OfxImageEffectPropMultipleClipDepths";
inline constexpr char kOfxImageEffectPropPixelDepth[] = "OfxImageEffectPropPixelDepth";
inline constexpr char kOfxImageEffectPropSupportedPixelDepths[] = "OfxImageEffectPropSupportedPixelDepths";

/// How colour and alpha relate.
inline constexpr char kOfxImageEffectPropPreMultiplication[] = "OfxImageEffectPropPreMultiplication";
inline constexpr char kOfxImageOpaque[] = "OfxImageOpaque";
inline constexpr char kOfxImagePreMultiplied[] = "OfxImageAlphaPremultiplied";
inline constexpr char kOfxImageUnPreMultiplied[] = "OfxImageAlphaUnPremultiplied";

/// Description of a host.
inline constexpr char kOfxImageEffectHostPropIsBackground[] = "OfxImageEffectHostPropIsBackground";
inline constexpr char kOfxImageEffectPropSupportsMultipleClipPARs[] =
    "OfxImageEffectPropSupportsMultipleClipPARs";
inline constexpr char kOfxImageEffectPropSetableFrameRate[] = "OfxImageEffectPropSetableFrameRate";
inline constexpr char kOfxImageEffectPropSetableFielding[] = "OfxImageEffectPropSetableFielding";
inline constexpr char kOfxImageEffectInstancePropSequentialRender[] =
    "OfxImageEffectInstancePropSequentialRender";
inline constexpr char kOfxHostNativeOriginBottomLeft[] = "kOfxImageEffectHostPropNativeOriginBottomLeft";
inline constexpr char kOfxHostNativeOriginTopLeft[] = "kOfxImageEffectHostPropNativeOriginTopLeft";
inline constexpr char kOfxHostNativeOriginCenter[] = "kOfxImageEffectHostPropNativeOriginCenter";
inline constexpr char kOfxImageEffectHostPropNativeOrigin[] = "OfxImageEffectHostPropNativeOrigin";
inline constexpr char kOfxImageEffectPropSupportsOverlays[] = "OfxImageEffectPropSupportsOverlays";
inline constexpr char kOfxImageEffectPropSupportsMultiResolution[] =
    "OfxImageEffectPropSupportsMultiResolution";
inline constexpr char kOfxImageEffectPropSupportsTiles[] = "OfxImageEffectPropSupportsTiles";
inline constexpr char kOfxImageEffectPropTemporalClipAccess[] = "OfxImageEffectPropTemporalClipAccess";

/// Description of an effect.
inline constexpr char kOfxImageEffectPropPluginHandle[] = "OfxImageEffectPropPluginHandle";
inline constexpr char kOfxImageEffectPluginPropSingleInstance[] = "OfxImageEffectPluginPropSingleInstance";
inline constexpr char kOfxImageEffectPluginRenderThreadSafety[] = "OfxImageEffectPluginRenderThreadSafety";
inline constexpr char kOfxImageEffectRenderUnsafe[] = "OfxImageEffectRenderUnsafe";
inline constexpr char kOfxImageEffectRenderInstanceSafe[] = "OfxImageEffectRenderInstanceSafe";
inline constexpr char kOfxImageEffectRenderFullySafe[] = "OfxImageEffectRenderFullySafe";
inline constexpr char kOfxImageEffectPluginPropHostFrameThreading[] =
    "OfxImageEffectPluginPropHostFrameThreading";
inline constexpr char kOfxImageEffectPropClipPreferencesSlaveParam[] =
    "OfxImageEffectPropClipPreferencesSlaveParam";
inline constexpr char kOfxImageEffectPluginPropGrouping[] = "OfxImageEffectPluginPropGrouping";
inline constexpr char kOfxImageEffectPluginPropObsolete[] = "OfxImageEffectPluginPropObsolete";
inline constexpr char kOfxImageEffectPluginPropOverlayInteractV1[] =
    "OfxImageEffectPluginPropOverlayInteractV1";
inline constexpr char kOfxImageEffectPluginPropOverlayInteractV2[] =
    "OfxImageEffectPluginPropOverlayInteractV2";
inline constexpr char kOfxImageEffectPropNoSpatialAwareness[] = "OfxImageEffectPropNoSpatialAwareness";
inline constexpr char kOfxImageEffectPluginPropFieldRenderTwiceAlways[] =
    "OfxImageEffectPluginPropFieldRenderTwiceAlways";

/// Description of clips.
inline constexpr char kOfxImageClipPropContinuousSamples[] = "OfxImageClipPropContinuousSamples";
inline constexpr char kOfxImageClipPropUnmappedPixelDepth[] = "OfxImageClipPropUnmappedPixelDepth";
inline constexpr char kOfxImageClipPropUnmappedComponents[] = "OfxImageClipPropUnmappedComponents";
inline constexpr char kOfxImageClipPropOptional[] = "OfxImageClipPropOptional";
inline constexpr char kOfxImageClipPropIsMask[] = "OfxImageClipPropIsMask";
inline constexpr char kOfxImageEffectPropFrameRate[] = "OfxImageEffectPropFrameRate";
inline constexpr char kOfxImageEffectPropUnmappedFrameRate[] = "OfxImageEffectPropUnmappedFrameRate";
inline constexpr char kOfxImageEffectPropFrameStep[] = "OfxImageEffectPropFrameStep";
inline constexpr char kOfxImageEffectPropFrameRange[] = "OfxImageEffectPropFrameRange";
inline constexpr char kOfxImageEffectPropUnmappedFrameRange[] = "OfxImageEffectPropUnmappedFrameRange";
inline constexpr char kOfxImageClipPropConnected[] = "OfxImageClipPropConnected";
inline constexpr char kOfxImageEffectFrameVarying[] = "OfxImageEffectFrameVarying";
inline constexpr char kOfxImageClipPropFieldOrder[] = "OfxImageClipPropFieldOrder";
inline constexpr char kOfxImageClipPropFieldExtraction[] = "OfxImageClipPropFieldExtraction";

/// Description of images. Rectangles are in pixels, four integers.
inline constexpr char kOfxImagePropUniqueIdentifier[] = "OfxImagePropUniqueIdentifier";
inline constexpr char kOfxImagePropPixelAspectRatio[] = "OfxImagePropPixelAspectRatio";
inline constexpr char kOfxImagePropData[] = "OfxImagePropData";
inline constexpr char kOfxImagePropBounds[] = "OfxImagePropBounds";
inline constexpr char kOfxImagePropRegionOfDefinition[] = "OfxImagePropRegionOfDefinition";
inline constexpr char kOfxImagePropRowBytes[] = "OfxImagePropRowBytes";
inline constexpr char kOfxImagePropField[] = "OfxImagePropField";

/// Fields.
inline constexpr char kOfxImageFieldNone[] = "OfxFieldNone";
inline constexpr char kOfxImageFieldLower[] = "OfxFieldLower";
inline constexpr char kOfxImageFieldUpper[] = "OfxFieldUpper";
inline constexpr char kOfxImageFieldBoth[] = "OfxFieldBoth";
inline constexpr char kOfxImageFieldSingle[] = "OfxFieldSingle";
inline constexpr char kOfxImageFieldDoubled[] = "OfxFieldDoubled";

/// The project, in canonical coordinates.
inline constexpr char kOfxImageEffectPropProjectExtent[] = "OfxImageEffectPropProjectExtent";
inline constexpr char kOfxImageEffectPropProjectSize[] = "OfxImageEffectPropProjectSize";
inline constexpr char kOfxImageEffectPropProjectOffset[] = "OfxImageEffectPropProjectOffset";
inline constexpr char kOfxImageEffectPropProjectPixelAspectRatio[] = "OfxImageEffectPropPixelAspectRatio";
inline constexpr char kOfxImageEffectInstancePropEffectDuration[] =
    "OfxImageEffectInstancePropEffectDuration";

/// Arguments of a render and of the actions around it.
inline constexpr char kOfxImageEffectPropSequentialRenderStatus[] =
    "OfxImageEffectPropSequentialRenderStatus";
inline constexpr char kOfxImageEffectPropInteractiveRenderStatus[] =
    "OfxImageEffectPropInteractiveRenderStatus";
inline constexpr char kOfxImageEffectPropRenderScale[] = "OfxImageEffectPropRenderScale";
inline constexpr char kOfxImageEffectPropRenderQualityDraft[] = "OfxImageEffectPropRenderQualityDraft";
inline constexpr char kOfxImageEffectPropThumbnailRender[] = "OfxImageEffectPropThumbnailRender";
inline constexpr char kOfxImageEffectPropFieldToRender[] = "OfxImageEffectPropFieldToRender";
inline constexpr char kOfxImageEffectPropRegionOfDefinition[] = "OfxImageEffectPropRegionOfDefinition";
inline constexpr char kOfxImageEffectPropRegionOfInterest[] = "OfxImageEffectPropRegionOfInterest";
inline constexpr char kOfxImageEffectPropRenderWindow[] = "OfxImageEffectPropRenderWindow";

/// Licences.
inline constexpr char kOfxImageEffectPropBehaviourWhenUnlicensed[] =
    "OfxImageEffectPropBehaviourWhenUnlicensed";
inline constexpr char kOfxUnlicensedContinue[] = "OfxUnlicensedContinue";
inline constexpr char kOfxUnlicensedFail[] = "OfxUnlicensedFail";

/// A host image has a format that the effect cannot use.
constexpr int kOfxStatErrImageFormat = 1000;

/// Beginnings of out-argument names; the clip's name follows.
namespace OfxNames {
inline constexpr char clipRegionPrefix[] = "OfxImageClipPropRoI_";
inline constexpr char clipFrameRangePrefix[] = "OfxImageClipPropFrameRange_";
inline constexpr char clipComponentsPrefix[] = "OfxImageClipPropComponents_";
inline constexpr char clipDepthPrefix[] = "OfxImageClipPropDepth_";
inline constexpr char clipPixelAspectPrefix[] = "OfxImageClipPropPAR_";
}  // namespace OfxNames
