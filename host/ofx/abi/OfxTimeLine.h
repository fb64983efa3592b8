#pragma once

// The host's time line.

#include "host/ofx/abi/OfxCore.h"

/// Name of the suite.
inline constexpr char kOfxTimeLineSuite[] = "OfxTimeLineSuite";

/// Version 1. `instance` is the effect's handle.
struct OfxTimeLineSuiteV1 {
    OfxStatus (*getTime)(void* instance, double* time);
    OfxStatus (*gotoTime)(void* instance, double time);
    OfxStatus (*getTimeBounds)(void* instance, double* firstTime, double* lastTime);
};
