#pragma once

// Messages to the user.

#include "host/ofx/abi/OfxCore.h"

/// Name of the suite, for both versions.
inline constexpr char kOfxMessageSuite[] = "OfxMessageSuite";

/// Kinds of messages.
inline constexpr char kOfxMessageFatal[] = "OfxMessageFatal";
inline constexpr char kOfxMessageError[] = "OfxMessageError";
inline constexpr char kOfxMessageWarning[] = "OfxMessageWarning";
inline constexpr char kOfxMessageMessage[] = "OfxMessageMessage";
inline constexpr char kOfxMessageLog[] = "OfxMessageLog";
inline constexpr char kOfxMessageQuestion[] = "OfxMessageQuestion";

/// Version 1. The text is a format of the printf family.
struct OfxMessageSuiteV1 {
    OfxStatus (*message)(void* handle, const char* messageType, const char* messageId, const char* format,
                         ...);
};

/// Version 2: also messages that stay until they are taken back.
struct OfxMessageSuiteV2 {
    OfxStatus (*message)(void* handle, const char* messageType, const char* messageId, const char* format,
                         ...);
    OfxStatus (*setPersistentMessage)(void* handle, const char* messageType, const char* messageId,
                                      const char* format, ...);
    OfxStatus (*clearPersistentMessage)(void* handle);
};
