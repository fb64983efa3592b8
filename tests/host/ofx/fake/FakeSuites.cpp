// The function tables of the scripted host.

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "host/ofx/abi/OfxMemory.h"
#include "host/ofx/abi/OfxMessage.h"
#include "host/ofx/abi/OfxParam.h"
#include "host/ofx/abi/OfxProgress.h"
#include "host/ofx/abi/OfxProperty.h"
#include "host/ofx/fake/FakeHost.h"

namespace Test {

namespace {

FakeHost& Now() {
    FakeHost& host = FakeHost::Current();
    host.NoteCall();
    return host;
}

// --- Properties ------------------------------------------------------------------------------------

FakeProperties* Set(OfxPropertySetHandle handle) {
    return reinterpret_cast<FakeProperties*>(handle);
}

template <class Stored, class Value>
OfxStatus Write(OfxPropertySetHandle handle, const char* name, int index, Value value) {
    Now();
    FakeProperties& properties = *Set(handle);
    if (properties.refused.contains(name)) {
        return properties.refusal;
    }
    auto& values = properties.values[name];
    const auto position = static_cast<std::size_t>(index);
    if (position > values.size()) {
        return kOfxStatErrBadIndex;
    }
    values.resize(std::max(values.size(), position + 1));
    values[position] = Stored(value);
    return kOfxStatOK;
}

template <class Stored, class Value>
OfxStatus Read(OfxPropertySetHandle handle, const char* name, int index, Value* value) {
    Now();
    FakeProperties& properties = *Set(handle);
    if (properties.untouched.contains(name)) {
        return kOfxStatOK;
    }
    const auto found = properties.values.find(name);
    if (found == properties.values.end()) {
        return kOfxStatErrUnknown;
    }
    if (static_cast<std::size_t>(index) >= found->second.size()) {
        return kOfxStatErrBadIndex;
    }
    Stored* stored = std::get_if<Stored>(&found->second[static_cast<std::size_t>(index)]);
    if (stored == nullptr) {
        return kOfxStatErrValue;
    }
    if constexpr (std::is_same_v<Stored, std::string>) {
        *value = stored->data();
    } else {
        *value = *stored;
    }
    return kOfxStatOK;
}

template <class... Arguments>
OfxStatus RefuseArray(OfxPropertySetHandle, const char*, int, Arguments...) {
    ++Now().arrayCalls;
    return kOfxStatErrValue;
}

OfxStatus Reset(OfxPropertySetHandle handle, const char* name) {
    Set(handle)->values.erase(name);
    return kOfxStatOK;
}

OfxStatus Dimension(OfxPropertySetHandle handle, const char* name, int* count) {
    const auto found = Set(handle)->values.find(name);
    *count = found == Set(handle)->values.end() ? 0 : static_cast<int>(found->second.size());
    return kOfxStatOK;
}

const OfxPropertySuiteV1 propertySuite{Write<void*, void*>,
                                       Write<std::string, const char*>,
                                       Write<double, double>,
                                       Write<int, int>,
                                       RefuseArray<void* const*>,
                                       RefuseArray<const char* const*>,
                                       RefuseArray<const double*>,
                                       RefuseArray<const int*>,
                                       Read<void*, void*>,
                                       Read<std::string, char*>,
                                       Read<double, double>,
                                       Read<int, int>,
                                       RefuseArray<void**>,
                                       RefuseArray<char**>,
                                       RefuseArray<double*>,
                                       RefuseArray<int*>,
                                       Reset,
                                       Dimension};

// --- Image effects ---------------------------------------------------------------------------------

OfxStatus GetEffectProperties(OfxImageEffectHandle handle, OfxPropertySetHandle* properties) {
    if (handle != Now().Effect()) {
        return kOfxStatErrBadHandle;
    }
    *properties = Now().effect.Handle();
    return kOfxStatOK;
}

OfxStatus GetParameterSet(OfxImageEffectHandle handle, OfxParamSetHandle* set) {
    *set = reinterpret_cast<OfxParamSetHandle>(handle);
    return handle == Now().Effect() ? kOfxStatOK : kOfxStatErrBadHandle;
}

OfxStatus DefineClip(OfxImageEffectHandle, const char* name, OfxPropertySetHandle* properties) {
    FakeClip& clip = Now().clips[name];
    clip.name = name;
    *properties = clip.properties.Handle();
    return kOfxStatOK;
}

OfxStatus GetClip(OfxImageEffectHandle, const char* name, OfxImageClipHandle* handle,
                  OfxPropertySetHandle* properties) {
    const auto found = Now().clips.find(name);
    if (found == Now().clips.end()) {
        return kOfxStatErrBadHandle;
    }
    *handle = reinterpret_cast<OfxImageClipHandle>(&found->second);
    if (properties != nullptr) {
        *properties = found->second.properties.Handle();
    }
    return kOfxStatOK;
}

FakeClip& ClipOf(OfxImageClipHandle handle) {
    return *reinterpret_cast<FakeClip*>(handle);
}

OfxStatus GetClipProperties(OfxImageClipHandle handle, OfxPropertySetHandle* properties) {
    *properties = ClipOf(handle).properties.Handle();
    return kOfxStatOK;
}

OfxStatus GetImage(OfxImageClipHandle handle, OfxTime time, const OfxRectD* region,
                   OfxPropertySetHandle* image) {
    return Now().GetImage(ClipOf(handle), time, region, image);
}

OfxStatus ReleaseImage(OfxPropertySetHandle image) {
    return Now().ReleaseImage(image);
}

OfxStatus GetRegion(OfxImageClipHandle handle, OfxTime time, OfxRectD* region) {
    Now();
    const FakeClip& clip = ClipOf(handle);
    if (clip.regionStatus == kOfxStatOK) {
        *region = clip.region;
        if (const auto other = clip.boundsAt.find(time); other != clip.boundsAt.end()) {
            const OfxRectI& bounds = other->second;
            *region = {1.0 * bounds.x1, 1.0 * bounds.y1, 1.0 * bounds.x2, 1.0 * bounds.y2};
        }
    }
    return clip.regionStatus;
}

int Abort(OfxImageEffectHandle) {
    FakeHost& host = Now();
    const int poll = host.abortPolls++;
    return host.abortAfter >= 0 && poll >= host.abortAfter ? 1 : 0;
}

OfxStatus Allocate(std::size_t bytes, void** block) {
    FakeHost& host = Now();
    *block = host.outOfMemory ? nullptr : std::malloc(bytes);
    host.liveMemory += *block != nullptr ? 1 : 0;
    return *block != nullptr ? kOfxStatOK : kOfxStatErrMemory;
}

OfxStatus Free(void* block) {
    --Now().liveMemory;
    std::free(block);
    return kOfxStatOK;
}

OfxStatus AllocateImageMemory(OfxImageEffectHandle, size_t bytes, OfxImageMemoryHandle* handle) {
    ++Now().imageMemoryCalls;
    return Allocate(bytes, reinterpret_cast<void**>(handle));
}

OfxStatus FreeImageMemory(OfxImageMemoryHandle handle) {
    return Free(handle);
}

OfxStatus LockImageMemory(OfxImageMemoryHandle handle, void** pointer) {
    *pointer = handle;
    return kOfxStatOK;
}

OfxStatus UnlockImageMemory(OfxImageMemoryHandle) {
    return kOfxStatOK;
}

const OfxImageEffectSuiteV1 effectSuite{GetEffectProperties,
                                        GetParameterSet,
                                        DefineClip,
                                        GetClip,
                                        GetClipProperties,
                                        GetImage,
                                        ReleaseImage,
                                        GetRegion,
                                        Abort,
                                        AllocateImageMemory,
                                        FreeImageMemory,
                                        LockImageMemory,
                                        UnlockImageMemory};

OfxStatus AllocatePlain(void*, size_t bytes, void** block) {
    ++Now().plainMemoryCalls;
    return Allocate(bytes, block);
}

const OfxMemorySuiteV1 memorySuite{AllocatePlain, Free};

// --- Parameters ------------------------------------------------------------------------------------

FakeParameter& ParameterOf(OfxParamHandle handle) {
    return *reinterpret_cast<FakeParameter*>(handle);
}

bool IsText(const FakeParameter& parameter) {
    return parameter.type == kOfxParamTypeString;
}
bool IsReal(const FakeParameter& parameter) {
    return parameter.type == kOfxParamTypeDouble || parameter.type == kOfxParamTypeRGB ||
           parameter.type == kOfxParamTypeDouble2D;
}

/// An instance's value starts as the default of its description.
void TakeDefault(FakeParameter& parameter) {
    if (!parameter.numbers.empty()) {
        return;
    }
    parameter.numbers.push_back(0.0);
    const auto found = parameter.properties.values.find(kOfxParamPropDefault);
    if (found == parameter.properties.values.end()) {
        return;
    }
    parameter.numbers.clear();
    for (const auto& value : found->second) {
        if (const auto* text = std::get_if<std::string>(&value)) {
            parameter.text = *text;
            parameter.numbers.push_back(0.0);
        } else {
            parameter.numbers.push_back(std::holds_alternative<int>(value) ? std::get<int>(value)
                                                                           : std::get<double>(value));
        }
    }
}

OfxStatus Define(OfxParamSetHandle, const char* type, const char* name, OfxPropertySetHandle* properties) {
    FakeHost& host = Now();
    if (host.undefinable.contains(type)) {
        return kOfxStatErrUnsupported;
    }
    if (!host.parameters.contains(name)) {
        host.parameterOrder.emplace_back(name);
    }
    FakeParameter& parameter = host.parameters[name];
    parameter.name = name;
    parameter.type = type;
    if (properties != nullptr) {
        *properties = parameter.properties.Handle();
    }
    return kOfxStatOK;
}

OfxStatus GetHandle(OfxParamSetHandle, const char* name, OfxParamHandle* handle,
                    OfxPropertySetHandle* properties) {
    const auto found = Now().parameters.find(name);
    if (found == Now().parameters.end()) {
        return kOfxStatErrUnknown;
    }
    TakeDefault(found->second);
    *handle = reinterpret_cast<OfxParamHandle>(&found->second);
    if (properties != nullptr) {
        *properties = found->second.properties.Handle();
    }
    return kOfxStatOK;
}

OfxStatus GetSetProperties(OfxParamSetHandle, OfxPropertySetHandle* properties) {
    *properties = Now().parameterSet.Handle();
    return kOfxStatOK;
}

OfxStatus GetProperties(OfxParamHandle handle, OfxPropertySetHandle* properties) {
    *properties = ParameterOf(handle).properties.Handle();
    return kOfxStatOK;
}

void ReadInto(FakeParameter& parameter, const double* time, va_list arguments) {
    Now();
    ++parameter.reads;
    if (IsText(parameter)) {
        *va_arg(arguments, char**) = parameter.text.data();
        return;
    }
    for (double number : parameter.numbers) {
        if (time != nullptr && parameter.animation) {
            number = parameter.animation(*time);
        }
        if (IsReal(parameter)) {
            *va_arg(arguments, double*) = number;
        } else {
            *va_arg(arguments, int*) = static_cast<int>(number);
        }
    }
}

void WriteFrom(FakeParameter& parameter, va_list arguments) {
    Now();
    ++parameter.writes;
    if (IsText(parameter)) {
        parameter.text = va_arg(arguments, const char*);
        return;
    }
    for (double& number : parameter.numbers) {
        number = IsReal(parameter) ? va_arg(arguments, double) : va_arg(arguments, int);
    }
}

OfxStatus GetValue(OfxParamHandle handle, ...) {
    va_list arguments;
    va_start(arguments, handle);
    ReadInto(ParameterOf(handle), nullptr, arguments);
    va_end(arguments);
    return kOfxStatOK;
}

OfxStatus GetValueAtTime(OfxParamHandle handle, OfxTime time, ...) {
    va_list arguments;
    va_start(arguments, time);
    ReadInto(ParameterOf(handle), &time, arguments);
    va_end(arguments);
    return kOfxStatOK;
}

OfxStatus SetValue(OfxParamHandle handle, ...) {
    va_list arguments;
    va_start(arguments, handle);
    WriteFrom(ParameterOf(handle), arguments);
    va_end(arguments);
    return kOfxStatOK;
}

OfxStatus SetValueAtTime(OfxParamHandle handle, OfxTime time, ...) {
    va_list arguments;
    va_start(arguments, time);
    ParameterOf(handle).properties.Put("setAtTime", time);
    WriteFrom(ParameterOf(handle), arguments);
    va_end(arguments);
    return kOfxStatOK;
}

const OfxParameterSuiteV1 parameterSuite{
    Define,  GetHandle, GetSetProperties, GetProperties,  GetValue, GetValueAtTime,
    nullptr, nullptr,   SetValue,         SetValueAtTime, nullptr,  nullptr,
    nullptr, nullptr,   nullptr,          nullptr,        nullptr,  nullptr};

// --- Threads, messages, progress -------------------------------------------------------------------

OfxStatus RunThreads(OfxThreadFunctionV1 function, unsigned int count, void* argument) {
    switch (Now().threadMode) {
        case ThreadMode::Nested:
            return kOfxStatErrExists;
        case ThreadMode::Once:
            function(0, 1, argument);
            return kOfxStatOK;
        case ThreadMode::Threads:
        case ThreadMode::FailsAfter:
            break;
    }
    std::vector<std::thread> threads;
    for (unsigned int index = 1; index < count; ++index) {
        threads.emplace_back(function, index, count, argument);
    }
    function(0, count, argument);
    for (std::thread& thread : threads) {
        thread.join();
    }
    return Now().threadMode == ThreadMode::FailsAfter ? kOfxStatFailed : kOfxStatOK;
}

OfxStatus CountProcessors(unsigned int* count) {
    *count = Now().processors;
    return Now().processorStatus;
}

const OfxMultiThreadSuiteV1 threadSuite{RunThreads, CountProcessors, nullptr, nullptr, nullptr,
                                        nullptr,    nullptr,         nullptr, nullptr};

OfxStatus ShowMessage(void*, const char* kind, const char*, const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Now().messages.push_back({kind, text, format});
    return Now().messageAnswer;
}

const OfxMessageSuiteV1 messageSuite1{ShowMessage};
const OfxMessageSuiteV2 messageSuite2{ShowMessage, ShowMessage, nullptr};

OfxStatus StartProgress(void*, const char* label) {
    ++Now().progressStarts;
    Now().progressLabel = label;
    return kOfxStatOK;
}

OfxStatus UpdateProgress(void*, double progress) {
    FakeHost& host = Now();
    host.progressUpdates.push_back(progress);
    const bool refuses = static_cast<int>(host.progressUpdates.size()) == host.refuseProgressAt;
    return refuses ? kOfxStatReplyNo : kOfxStatReplyYes;
}

OfxStatus EndProgress(void*) {
    ++Now().progressEnds;
    return kOfxStatOK;
}

const OfxProgressSuiteV1 progressSuite{StartProgress, UpdateProgress, EndProgress};

}  // namespace

const void* FakeSuite(const std::string& name, int version) {
    const std::map<std::string, const void*> suites{
        {kOfxPropertySuite + std::string("1"), &propertySuite},
        {kOfxImageEffectSuite + std::string("1"), &effectSuite},
        {kOfxMemorySuite + std::string("1"), &memorySuite},
        {kOfxParameterSuite + std::string("1"), &parameterSuite},
        {kOfxMultiThreadSuite + std::string("1"), &threadSuite},
        {kOfxMessageSuite + std::string("1"), &messageSuite1},
        {kOfxMessageSuite + std::string("2"), &messageSuite2},
        {kOfxProgressSuite + std::string("1"), &progressSuite},
    };
    const auto found = suites.find(name + std::to_string(version));
    return found == suites.end() ? nullptr : found->second;
}

}  // namespace Test
