#pragma once

// Plain memory from the host.

#include <cstddef>

#include "host/ofx/abi/OfxCore.h"

/// Name of the suite.
inline constexpr char kOfxMemorySuite[] = "OfxMemorySuite";

/// Version 1. `handle` names the effect that asks; it may be null.
struct OfxMemorySuiteV1 {
    OfxStatus (*memoryAlloc)(void* handle, size_t nBytes, void** allocatedData);
    OfxStatus (*memoryFree)(void* allocatedData);
};
