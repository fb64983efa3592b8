#pragma once

#include "host/ofx/Host.h"

namespace TQ::Host::OFX {

/// Runs one action on a freshly made effect object and answers the action's status. Nothing is thrown:
/// failures are shown through the host's messages and mapped to statuses here.
///
/// | failure                     | status                     | message                  |
/// |-----------------------------|----------------------------|--------------------------|
/// | Error                       | its own                    | none                     |
/// | std::bad_alloc              | kOfxStatErrMemory          | "Out of memory!"         |
/// | std::string                 | kOfxStatErrUnknown         | the text                 |
/// | std::exception, Exception   | kOfxStatErrUnknown         | what()                   |
/// | anything else               | kOfxStatErrFatal           | "Unknown internal error" |
///
/// An action that the table does not know gives kOfxStatOK, a missing required suite
/// kOfxStatErrMissingHostFeature.
OfxStatus RunAction(Host& effect, OfxHost* host, const char* action, const void* handle,
                    OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs);

}  // namespace TQ::Host::OFX
