#pragma once

#include <new>

#include "host/ofx/abi/OfxCore.h"

namespace TQ::App {

/// Runs the body of a suite function; nothing is thrown through the C interface.
template <typename Body>
OfxStatus Guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return kOfxStatErrMemory;
    } catch (...) {
        return kOfxStatFailed;
    }
}

}  // namespace TQ::App
