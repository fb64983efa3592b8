#include "host/ofx/Entry.h"

#include <cstring>
#include <new>
#include <string>

namespace TQ::Host::OFX {

namespace {

using Action = OfxStatus (Host::*)();

struct Row {
    const char* name;
    Action run;
};

// Not of the standard: two buttons that some hosts show beside an effect.
constexpr char actionInvokeAbout[] = "OfxImageEffectActionInvokeAbout";
constexpr char actionInvokeHelp[] = "OfxImageEffectActionInvokeHelp";

constexpr Row actionTable[] = {
    {kOfxActionDescribe, &Host::describe},
    {kOfxImageEffectActionDescribeInContext, &Host::describeInContext},
    {kOfxActionLoad, &Host::load},
    {kOfxActionUnload, &Host::unload},
    {kOfxActionPurgeCaches, &Host::purgeCaches},
    {kOfxActionSyncPrivateData, &Host::syncPrivateData},
    {kOfxActionCreateInstance, &Host::createInstance},
    {kOfxActionDestroyInstance, &Host::destroyInstance},
    {kOfxImageEffectActionIsIdentity, &Host::isIdentity},
    {kOfxImageEffectActionRender, &Host::render},
    {kOfxImageEffectActionBeginSequenceRender, &Host::beginSequenceRender},
    {kOfxImageEffectActionEndSequenceRender, &Host::endSequenceRender},
    {kOfxImageEffectActionGetRegionOfDefinition, &Host::getRegionOfDefinition},
    {kOfxImageEffectActionGetRegionsOfInterest, &Host::getRegionsOfInterest},
    {kOfxImageEffectActionGetTimeDomain, &Host::getTimeDomain},
    {kOfxImageEffectActionGetFramesNeeded, &Host::getFramesNeeded},
    {kOfxImageEffectActionGetClipPreferences, &Host::getClipPreferences},
    {kOfxActionInstanceChanged, &Host::instanceChanged},
    {kOfxActionBeginInstanceChanged, &Host::beginInstanceChanged},
    {kOfxActionEndInstanceChanged, &Host::endInstanceChanged},
    {kOfxActionBeginInstanceEdit, &Host::beginInstanceEdit},
    {kOfxActionEndInstanceEdit, &Host::endInstanceEdit},
};

// Only while the host's OpenGL suite is in use.
constexpr Row openGLTable[] = {
    {kOfxActionOpenGLContextAttached, &Host::openGLContextAttached},
    {kOfxActionOpenGLContextDetached, &Host::openGLContextDetached},
};

template <std::size_t count>
Action Find(const Row (&table)[count], const char* action) {
    for (const Row& row : table) {
        if (std::strcmp(action, row.name) == 0) {
            return row.run;
        }
    }
    return nullptr;
}

OfxStatus Dispatch(Host& effect, const char* action) {
    if (const Action run = Find(actionTable, action)) {
        return (effect.*run)();
    }
    if (std::strcmp(action, actionInvokeAbout) == 0) {
        effect.invokeAbout();
    } else if (std::strcmp(action, actionInvokeHelp) == 0) {
        effect.invokeHelp();
    } else if (effect.openGLRenderSuite != nullptr) {
        if (const Action run = Find(openGLTable, action)) {
            return (effect.*run)();
        }
    }
    return kOfxStatOK;
}

constexpr unsigned failureFlags = MessageFlag::error | MessageFlag::plain;
constexpr unsigned noticeFlags = MessageFlag::message | MessageFlag::plain;

/// The message of a failure, and its status even when the message cannot be shown either.
OfxStatus Report(Host& effect, const char* text, unsigned flags, OfxStatus status) noexcept {
    try {
        effect.postMessage(text, flags);
    } catch (...) {
        // Out of memory: the status has to tell it all.
    }
    return status;
}

}  // namespace

OfxStatus RunAction(Host& effect, OfxHost* host, const char* action, const void* handle,
                    OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs) {
    try {
        effect.init(host, handle, inArgs, outArgs);
        return Dispatch(effect, action);
    } catch (const Error& error) {
        return error.Status();
    } catch (const std::bad_alloc&) {
        return Report(effect, "Out of memory!", failureFlags, kOfxStatErrMemory);
    } catch (const std::string& text) {
        return Report(effect, text.c_str(), noticeFlags, kOfxStatErrUnknown);
    } catch (const std::exception& error) {
        return Report(effect, error.what(), failureFlags, kOfxStatErrUnknown);
    } catch (...) {
        return Report(effect, "Unknown internal error", failureFlags, kOfxStatErrFatal);
    }
}

}  // namespace TQ::Host::OFX
