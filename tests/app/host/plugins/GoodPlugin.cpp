// A filter that behaves. Output pixels are (255 - red of the source, row counted from the bottom, frames
// found within the radius, alpha of the source). It writes down every action, for tests that ask what the
// host sent.

#include <mutex>
#include <string>
#include <vector>

#include "app/host/plugins/PluginSupport.h"

using namespace TestPlugin;

namespace {

std::mutex journalMutex;
std::string journal;

void Note(const char* action, OfxPropertySetHandle inArgs) {
    std::string line = action;
    if (inArgs && properties) {
        for (const char* property : {kOfxPropName, kOfxPropChangeReason}) {
            const std::string_view value = Text(inArgs, property);
            line.append(value.empty() ? "" : " ").append(value);
        }
    }
    std::lock_guard lock(journalMutex);
    journal += line + "\n";
}

void DescribeParameters(const void* handle) {
    DefineParam(handle, kOfxParamTypeGroup, "basics");
    OfxPropertySetHandle amount = DefineParam(handle, kOfxParamTypeDouble, "amount");
    Set(amount, kOfxParamPropMin, 0.0);
    Set(amount, kOfxParamPropMax, 1.0);
    Set(amount, kOfxParamPropDefault, 1.0);
    Set(amount, kOfxParamPropParent, "basics");
    Set(amount, kOfxParamPropHint, "how much");
    OfxPropertySetHandle radius = DefineParam(handle, kOfxParamTypeInteger, "radius");
    Set(radius, kOfxParamPropMin, 0);
    Set(radius, kOfxParamPropMax, 5);
    Set(radius, kOfxParamPropDefault, 2);
    DefineChoice(handle, "mode", "Invert", "Copy", "Previous Frame");
    DefineParam(handle, kOfxParamTypeBoolean, "fancy");
    DefineParam(handle, kOfxParamTypeString, "title");
    DefineParam(handle, kOfxParamTypeRGB, "tint");
    DefineParam(handle, kOfxParamTypePushButton, "reset");
    DefineParam(handle, kOfxParamTypeInteger, "ping");
    DefineParam(handle, kOfxParamTypeInteger, "pong");
    Set(DefineParam(handle, kOfxParamTypeBoolean, "locked"), kOfxParamPropEnabled, 0);
}

/// A new mode halves the amount; ping and pong set each other for ever; a reset fails.
OfxStatus Changed(const void* handle, OfxPropertySetHandle inArgs) {
    const std::string_view name = Text(inArgs, kOfxPropName);
    if (name == "mode" && Text(inArgs, kOfxPropChangeReason) == kOfxChangeUserEdited) {
        parameters->paramSetValue(Param(handle, "amount"), 0.5);
    } else if (name == "ping" || name == "pong") {
        const char* other = name == "ping" ? "pong" : "ping";
        parameters->paramSetValue(Param(handle, other),
                                  IntParam(handle, name == "ping" ? "ping" : "pong") + 1);
    }
    return name == "reset" ? kOfxStatFailed : kOfxStatOK;
}

OfxStatus IsIdentity(const void* handle, OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs) {
    const int mode = IntParam(handle, "mode");
    if (mode == 0) {
        return kOfxStatReplyDefault;
    }
    Set(outArgs, kOfxPropName, kOfxImageEffectSimpleSourceClipName);
    Set(outArgs, kOfxPropTime, Double(inArgs, kOfxPropTime) - (mode - 1));
    return kOfxStatOK;
}

OfxStatus FramesNeeded(const void* handle, OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs) {
    const double time = Double(inArgs, kOfxPropTime);
    const int radius = IntParam(handle, "radius");
    // In two ranges, as plug-ins with holes in their window do.
    const double ranges[] = {time, time + radius, time - radius, time - 1};
    const int count = radius > 0 ? 4 : 2;
    return properties->propSetDoubleN(outArgs, "OfxImageClipPropFrameRange_Source", count, ranges);
}

OfxStatus RegionsOfInterest(OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs) {
    for (int i = 0; i < 4; ++i) {
        const double edge = Double(inArgs, kOfxImageEffectPropRegionOfInterest, i);
        Set(outArgs, "OfxImageClipPropRoI_Source", edge + (i < 2 ? -10.0 : 10.0), i);
    }
    return kOfxStatOK;
}

struct Work {
    OfxPropertySetHandle source;
    OfxPropertySetHandle output;
    int width;
    int height;
    std::uint8_t frames;
};

void RenderBand(unsigned int index, unsigned int count, void* argument) {
    const Work& work = *static_cast<const Work*>(argument);
    for (int y = static_cast<int>(index); y < work.height; y += static_cast<int>(count)) {
        const std::uint8_t* from = Row(work.source, y);
        std::uint8_t* to = Row(work.output, y);
        for (int x = 0; x < work.width; ++x, from += 4, to += 4) {
            to[0] = static_cast<std::uint8_t>(255 - from[0]);
            to[1] = static_cast<std::uint8_t>(y);
            to[2] = work.frames;
            to[3] = from[3];
        }
    }
}

std::uint8_t CountFrames(const void* handle, double time) {
    const int radius = IntParam(handle, "radius");
    std::uint8_t count = 0;
    for (int offset = -radius; offset <= radius; ++offset) {
        OfxPropertySetHandle image = GetImage(handle, kOfxImageEffectSimpleSourceClipName, time + offset);
        if (image) {
            ++count;
            effects->clipReleaseImage(image);
        }
    }
    return count;
}

OfxStatus Render(const void* handle, OfxPropertySetHandle inArgs) {
    const double time = Double(inArgs, kOfxPropTime);
    OfxPropertySetHandle source = GetImage(handle, kOfxImageEffectSimpleSourceClipName, time);
    OfxPropertySetHandle output = GetImage(handle, kOfxImageEffectOutputClipName, time);
    OfxStatus status = source && output ? kOfxStatOK : kOfxStatFailed;
    if (status == kOfxStatOK) {
        Work work{source, output, Int(inArgs, kOfxImageEffectPropRenderWindow, 2),
                  Int(inArgs, kOfxImageEffectPropRenderWindow, 3), CountFrames(handle, time)};
        status = threads->multiThread(RenderBand, 0, &work);
    }
    for (OfxPropertySetHandle image : {source, output}) {
        if (image) {
            effects->clipReleaseImage(image);
        }
    }
    return status;
}

OfxStatus Entry(const char* name, const void* handle, OfxPropertySetHandle inArgs,
                OfxPropertySetHandle outArgs) {
    const std::string_view action = name;
    if (action == kOfxActionLoad) {
        FetchSuites();
    }
    Note(name, inArgs);
    if (action == kOfxActionDescribe) {
        Describe(handle, "Good", kOfxImageEffectRenderFullySafe);
    } else if (action == kOfxImageEffectActionDescribeInContext) {
        DefineClips(handle);
        DescribeParameters(handle);
    } else if (action == kOfxActionCreateInstance) {
        return parameters->paramSetValue(Param(handle, "title"), "made");
    } else if (action == kOfxActionInstanceChanged) {
        return Changed(handle, inArgs);
    } else if (action == kOfxImageEffectActionIsIdentity) {
        return IsIdentity(handle, inArgs, outArgs);
    } else if (action == kOfxImageEffectActionGetFramesNeeded) {
        return FramesNeeded(handle, inArgs, outArgs);
    } else if (action == kOfxImageEffectActionGetRegionsOfInterest) {
        return RegionsOfInterest(inArgs, outArgs);
    } else if (action == kOfxImageEffectActionRender) {
        return Render(handle, inArgs);
    } else if (action == kOfxImageEffectActionGetClipPreferences ||
               action == kOfxImageEffectActionGetRegionOfDefinition) {
        return kOfxStatReplyDefault;
    }
    return kOfxStatOK;
}

OfxPlugin record = {kOfxImageEffectPluginApi, 1, "test.good", 3, 4, SetHost, Entry};

}  // namespace

extern "C" int OfxGetNumberOfPlugins() {
    return 1;
}
extern "C" OfxPlugin* OfxGetPlugin(int) {
    return &record;
}

/// What was written down since the last call.
extern "C" const char* TakeJournal() {
    static std::string taken;
    std::lock_guard lock(journalMutex);
    taken = journal;
    journal.clear();
    return taken.c_str();
}
