// A filter that does at each render what its parameter "fault" says. Not safe to run twice at once, and it
// notices.

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "app/host/plugins/PluginSupport.h"

using namespace TestPlugin;

namespace {

std::atomic<int> renders{0};

OfxStatus LeakImage(const void* handle) {
    GetImage(handle, kOfxImageEffectSimpleSourceClipName, 0);
    return kOfxStatOK;
}

OfxStatus Fail(const void*) {
    return kOfxStatErrMemory;
}

OfxStatus FailWithMessages(const void* handle) {
    messages1->message(const_cast<void*>(handle), kOfxMessageError, "", "%s at %d%%", "broken", 50);
    messages2->message(const_cast<void*>(handle), kOfxMessageWarning, "", "%s", "and 100% sure");
    return kOfxStatFailed;
}

OfxStatus Warn(const void* handle) {
    return messages2->message(const_cast<void*>(handle), kOfxMessageWarning, "", "only a warning");
}

OfxStatus Throw(const void*) {
    throw std::runtime_error("escaped");
}

OfxStatus WaitForAbort(const void* handle) {
    OfxPropertySetHandle image = GetImage(handle, kOfxImageEffectSimpleSourceClipName, 0);
    while (!effects->abort(Effect(handle)) &&
           progress->progressUpdate(const_cast<void*>(handle), 0.5) == kOfxStatOK) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    effects->clipReleaseImage(image);
    return kOfxStatFailed;
}

/// Every call must be refused; what is not ends the render with a message.
OfxStatus BadHandles(const void* handle) {
    int foreign[64] = {};
    const auto bad = [&](auto& target) {
        target = reinterpret_cast<std::decay_t<decltype(target)>>(foreign);
    };
    OfxPropertySetHandle set, none = nullptr;
    OfxImageClipHandle clip;
    OfxParamHandle param;
    OfxImageMemoryHandle memory;
    OfxMutexHandle mutex;
    bad(set), bad(clip), bad(param), bad(memory), bad(mutex);
    OfxPropertySetHandle image = GetImage(handle, kOfxImageEffectSimpleSourceClipName, 0);
    OfxPropertySetHandle effectSet = nullptr;
    effects->getPropertySet(Effect(handle), &effectSet);
    effects->clipReleaseImage(image);
    int value = 0;
    void* data = nullptr;
    const OfxStatus statuses[] = {
        properties->propGetInt(set, kOfxPropTime, 0, &value),
        properties->propGetInt(nullptr, kOfxPropTime, 0, &value),
        effects->clipReleaseImage(image),
        effects->clipReleaseImage(effectSet),
        effects->clipGetPropertySet(clip, &none),
        effects->clipGetImage(nullptr, 0, nullptr, &none),
        effects->getPropertySet(reinterpret_cast<OfxImageEffectHandle>(foreign), &none),
        effects->imageMemoryLock(memory, &data),
        parameters->paramGetValue(param, &value),
        threads->mutexLock(mutex),
        messages2->message(foreign, kOfxMessageError, "", "nothing"),
    };
    for (OfxStatus status : statuses) {
        if (status != kOfxStatErrBadHandle) {
            messages1->message(nullptr, kOfxMessageError, "", "a bad handle gave %d", status);
            return kOfxStatFailed;
        }
    }
    return kOfxStatOK;
}

void CallAgain(unsigned int, unsigned int, void* argument) {
    *static_cast<OfxStatus*>(argument) = threads->multiThread(CallAgain, 1, argument);
}

OfxStatus NestThreads(const void*) {
    OfxStatus status = kOfxStatOK;
    threads->multiThread(CallAgain, 1, &status);
    return status == kOfxStatErrExists ? kOfxStatOK : kOfxStatFailed;
}

OfxStatus WriteParameter(const void* handle) {
    return parameters->paramSetValue(Param(handle, "fault"), 0) == kOfxStatOK ? kOfxStatFailed : kOfxStatOK;
}

OfxStatus FetchMissing(const void* handle) {
    return GetImage(handle, kOfxImageEffectSimpleSourceClipName, 2) ? kOfxStatOK : kOfxStatFailed;
}

OfxStatus Linger(const void*) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return kOfxStatOK;
}

using Fault = OfxStatus (*)(const void*);
constexpr Fault faults[] = {LeakImage,  Fail,        FailWithMessages, Warn,         Throw, WaitForAbort,
                            BadHandles, NestThreads, WriteParameter,   FetchMissing, Linger};

OfxStatus Render(const void* handle) {
    struct Count {
        int running = ++renders;
        ~Count() { --renders; }
    } count;
    if (count.running > 1) {
        messages1->message(nullptr, kOfxMessageError, "", "two renders at once");
        return kOfxStatFailed;
    }
    return faults[IntParam(handle, "fault")](handle);
}

OfxStatus Entry(const char* name, const void* handle, OfxPropertySetHandle, OfxPropertySetHandle) {
    const std::string_view action = name;
    if (action == kOfxActionLoad) {
        FetchSuites();
    } else if (action == kOfxActionDescribe) {
        Describe(handle, "Faulty", kOfxImageEffectRenderUnsafe);
    } else if (action == kOfxImageEffectActionDescribeInContext) {
        DefineClips(handle);
        DefineChoice(handle, "fault", "leak", "fail", "messages", "warn", "throw", "wait", "handles", "nest",
                     "write", "missing", "linger");
    } else if (action == kOfxImageEffectActionRender) {
        return Render(handle);
    }
    return kOfxStatOK;
}

OfxPlugin record = {kOfxImageEffectPluginApi, 1, "test.faulty", 1, 0, SetHost, Entry};

}  // namespace

extern "C" int OfxGetNumberOfPlugins() {
    return 1;
}
extern "C" OfxPlugin* OfxGetPlugin(int) {
    return &record;
}
