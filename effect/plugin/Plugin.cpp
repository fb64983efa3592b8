// What the host application sees of the module: the two exported functions, the plug-in record and its entry.

#include <atomic>

#include "effect/DeflickerPlugin.h"
#include "host/ofx/Entry.h"
#include "host/ofx/abi/OfxCore.h"
#include "host/ofx/abi/OfxImageEffect.h"
#include "support/CrashGuard.h"

namespace {

std::atomic<OfxHost*> hostOfProcess{nullptr};

struct EntryCall {
    const char* action;
    const void* handle;
    OfxPropertySetHandle inArgs;
    OfxPropertySetHandle outArgs;
};

int RunEntry(void* argument) {
    const EntryCall& call = *static_cast<const EntryCall*>(argument);
    TQ::Effect::DeflickerPlugin effect;
    return TQ::Host::OFX::RunAction(effect, hostOfProcess.load(), call.action, call.handle, call.inArgs,
                                    call.outArgs);
}

extern "C" void SetHost(OfxHost* host) {
    hostOfProcess.store(host);
}

extern "C" OfxStatus MainEntry(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                               OfxPropertySetHandle outArgs) {
    EntryCall call{action, handle, inArgs, outArgs};
    return TQ::Support::RunGuarded(RunEntry, &call);
}

// Writable, as hosts are handed a pointer to non-const.
OfxPlugin record = {kOfxImageEffectPluginApi,
                    1,
                    TQ::Effect::pluginIdentifier,
                    TQ::Effect::versionMajor,
                    TQ::Effect::versionMinor,
                    SetHost,
                    MainEntry};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int OfxGetNumberOfPlugins(void) {
    return 1;
}

__attribute__((visibility("default"))) OfxPlugin* OfxGetPlugin(int) {
    return &record;
}
}
