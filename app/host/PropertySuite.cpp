#include <vector>

#include "app/host/Guard.h"
#include "app/host/PropertySet.h"
#include "app/host/Suites.h"

namespace TQ::App {
namespace {

template <typename Body>
OfxStatus WithSet(OfxPropertySetHandle handle, Body&& body) noexcept {
    return Guarded([&]() -> OfxStatus {
        PropertySet* set = PropertySet::From(handle);
        return set ? body(*set) : kOfxStatErrBadHandle;
    });
}

template <typename Element>
OfxStatus SetOne(OfxPropertySetHandle handle, const char* name, int index, Element value) {
    return WithSet(handle, [&](PropertySet& set) { return set.Write<Element>(name, index, value); });
}

template <typename Element>
OfxStatus SetMany(OfxPropertySetHandle handle, const char* name, int count, const Element* values) {
    return WithSet(handle, [&](PropertySet& set) -> OfxStatus {
        return values || count == 0 ? set.WriteAll<Element>(name, count, values) : kOfxStatErrValue;
    });
}

template <typename Element>
OfxStatus GetOne(OfxPropertySetHandle handle, const char* name, int index, Element* value) {
    return WithSet(handle, [&](PropertySet& set) -> OfxStatus {
        return value ? set.Read<Element>(name, index, *value) : kOfxStatErrValue;
    });
}

template <typename Element>
OfxStatus GetMany(OfxPropertySetHandle handle, const char* name, int count, Element* values) {
    return WithSet(handle, [&](PropertySet& set) -> OfxStatus {
        return values || count == 0 ? set.ReadAll<Element>(name, count, values) : kOfxStatErrValue;
    });
}

OfxStatus SetText(OfxPropertySetHandle handle, const char* name, int index, const char* value) {
    return WithSet(handle, [&](PropertySet& set) -> OfxStatus {
        return value ? set.Write(name, index, MakeText(value)) : kOfxStatErrValue;
    });
}

OfxStatus SetTexts(OfxPropertySetHandle handle, const char* name, int count, const char* const* values) {
    return WithSet(handle, [&](PropertySet& set) -> OfxStatus {
        std::vector<SharedText> texts;
        for (int i = 0; i < count; ++i) {
            if (!values || !values[i]) {
                return kOfxStatErrValue;
            }
            texts.push_back(MakeText(values[i]));
        }
        return set.WriteAll(name, count, texts.data());
    });
}

OfxStatus GetText(OfxPropertySetHandle handle, const char* name, int index, char** value) {
    return WithSet(handle, [&](PropertySet& set) -> OfxStatus {
        SharedText text;
        const OfxStatus status = value ? set.Read(name, index, text) : kOfxStatErrValue;
        if (text) {
            *value = LendText(std::move(text));
        }
        return status;
    });
}

OfxStatus GetTexts(OfxPropertySetHandle handle, const char* name, int count, char** values) {
    return WithSet(handle, [&](PropertySet& set) -> OfxStatus {
        int available = 0;
        OfxStatus status = set.Dimension(name, available);
        if (status != kOfxStatOK) {
            return status;
        }
        // A hollow property has no elements and answers any count.
        std::vector<SharedText> texts(static_cast<std::size_t>(available));
        status =
            available && count > available ? kOfxStatErrBadIndex : set.ReadAll(name, count, texts.data());
        for (int i = 0; status == kOfxStatOK && i < count && i < available; ++i) {
            values[i] = LendText(std::move(texts[static_cast<std::size_t>(i)]));
        }
        return status;
    });
}

OfxStatus NoInts(OfxPropertySetHandle, const char*, int, int*) {
    return kOfxStatErrValue;
}

OfxStatus Reset(OfxPropertySetHandle handle, const char* name) {
    return WithSet(handle, [&](PropertySet& set) { return set.Reset(name); });
}

OfxStatus Dimension(OfxPropertySetHandle handle, const char* name, int* count) {
    return WithSet(handle, [&](PropertySet& set) -> OfxStatus {
        return count ? set.Dimension(name, *count) : kOfxStatErrValue;
    });
}

}  // namespace

const OfxPropertySuiteV1 propertySuite = {
    SetOne<void*>,   SetText,      SetOne<double>,  SetOne<int>,  SetMany<void*>, SetTexts,
    SetMany<double>, SetMany<int>, GetOne<void*>,   GetText,      GetOne<double>, GetOne<int>,
    GetMany<void*>,  GetTexts,     GetMany<double>, GetMany<int>, Reset,          Dimension,
};

const OfxPropertySuiteV1 propertySuiteWithoutInts = [] {
    OfxPropertySuiteV1 suite = propertySuite;
    suite.propGetIntN = NoInts;
    return suite;
}();

}  // namespace TQ::App
