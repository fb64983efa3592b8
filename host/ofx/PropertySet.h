#pragma once

#include <string>

#include "host/ofx/abi/OfxProperty.h"

namespace TQ::Host::OFX {

/// The properties of one object of the host; looks at them, owns nothing. Reads and writes go element by
/// element. A read with a fallback answers the fallback when the host fails, and also when it reports success
/// but leaves the value untouched.
class PropertySet {
  public:
    PropertySet() = default;
    PropertySet(const OfxPropertySuiteV1* suite, OfxPropertySetHandle handle)
        : _suite(suite), _handle(handle) {}

    OfxPropertySetHandle Handle() const { return _handle; }
    explicit operator bool() const { return _handle != nullptr; }

    int Int(const char* name, int fallback, int index = 0) const;
    double Double(const char* name, double fallback, int index = 0) const;
    std::string Text(const char* name, const char* fallback, int index = 0) const;
    void* Pointer(const char* name) const;  ///< null when unreadable

    /// As above for what a call cannot do without: throw Error with the host's status.
    int NeedInt(const char* name, int index = 0) const;
    double NeedDouble(const char* name, int index = 0) const;
    std::string NeedText(const char* name, int index = 0) const;

    /// Throw Error when the host refuses.
    void Set(const char* name, int value, int index = 0) const;
    void Set(const char* name, double value, int index = 0) const;
    void Set(const char* name, const char* value, int index = 0) const;
    void Set(const char* name, void* value) const;

    /// As Set, but a host that does not know the property or the value is left alone. Throw Error when the
    /// host is out of memory, was given a bad handle or broke down.
    void Offer(const char* name, int value, int index = 0) const;
    void Offer(const char* name, double value, int index = 0) const;
    void Offer(const char* name, const char* value, int index = 0) const;

  private:
    OfxStatus Write(const char* name, int value, int index) const;
    OfxStatus Write(const char* name, double value, int index) const;
    OfxStatus Write(const char* name, const char* value, int index) const;

    const OfxPropertySuiteV1* _suite = nullptr;
    OfxPropertySetHandle _handle = nullptr;
};

}  // namespace TQ::Host::OFX
