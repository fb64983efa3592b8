#include "host/ofx/PropertySet.h"

#include "host/ofx/Error.h"

namespace TQ::Host::OFX {

namespace {

/// Whether a refused write of a property that the host need not know still ends the action.
void CheckOffer(OfxStatus status) {
    if (status == kOfxStatErrMemory || status == kOfxStatErrBadHandle || status == kOfxStatErrFatal) {
        throw Error(status);
    }
}

}  // namespace

int PropertySet::Int(const char* name, int fallback, int index) const {
    int value = fallback;
    if (_handle == nullptr || _suite->propGetInt(_handle, name, index, &value) != kOfxStatOK) {
        return fallback;
    }
    return value;
}

double PropertySet::Double(const char* name, double fallback, int index) const {
    double value = fallback;
    if (_handle == nullptr || _suite->propGetDouble(_handle, name, index, &value) != kOfxStatOK) {
        return fallback;
    }
    return value;
}

std::string PropertySet::Text(const char* name, const char* fallback, int index) const {
    char* value = nullptr;
    if (_handle == nullptr || _suite->propGetString(_handle, name, index, &value) != kOfxStatOK ||
        value == nullptr) {
        return fallback;
    }
    return value;
}

void* PropertySet::Pointer(const char* name) const {
    void* value = nullptr;
    if (_handle == nullptr || _suite->propGetPointer(_handle, name, 0, &value) != kOfxStatOK) {
        return nullptr;
    }
    return value;
}

int PropertySet::NeedInt(const char* name, int index) const {
    int value = 0;
    Check(_handle == nullptr ? kOfxStatErrBadHandle : _suite->propGetInt(_handle, name, index, &value));
    return value;
}

double PropertySet::NeedDouble(const char* name, int index) const {
    double value = 0.0;
    Check(_handle == nullptr ? kOfxStatErrBadHandle : _suite->propGetDouble(_handle, name, index, &value));
    return value;
}

std::string PropertySet::NeedText(const char* name, int index) const {
    char* value = nullptr;
    Check(_handle == nullptr ? kOfxStatErrBadHandle : _suite->propGetString(_handle, name, index, &value));
    return value == nullptr ? "" : value;
}

OfxStatus PropertySet::Write(const char* name, int value, int index) const {
    return _handle == nullptr ? kOfxStatErrBadHandle : _suite->propSetInt(_handle, name, index, value);
}

OfxStatus PropertySet::Write(const char* name, double value, int index) const {
    return _handle == nullptr ? kOfxStatErrBadHandle : _suite->propSetDouble(_handle, name, index, value);
}

OfxStatus PropertySet::Write(const char* name, const char* value, int index) const {
    return _handle == nullptr ? kOfxStatErrBadHandle : _suite->propSetString(_handle, name, index, value);
}

void PropertySet::Set(const char* name, int value, int index) const {
    Check(Write(name, value, index));
}
void PropertySet::Set(const char* name, double value, int index) const {
    Check(Write(name, value, index));
}
void PropertySet::Set(const char* name, const char* value, int index) const {
    Check(Write(name, value, index));
}

void PropertySet::Set(const char* name, void* value) const {
    Check(_handle == nullptr ? kOfxStatErrBadHandle : _suite->propSetPointer(_handle, name, 0, value));
}

void PropertySet::Offer(const char* name, int value, int index) const {
    CheckOffer(Write(name, value, index));
}
void PropertySet::Offer(const char* name, double value, int index) const {
    CheckOffer(Write(name, value, index));
}
void PropertySet::Offer(const char* name, const char* value, int index) const {
    CheckOffer(Write(name, value, index));
}

}  // namespace TQ::Host::OFX
