// What the host asks before it renders: regions, times, identity and clip preferences.

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "host/ofx/Host.h"

namespace TQ::Host::OFX {

namespace {

void SetRectangle(const PropertySet& properties, const std::string& name, const OfxRectD& rectangle) {
    const double values[] = {rectangle.x1, rectangle.y1, rectangle.x2, rectangle.y2};
    for (int i = 0; i < 4; ++i) {
        properties.Set(name.c_str(), values[i], i);
    }
}

/// Sorted times as pairs (first, last) of runs whose members are one frame apart.
std::vector<double> AsRanges(std::vector<double> times) {
    constexpr double tolerance = 0.0001;
    std::ranges::sort(times);
    std::vector<double> ranges;
    for (const double time : times) {
        const bool continues = !ranges.empty() && (time - ranges.back() <= tolerance ||
                                                   std::abs(time - ranges.back() - 1.0) <= tolerance);
        if (continues) {
            ranges.back() = time;
        } else {
            ranges.insert(ranges.end(), {time, time});
        }
    }
    return ranges;
}

/// `wanted` within `limits`; where nothing is left, one pixel at the low corner, as hosts take no empty
/// rectangle.
IP::Bounds WithinOrOnePixel(const IP::Bounds& wanted, const IP::Bounds& limits) {
    const IP::Bounds result = IP::Intersect(wanted, limits);
    return IP::IsEmpty(result) ? IP::Bounds{limits.x1, limits.y1, limits.x1 + 1, limits.y1 + 1} : result;
}

}  // namespace

bool Host::isGeneratorCall(const std::string& contextText) const {
    return contextText == kOfxImageEffectContextGenerator;
}

bool Host::lacksSource(const std::string& contextText, const Clip& source) const {
    return contextText == kOfxImageEffectContextGeneral && !source.IsConnected();
}

OfxStatus Host::isIdentity() {
    const std::string contextText = context();
    if (isGeneratorCall(contextText)) {
        return kOfxStatReplyDefault;
    }
    const auto parameters = definedParameters();
    const Clip source = openClip(kOfxImageEffectSimpleSourceClipName);
    if (lacksSource(contextText, source)) {
        if (isGenerator()) {
            return kOfxStatReplyDefault;
        }
        outArgs.Set(kOfxPropName, kOfxImageEffectSimpleSourceClipName);
        return kOfxStatOK;
    }
    const IP::Bounds window = renderWindowArgument();
    const int clip = identityClip(*parameters, window, clipRegion(source, time(), window));
    if (clip == 0) {
        outArgs.Set(kOfxPropName, kOfxImageEffectSimpleSourceClipName);
        return kOfxStatOK;
    }
    if (clip > 0 && contextText == kOfxImageEffectContextGeneral) {
        const std::size_t index = parameters->clipParameterIndex(static_cast<std::size_t>(clip - 1));
        outArgs.Set(kOfxPropName, parameters->scriptName(index).c_str());
        return kOfxStatOK;
    }
    return kOfxStatReplyDefault;
}

IP::Bounds Host::renderWindowArgument() const {
    return {inArgs.NeedInt(kOfxImageEffectPropRenderWindow, 0),
            inArgs.NeedInt(kOfxImageEffectPropRenderWindow, 1),
            inArgs.NeedInt(kOfxImageEffectPropRenderWindow, 2),
            inArgs.NeedInt(kOfxImageEffectPropRenderWindow, 3)};
}

OfxStatus Host::getRegionOfDefinition() {
    const std::string contextText = context();
    Clip source;
    if (!isGeneratorCall(contextText)) {
        source = openClip(kOfxImageEffectSimpleSourceClipName);
    }
    if (isGeneratorCall(contextText) || (lacksSource(contextText, source) && isGenerator())) {
        const PropertySet effect = effectProperties();
        const double x = effect.NeedDouble(kOfxImageEffectPropProjectOffset, 0);
        const double y = effect.NeedDouble(kOfxImageEffectPropProjectOffset, 1);
        SetRectangle(outArgs, kOfxImageEffectPropRegionOfDefinition,
                     {x, y, x + effect.NeedDouble(kOfxImageEffectPropProjectSize, 0),
                      y + effect.NeedDouble(kOfxImageEffectPropProjectSize, 1)});
        return kOfxStatOK;
    }
    const IP::Bounds region = clipRegion(source, time(), IP::unsetBounds);
    if (IP::IsEmpty(region)) {
        return kOfxStatReplyDefault;  // the host knows no better, so its own rule holds: that of the source
    }
    const auto parameters = definedParameters();
    SetRectangle(outArgs, kOfxImageEffectPropRegionOfDefinition,
                 toCanonical(regionOfDefinition(*parameters, region), source));
    return kOfxStatOK;
}

IP::Bounds Host::sourceRegion(Parameters& parameters, const IP::Bounds& window, const IP::Bounds& region,
                              std::vector<ExtraFrame>& slots) {
    const IP::Bounds wanted = regionOfInterest(parameters, window, region, slots);
    return WithinOrOnePixel(Reach(wanted, slots), region);
}

OfxStatus Host::getRegionsOfInterest() {
    const std::string contextText = context();
    if (isGeneratorCall(contextText)) {
        return kOfxStatReplyDefault;
    }
    const Clip source = openClip(kOfxImageEffectSimpleSourceClipName);
    if (lacksSource(contextText, source)) {
        return kOfxStatReplyDefault;
    }
    const IP::Bounds window = toPixels({inArgs.NeedDouble(kOfxImageEffectPropRegionOfInterest, 0),
                                        inArgs.NeedDouble(kOfxImageEffectPropRegionOfInterest, 1),
                                        inArgs.NeedDouble(kOfxImageEffectPropRegionOfInterest, 2),
                                        inArgs.NeedDouble(kOfxImageEffectPropRegionOfInterest, 3)},
                                       source);
    const auto parameters = definedParameters();
    std::vector<ExtraFrame> slots;
    const IP::Bounds wanted = sourceRegion(*parameters, window, clipRegion(source, time(), window), slots);
    SetRectangle(outArgs, OfxNames::clipRegionPrefix + source.name, toCanonical(wanted, source));
    if (contextText == kOfxImageEffectContextGeneral) {
        int number = 1;
        for (const Clip& clip : furtherClips(*parameters)) {
            const IP::Bounds region = regionOfInterestForClip(*parameters, window, number++);
            const IP::Bounds limits = clipRegion(clip, time(), window);
            SetRectangle(outArgs, OfxNames::clipRegionPrefix + clip.name,
                         toCanonical(WithinOrOnePixel(region, limits), clip));
        }
    }
    return kOfxStatOK;
}

std::vector<Clip> Host::furtherClips(Parameters& parameters) const {
    std::vector<Clip> clips;
    for (std::size_t index = 0; index < parameters.size(); ++index) {
        if (parameters.description(index).type == Param::ParameterType::Clip) {
            clips.push_back(openClip(parameters.scriptName(index)));
        }
    }
    return clips;
}

OfxStatus Host::getTimeDomain() {
    const std::string contextText = context();
    if (isGeneratorCall(contextText)) {
        return kOfxStatReplyDefault;
    }
    const Clip source = openClip(kOfxImageEffectSimpleSourceClipName);
    if (lacksSource(contextText, source)) {
        return kOfxStatReplyDefault;
    }
    constexpr double unread = std::numeric_limits<double>::quiet_NaN();
    const double first = source.properties.Double(kOfxImageEffectPropFrameRange, unread, 0);
    const double last = source.properties.Double(kOfxImageEffectPropFrameRange, unread, 1);
    if (std::isnan(first) || std::isnan(last)) {
        return kOfxStatReplyDefault;
    }
    outArgs.Set(kOfxImageEffectPropFrameRange, first, 0);
    outArgs.Set(kOfxImageEffectPropFrameRange, last, 1);
    return kOfxStatOK;
}

OfxStatus Host::getFramesNeeded() {
    const std::string contextText = context();
    if (!temporalAccess() || isGeneratorCall(contextText)) {
        return kOfxStatReplyDefault;
    }
    const Clip source = openClip(kOfxImageEffectSimpleSourceClipName);
    if (lacksSource(contextText, source)) {
        return kOfxStatReplyDefault;
    }
    const auto parameters = definedParameters();
    // Only the number of slots matters here, so any rectangle will do where the host tells none.
    constexpr IP::Bounds onePixel{0, 0, 1, 1};
    IP::Bounds region = clipRegion(source, time(), onePixel);
    if (IP::IsInfinite(region)) {
        region = onePixel;
    }
    std::vector<ExtraFrame> slots;
    regionOfInterest(*parameters, region, region, slots);
    std::map<std::string, std::vector<double>> times{{source.name, {time()}}};
    for (const ExtraFrame& slot : framesNeeded(*parameters, slots)) {
        times[slot.clip.empty() ? source.name : slot.clip].push_back(time() + slot.timeOffset);
    }
    for (const auto& [clip, clipTimes] : times) {
        const std::string name = OfxNames::clipFrameRangePrefix + clip;
        int index = 0;
        for (const double value : AsRanges(clipTimes)) {
            outArgs.Set(name.c_str(), value, index++);
        }
    }
    return kOfxStatOK;
}

OfxStatus Host::getClipPreferences() {
    const auto parameters = definedParameters();
    const std::string contextText = context();
    const bool generator = isGeneratorCall(contextText);
    const bool manyDepths = hostProps.Int(kOfxImageEffectPropSupportsMultipleClipDepths, 0) != 0;
    Clip source;
    if (!generator) {
        source = openClip(kOfxImageEffectSimpleSourceClipName);
        if (lacksSource(contextText, source) && !isGenerator()) {
            return kOfxStatReplyDefault;
        }
    }
    std::string depth;
    std::string components = kOfxImageComponentRGBA;
    if (generator || lacksSource(contextText, source)) {
        depth = hostProps.Text(kOfxImageEffectPropSupportedPixelDepths, "");
    } else {
        depth = source.properties.Text(kOfxImageClipPropUnmappedPixelDepth, "");
        components = source.properties.Text(kOfxImageClipPropUnmappedComponents, kOfxImageComponentRGBA);
    }
    if (frameVarying()) {
        outArgs.Offer(kOfxImageEffectFrameVarying, 1);
    }
    // The host converts where the source has what the effect does not take.
    if (!(components == kOfxImageComponentAlpha && supportsAlpha())) {
        components = kOfxImageComponentRGBA;
    }
    const bool writesDepth = manyDepths && takesDepth(depth);
    std::vector<std::string> names{kOfxImageEffectOutputClipName};
    if (contextText == kOfxImageEffectContextGeneral) {
        for (const Clip& clip : furtherClips(*parameters)) {
            if (clip.IsConnected()) {
                names.push_back(clip.name);
            }
        }
    }
    for (const std::string& name : names) {
        outArgs.Offer((OfxNames::clipComponentsPrefix + name).c_str(), components.c_str());
        if (writesDepth) {
            outArgs.Offer((OfxNames::clipDepthPrefix + name).c_str(), depth.c_str());
        }
    }
    return kOfxStatOK;
}

bool Host::takesDepth(const std::string& depth) const {
    return depth == kOfxBitDepthByte ||
           (supportsDeepColour() && (depth == kOfxBitDepthShort || depth == kOfxBitDepthFloat));
}

}  // namespace TQ::Host::OFX
