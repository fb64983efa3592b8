// A plug-in whose record or first answers are wrong; the build says in what way.

#include "app/host/plugins/PluginSupport.h"

#ifndef BROKEN_API
#define BROKEN_API kOfxImageEffectPluginApi
#endif
#ifndef BROKEN_VERSION
#define BROKEN_VERSION kOfxImageEffectPluginApiVersion
#endif
#ifndef BROKEN_ENTRY
#define BROKEN_ENTRY Entry
#endif
#ifndef BROKEN_LOAD
#define BROKEN_LOAD kOfxStatOK
#endif

namespace {

// Describes nothing, which is a fault too.
[[maybe_unused]] OfxStatus Entry(const char* action, const void*, OfxPropertySetHandle,
                                 OfxPropertySetHandle) {
    return std::string_view(action) == kOfxActionLoad ? BROKEN_LOAD : kOfxStatOK;
}

OfxPlugin record = {BROKEN_API, BROKEN_VERSION, "test.broken", 1, 0, TestPlugin::SetHost, BROKEN_ENTRY};

}  // namespace

extern "C" int OfxGetNumberOfPlugins() {
    return 1;
}
extern "C" OfxPlugin* OfxGetPlugin(int) {
    return &record;
}
