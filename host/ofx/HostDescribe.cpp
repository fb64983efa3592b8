// The actions that describe the effect to the host. All of them may come again on the same objects, and from
// several threads at once: every property has its fixed index and nothing is remembered.

#include <algorithm>

#include "host/ofx/Host.h"
#include "host/ofx/ParameterDefinition.h"

namespace TQ::Host::OFX {

OfxStatus Host::describe() {
    const PropertySet effect = effectProperties();
    effect.Offer(kOfxImageEffectPluginPropFieldRenderTwiceAlways, 1);
    effect.Offer(kOfxImageEffectPropSupportsMultipleClipDepths, 1);
    if (temporalAccess()) {
        effect.Offer(kOfxImageEffectPropTemporalClipAccess, 1);
    }
    const bool openGL = declareOpenGL(effect);
    if (supportsCUDA()) {
        effect.Offer(kOfxImageEffectPropCudaRenderSupported, "true");
        effect.Offer(kOfxImageEffectPropCudaStreamSupported, "true");
    }
    if (supportsOpenCL()) {
        effect.Offer(kOfxImageEffectPropOpenCLRenderSupported, "true");
    }
    if (supportsMetal()) {
        effect.Offer(kOfxImageEffectPropMetalRenderSupported, "true");
    }
    declareDepths(effect, openGL);
    declareNames(effect);
    declareContexts(effect);
    effect.Offer(kOfxImageEffectPluginRenderThreadSafety, kOfxImageEffectRenderFullySafe);
    effect.Offer(kOfxImageEffectPluginPropHostFrameThreading, 0);
    if (!supportsTiles()) {
        effect.Offer(kOfxImageEffectPropSupportsTiles, 0);
    }
    return kOfxStatOK;
}

bool Host::declareOpenGL(const PropertySet& effect) {
    if (openGLRenderSuite == nullptr || !supportsOpenGL() ||
        hostProps.Text(kOfxImageEffectPropOpenGLRenderSupported, "false") != "true") {
        return false;
    }
    effect.Offer(kOfxImageEffectPropOpenGLRenderSupported, "true");
    describedOpenGL();
    return true;
}

void Host::declareDepths(const PropertySet& effect, bool openGL) {
    effect.Set(kOfxImageEffectPropSupportedPixelDepths, kOfxBitDepthByte, 0);
    if (supportsDeepColour()) {
        effect.Set(kOfxImageEffectPropSupportedPixelDepths, kOfxBitDepthShort, 1);
        effect.Set(kOfxImageEffectPropSupportedPixelDepths, kOfxBitDepthFloat, 2);
    }
    if (openGL) {
        int index = 0;
        effect.Offer(kOfxOpenGLPropPixelDepth, kOfxBitDepthByte, index++);
        if (supportsDeepColour()) {
            for (const char* depth : {kOfxBitDepthShort, kOfxBitDepthHalf, kOfxBitDepthFloat}) {
                effect.Offer(kOfxOpenGLPropPixelDepth, depth, index++);
            }
        }
    }
}

void Host::declareNames(const PropertySet& effect) {
    effect.Set(kOfxPropLabel, effectName());
    effect.Offer(kOfxPropShortLabel, effectName());
    effect.Offer(kOfxPropLongLabel, effectName());
    effect.Offer(kOfxPropPluginDescription, effectDescription());
    effect.Set(kOfxImageEffectPluginPropGrouping, vendorName());
    if (const char* label = versionLabel()) {
        effect.Offer(kOfxPropVersionLabel, label);
    }
    std::array<int, 4> numbers{};
    version(numbers);
    std::size_t count = numbers.size();
    while (count > 0 && numbers[count - 1] == 0) {
        --count;
    }
    for (std::size_t i = 0; i < count; ++i) {
        effect.Offer(kOfxPropVersion, numbers[i], static_cast<int>(i));
    }
}

void Host::declareContexts(const PropertySet& effect) {
    int index = 0;
    const std::string own = contextName();
    if (own != kOfxImageEffectContextFilter) {
        effect.Set(kOfxImageEffectPropSupportedContexts, own.c_str(), index++);
    }
    effect.Set(kOfxImageEffectPropSupportedContexts, kOfxImageEffectContextFilter, index++);
    effect.Set(kOfxImageEffectPropSupportedContexts, kOfxImageEffectContextGeneral, index++);
}

OfxStatus Host::describeInContext() {
    const std::string contextText = inArgs.Text(kOfxImageEffectPropContext, kOfxImageEffectContextFilter);
    const bool general = contextText == kOfxImageEffectContextGeneral;
    defineClip(kOfxImageEffectOutputClipName, supportsAlpha(), false, false);
    if (contextText != kOfxImageEffectContextGenerator) {
        defineClip(kOfxImageEffectSimpleSourceClipName, clipSupportsAlpha(0), true, general && isGenerator());
    }
    const auto parameters = definedParameters();
    if (general) {
        int clip = 1;
        for (std::size_t index = 0; index < parameters->size(); ++index) {
            const auto& description = parameters->description(index);
            if (description.type == Param::ParameterType::Clip && wantsParameter(description)) {
                defineClip(parameters->scriptName(index).c_str(), clipSupportsAlpha(clip++), true, true);
            }
        }
    }
    DefineParameters(*this, *parameters);
    return kOfxStatOK;
}

void Host::defineClip(const char* name, bool alpha, bool isSource, bool optional) {
    OfxPropertySetHandle handle = nullptr;
    Check(effectSuite->clipDefine(effectHandle, name, &handle));
    const PropertySet clip(propertySuite, handle);
    clip.Set(kOfxImageEffectPropSupportedComponents, kOfxImageComponentRGBA, 0);
    if (alpha) {
        clip.Set(kOfxImageEffectPropSupportedComponents, kOfxImageComponentAlpha, 1);
    }
    if (isSource && temporalAccess()) {
        clip.Offer(kOfxImageEffectPropTemporalClipAccess, 1);
    }
    if (optional) {
        clip.Offer(kOfxImageClipPropOptional, 1);
    }
}

}  // namespace TQ::Host::OFX
