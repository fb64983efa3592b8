#pragma once

#include "host/ofx/abi/OfxCore.h"

namespace TQ::Host::OFX {

/// A call of the host failed with this status, which becomes the status of the action. Shows no message.
class Error {
  public:
    explicit Error(OfxStatus status) : _status(status) {}
    OfxStatus Status() const { return _status; }

  private:
    OfxStatus _status;
};

/// Throws Error unless `status` is kOfxStatOK.
inline void Check(OfxStatus status) {
    if (status != kOfxStatOK) {
        throw Error(status);
    }
}

}  // namespace TQ::Host::OFX
