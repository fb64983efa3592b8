#pragma once

// A progress bar in the host.

#include "host/ofx/abi/OfxCore.h"

/// Name of the suite, for both versions.
inline constexpr char kOfxProgressSuite[] = "OfxProgressSuite";

/// Version 1. `progress` runs from 0 to 1; kOfxStatReplyNo asks the effect to stop.
struct OfxProgressSuiteV1 {
    OfxStatus (*progressStart)(void* effectInstance, const char* label);
    OfxStatus (*progressUpdate)(void* effectInstance, double progress);
    OfxStatus (*progressEnd)(void* effectInstance);
};

/// Version 2: the bar has an id by which the host may tell bars apart.
struct OfxProgressSuiteV2 {
    OfxStatus (*progressStart)(void* effectInstance, const char* message, const char* messageid);
    OfxStatus (*progressUpdate)(void* effectInstance, double progress);
    OfxStatus (*progressEnd)(void* effectInstance);
};
