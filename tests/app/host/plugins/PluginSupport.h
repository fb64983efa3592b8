#pragma once

// The little that the test plug-ins share: suites, and short words for reading and writing properties.

#include <cstdint>
#include <string_view>

#include "host/ofx/abi/OfxImageEffect.h"
#include "host/ofx/abi/OfxMemory.h"
#include "host/ofx/abi/OfxMessage.h"
#include "host/ofx/abi/OfxMultiThread.h"
#include "host/ofx/abi/OfxParam.h"
#include "host/ofx/abi/OfxProgress.h"
#include "host/ofx/abi/OfxProperty.h"

namespace TestPlugin {

inline OfxHost* host = nullptr;
inline const OfxPropertySuiteV1* properties = nullptr;
inline const OfxImageEffectSuiteV1* effects = nullptr;
inline const OfxParameterSuiteV1* parameters = nullptr;
inline const OfxMultiThreadSuiteV1* threads = nullptr;
inline const OfxMessageSuiteV1* messages1 = nullptr;
inline const OfxMessageSuiteV2* messages2 = nullptr;
inline const OfxProgressSuiteV1* progress = nullptr;

inline void SetHost(OfxHost* given) {
    host = given;
}

template <typename Suite>
void Fetch(const Suite*& suite, const char* name, int version) {
    suite = static_cast<const Suite*>(host->fetchSuite(host->host, name, version));
}

inline void FetchSuites() {
    Fetch(properties, kOfxPropertySuite, 1);
    Fetch(effects, kOfxImageEffectSuite, 1);
    Fetch(parameters, kOfxParameterSuite, 1);
    Fetch(threads, kOfxMultiThreadSuite, 1);
    Fetch(messages1, kOfxMessageSuite, 1);
    Fetch(messages2, kOfxMessageSuite, 2);
    Fetch(progress, kOfxProgressSuite, 1);
}

inline OfxImageEffectHandle Effect(const void* handle) {
    return static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
}

inline void Set(OfxPropertySetHandle set, const char* name, const char* value, int index = 0) {
    properties->propSetString(set, name, index, value);
}
inline void Set(OfxPropertySetHandle set, const char* name, double value, int index = 0) {
    properties->propSetDouble(set, name, index, value);
}
inline void Set(OfxPropertySetHandle set, const char* name, int value, int index = 0) {
    properties->propSetInt(set, name, index, value);
}
inline int Int(OfxPropertySetHandle set, const char* name, int index = 0) {
    int value = 0;
    properties->propGetInt(set, name, index, &value);
    return value;
}
inline double Double(OfxPropertySetHandle set, const char* name, int index = 0) {
    double value = 0;
    properties->propGetDouble(set, name, index, &value);
    return value;
}
inline std::string_view Text(OfxPropertySetHandle set, const char* name) {
    char* value = nullptr;
    return properties->propGetString(set, name, 0, &value) == kOfxStatOK ? value : "";
}

inline OfxParamHandle Param(const void* handle, const char* name) {
    OfxParamSetHandle set = nullptr;
    OfxParamHandle param = nullptr;
    effects->getParamSet(Effect(handle), &set);
    parameters->paramGetHandle(set, name, &param, nullptr);
    return param;
}
inline int IntParam(const void* handle, const char* name) {
    int value = 0;
    parameters->paramGetValue(Param(handle, name), &value);
    return value;
}

inline OfxPropertySetHandle DefineParam(const void* handle, const char* type, const char* name) {
    OfxParamSetHandle set = nullptr;
    OfxPropertySetHandle result = nullptr;
    effects->getParamSet(Effect(handle), &set);
    parameters->paramDefine(set, type, name, &result);
    return result;
}
template <typename... Options>
void DefineChoice(const void* handle, const char* name, Options... options) {
    OfxPropertySetHandle set = DefineParam(handle, kOfxParamTypeChoice, name);
    int index = 0;
    (Set(set, kOfxParamPropChoiceOption, options, index++), ...);
}
inline void DefineClips(const void* handle) {
    for (const char* name : {kOfxImageEffectOutputClipName, kOfxImageEffectSimpleSourceClipName}) {
        OfxPropertySetHandle clip = nullptr;
        effects->clipDefine(Effect(handle), name, &clip);
        Set(clip, kOfxImageEffectPropSupportedComponents, kOfxImageComponentRGBA);
        Set(clip, kOfxImageEffectPropTemporalClipAccess, 1);
    }
}
inline void Describe(const void* handle, const char* label, const char* threadSafety) {
    OfxPropertySetHandle set = nullptr;
    effects->getPropertySet(Effect(handle), &set);
    Set(set, kOfxPropLabel, label);
    Set(set, kOfxImageEffectPropSupportedContexts, kOfxImageEffectContextFilter);
    Set(set, kOfxImageEffectPropSupportedPixelDepths, kOfxBitDepthByte);
    Set(set, kOfxImageEffectPropTemporalClipAccess, 1);
    Set(set, kOfxImageEffectPluginRenderThreadSafety, threadSafety);
}

inline OfxImageClipHandle GetClip(const void* handle, const char* name) {
    OfxImageClipHandle clip = nullptr;
    effects->clipGetHandle(Effect(handle), name, &clip, nullptr);
    return clip;
}
/// Null when there is no image.
inline OfxPropertySetHandle GetImage(const void* handle, const char* clip, double time) {
    OfxPropertySetHandle image = nullptr;
    const OfxStatus status = effects->clipGetImage(GetClip(handle, clip), time, nullptr, &image);
    return status == kOfxStatOK ? image : nullptr;
}
/// Row y of an image, counted from the bottom as the interface does.
inline std::uint8_t* Row(OfxPropertySetHandle image, int y) {
    void* data = nullptr;
    properties->propGetPointer(image, kOfxImagePropData, 0, &data);
    return static_cast<std::uint8_t*>(data) +
           static_cast<std::ptrdiff_t>(Int(image, kOfxImagePropRowBytes)) * y;
}

}  // namespace TestPlugin
