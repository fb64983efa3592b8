#pragma once

// Overlays and parameter widgets that a plug-in draws itself. Declared for hosts that look for the names; the
// effect draws nothing.

#include "host/ofx/abi/OfxCore.h"

/// Name of the suite.
inline constexpr char kOfxInteractSuite[] = "OfxInteractSuite";

using OfxInteractHandle = struct OfxInteract*;

/// Version 1.
struct OfxInteractSuiteV1 {
    OfxStatus (*interactSwapBuffers)(OfxInteractHandle interactInstance);
    OfxStatus (*interactRedraw)(OfxInteractHandle interactInstance);
    OfxStatus (*interactGetPropertySet)(OfxInteractHandle interactInstance, OfxPropertySetHandle* property);
};

/// Properties of interacts and of their calls.
inline constexpr char kOfxInteractPropSlaveToParam[] = "OfxInteractPropSlaveToParam";
inline constexpr char kOfxInteractPropPixelScale[] = "OfxInteractPropPixelScale";
inline constexpr char kOfxInteractPropBackgroundColour[] = "OfxInteractPropBackgroundColour";
inline constexpr char kOfxInteractPropSuggestedColour[] = "OfxInteractPropSuggestedColour";
inline constexpr char kOfxInteractPropPenPosition[] = "OfxInteractPropPenPosition";
inline constexpr char kOfxInteractPropPenViewportPosition[] = "OfxInteractPropPenViewportPosition";
inline constexpr char kOfxInteractPropPenPressure[] = "OfxInteractPropPenPressure";
inline constexpr char kOfxInteractPropBitDepth[] = "OfxInteractPropBitDepth";
inline constexpr char kOfxInteractPropHasAlpha[] = "OfxInteractPropHasAlpha";

/// Actions of an interact's own entry point; the first three share their text with those of effects.
inline constexpr char kOfxActionDescribeInteract[] = "OfxActionDescribe";
inline constexpr char kOfxActionCreateInstanceInteract[] = "OfxActionCreateInstance";
inline constexpr char kOfxActionDestroyInstanceInteract[] = "OfxActionDestroyInstance";
inline constexpr char kOfxInteractActionDraw[] = "OfxInteractActionDraw";
inline constexpr char kOfxInteractActionPenMotion[] = "OfxInteractActionPenMotion";
inline constexpr char kOfxInteractActionPenDown[] = "OfxInteractActionPenDown";
inline constexpr char kOfxInteractActionPenUp[] = "OfxInteractActionPenUp";
inline constexpr char kOfxInteractActionKeyDown[] = "OfxInteractActionKeyDown";
inline constexpr char kOfxInteractActionKeyUp[] = "OfxInteractActionKeyUp";
inline constexpr char kOfxInteractActionKeyRepeat[] = "OfxInteractActionKeyRepeat";
inline constexpr char kOfxInteractActionGainFocus[] = "OfxInteractActionGainFocus";
inline constexpr char kOfxInteractActionLoseFocus[] = "OfxInteractActionLoseFocus";
