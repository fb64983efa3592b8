#include <cstdarg>
#include <string>

#include "app/host/Guard.h"
#include "app/host/Parameter.h"
#include "app/host/Suites.h"

// Parameters of this host keep one value for all times: it sets no keys, and says so.

namespace TQ::App {
namespace {

template <typename Body>
OfxStatus WithParameter(OfxParamHandle handle, Body&& body) noexcept {
    return Guarded([&]() -> OfxStatus {
        Parameter* parameter = Parameter::From(handle);
        return parameter ? body(*parameter) : kOfxStatErrBadHandle;
    });
}

OfxStatus ParamDefine(OfxParamSetHandle handle, const char* type, const char* name,
                      OfxPropertySetHandle* properties) {
    return Guarded([&]() -> OfxStatus {
        ParameterSet* set = ParameterSet::From(handle);
        if (!set || !set->IsOpen()) {
            return kOfxStatErrBadHandle;
        }
        const ParameterType* known = type ? FindParameterType(type) : nullptr;
        if (!known) {
            return kOfxStatErrUnknown;
        }
        if (!name || !*name) {
            return kOfxStatErrValue;
        }
        Parameter* parameter = set->Define(*known, name);
        if (!parameter) {
            return kOfxStatErrExists;
        }
        if (properties) {
            *properties = parameter->Properties().AsHandle();
        }
        return kOfxStatOK;
    });
}

OfxStatus ParamGetHandle(OfxParamSetHandle handle, const char* name, OfxParamHandle* result,
                         OfxPropertySetHandle* properties) {
    return Guarded([&]() -> OfxStatus {
        ParameterSet* set = ParameterSet::From(handle);
        if (!set || !result) {
            return kOfxStatErrBadHandle;
        }
        Parameter* parameter = name ? set->Find(name) : nullptr;
        if (!parameter) {
            return kOfxStatErrUnknown;
        }
        *result = parameter->AsHandle();
        if (properties) {
            *properties = parameter->Properties().AsHandle();
        }
        return kOfxStatOK;
    });
}

OfxStatus ParamSetGetPropertySet(OfxParamSetHandle handle, OfxPropertySetHandle* properties) {
    return Guarded([&]() -> OfxStatus {
        ParameterSet* set = ParameterSet::From(handle);
        if (!set || !properties) {
            return kOfxStatErrBadHandle;
        }
        *properties = set->Properties().AsHandle();
        return kOfxStatOK;
    });
}

OfxStatus ParamGetPropertySet(OfxParamHandle handle, OfxPropertySetHandle* properties) {
    return WithParameter(handle, [&](Parameter& parameter) -> OfxStatus {
        if (!properties) {
            return kOfxStatErrValue;
        }
        *properties = parameter.Properties().AsHandle();
        return kOfxStatOK;
    });
}

/// Hands the components out through the caller's pointers, each multiplied by `factor` if it is a number.
OfxStatus HandOut(Parameter& parameter, double factor, va_list pointers) {
    if (!parameter.Owner().IsInstance() || parameter.Type().kind == ValueKind::None) {
        return kOfxStatErrUnsupported;
    }
    Parameter::Value value = parameter.Get();
    for (int number : value.integers) {
        *va_arg(pointers, int*) = static_cast<int>(number * factor);
    }
    for (double number : value.doubles) {
        *va_arg(pointers, double*) = number * factor;
    }
    if (value.text) {
        *va_arg(pointers, char**) = LendText(std::move(value.text));
    }
    return kOfxStatOK;
}

OfxStatus ParamGetValue(OfxParamHandle handle, ...) {
    va_list pointers;
    va_start(pointers, handle);
    const OfxStatus status =
        WithParameter(handle, [&](Parameter& parameter) { return HandOut(parameter, 1, pointers); });
    va_end(pointers);
    return status;
}

OfxStatus ParamGetValueAtTime(OfxParamHandle handle, OfxTime time, ...) {
    va_list pointers;
    va_start(pointers, time);
    const OfxStatus status =
        WithParameter(handle, [&](Parameter& parameter) { return HandOut(parameter, 1, pointers); });
    va_end(pointers);
    return status;
}

bool IsNumber(const Parameter& parameter) {
    return parameter.Type().kind == ValueKind::Int || parameter.Type().kind == ValueKind::Double;
}

OfxStatus ParamGetDerivative(OfxParamHandle handle, OfxTime time, ...) {
    va_list pointers;
    va_start(pointers, time);
    const OfxStatus status = WithParameter(handle, [&](Parameter& parameter) -> OfxStatus {
        return IsNumber(parameter) ? HandOut(parameter, 0, pointers) : kOfxStatErrUnsupported;
    });
    va_end(pointers);
    return status;
}

OfxStatus ParamGetIntegral(OfxParamHandle handle, OfxTime time1, OfxTime time2, ...) {
    va_list pointers;
    va_start(pointers, time2);
    const OfxStatus status = WithParameter(handle, [&](Parameter& parameter) -> OfxStatus {
        return IsNumber(parameter) ? HandOut(parameter, time2 - time1, pointers) : kOfxStatErrUnsupported;
    });
    va_end(pointers);
    return status;
}

OfxStatus TakeIn(Parameter& parameter, va_list values) {
    if (!parameter.Owner().IsInstance() || parameter.Type().kind == ValueKind::None) {
        return kOfxStatErrUnsupported;
    }
    Parameter::Value value;
    if (parameter.Type().kind == ValueKind::Text) {
        const char* text = va_arg(values, const char*);
        if (!text) {
            return kOfxStatErrValue;
        }
        value.text = MakeText(text);
    } else if (parameter.Type().kind == ValueKind::Double) {
        for (int i = 0; i < parameter.Type().dimension; ++i) {
            value.doubles.push_back(va_arg(values, double));
        }
    } else {
        for (int i = 0; i < parameter.Type().dimension; ++i) {
            value.integers.push_back(va_arg(values, int));
        }
    }
    return parameter.Owner().Write(parameter, std::move(value));
}

OfxStatus ParamSetValue(OfxParamHandle handle, ...) {
    va_list values;
    va_start(values, handle);
    const OfxStatus status =
        WithParameter(handle, [&](Parameter& parameter) { return TakeIn(parameter, values); });
    va_end(values);
    return status;
}

OfxStatus ParamSetValueAtTime(OfxParamHandle handle, OfxTime time, ...) {
    va_list values;
    va_start(values, time);
    const OfxStatus status =
        WithParameter(handle, [&](Parameter& parameter) { return TakeIn(parameter, values); });
    va_end(values);
    return status;
}

OfxStatus ParamGetNumKeys(OfxParamHandle handle, unsigned int* count) {
    return WithParameter(handle, [&](Parameter&) -> OfxStatus {
        if (!count) {
            return kOfxStatErrValue;
        }
        *count = 0;
        return kOfxStatOK;
    });
}

OfxStatus ParamGetKeyTime(OfxParamHandle handle, unsigned int, OfxTime*) {
    return WithParameter(handle, [](Parameter&) { return kOfxStatErrBadIndex; });
}

OfxStatus ParamGetKeyIndex(OfxParamHandle handle, OfxTime, int, int*) {
    return WithParameter(handle, [](Parameter&) { return kOfxStatFailed; });
}

OfxStatus ParamDeleteKey(OfxParamHandle handle, OfxTime) {
    return WithParameter(handle, [](Parameter&) { return kOfxStatErrBadIndex; });
}

OfxStatus ParamDeleteAllKeys(OfxParamHandle handle) {
    return WithParameter(handle, [](Parameter&) { return kOfxStatOK; });
}

OfxStatus ParamCopy(OfxParamHandle to, OfxParamHandle from, OfxTime, const OfxRangeD*) {
    return WithParameter(to, [&](Parameter& target) -> OfxStatus {
        const Parameter* source = Parameter::From(from);
        if (!source) {
            return kOfxStatErrBadHandle;
        }
        if (&source->Type() != &target.Type() || !target.Owner().IsInstance()) {
            return kOfxStatErrUnsupported;
        }
        return target.Owner().Write(target, source->Get());
    });
}

OfxStatus ParamEdit(OfxParamSetHandle handle) {
    return Guarded(
        [&]() -> OfxStatus { return ParameterSet::From(handle) ? kOfxStatOK : kOfxStatErrBadHandle; });
}

// There is no undo, so a group of edits needs no mark.
OfxStatus ParamEditBegin(OfxParamSetHandle handle, const char*) {
    return ParamEdit(handle);
}
OfxStatus ParamEditEnd(OfxParamSetHandle handle) {
    return ParamEdit(handle);
}

}  // namespace

const OfxParameterSuiteV1 parameterSuite = {
    ParamDefine,         ParamGetHandle,     ParamSetGetPropertySet, ParamGetPropertySet, ParamGetValue,
    ParamGetValueAtTime, ParamGetDerivative, ParamGetIntegral,       ParamSetValue,       ParamSetValueAtTime,
    ParamGetNumKeys,     ParamGetKeyTime,    ParamGetKeyIndex,       ParamDeleteKey,      ParamDeleteAllKeys,
    ParamCopy,           ParamEditBegin,     ParamEditEnd,
};

}  // namespace TQ::App
