#include <fmt/format.h>

#include <string>

#include "app/host/InstanceObject.h"
#include "app/host/PropertyTables.h"

namespace TQ::App {
namespace {

std::string NameFor(const char* prefix, const Clip& clip) {
    return prefix + clip.Name();
}

/// The arguments with the values that hold when the effect changes nothing.
void DefineArguments(PropertySet& arguments, const InstanceObject& instance, const Clip& source) {
    for (const auto& clip : instance.Clips()) {
        const PropertySet& of = clip->Properties();
        const auto text = [&](const char* prefix, const char* property) {
            const std::string value = of.Text(property);
            arguments.Define(Writable(TextRow(NameFor(prefix, *clip).c_str(), value.c_str())));
        };
        text(OfxNames::clipComponentsPrefix, kOfxImageEffectPropComponents);
        text(OfxNames::clipDepthPrefix, kOfxImageEffectPropPixelDepth);
        arguments.Define(Writable(DoubleRow(NameFor(OfxNames::clipPixelAspectPrefix, *clip).c_str(),
                                            instance.Format().pixelAspect)));
    }
    const std::string alpha = source.Properties().Text(kOfxImageEffectPropPreMultiplication);
    arguments.Define(Writable(DoubleRow(kOfxImageEffectPropFrameRate, instance.Format().frameRate)));
    arguments.Define(Writable(TextRow(kOfxImageClipPropFieldOrder, kOfxImageFieldNone)));
    arguments.Define(Writable(TextRow(kOfxImageEffectPropPreMultiplication, alpha.c_str())));
    arguments.Define(Writable(IntRow(kOfxImageClipPropContinuousSamples)));
    arguments.Define(Writable(IntRow(kOfxImageEffectFrameVarying)));
}

void Demand(InstanceObject& instance, const Clip& clip, const std::string& wanted, const std::string& given) {
    if (wanted != given) {
        throw HostError(
            fmt::format("{} wants pictures of kind \"{}\" at its clip \"{}\", this host gives \"{}\"",
                        instance.Plugin().DisplayName(), wanted, clip.Name(), given));
    }
}

void CheckPictures(InstanceObject& instance, const PropertySet& arguments) {
    for (const auto& clip : instance.Clips()) {
        if (clip->IsConnected()) {
            Demand(instance, *clip, arguments.Text(NameFor(OfxNames::clipComponentsPrefix, *clip)),
                   kOfxImageComponentRGBA);
            Demand(instance, *clip, arguments.Text(NameFor(OfxNames::clipDepthPrefix, *clip)),
                   ClaimedDepth(instance.Plugin().host->Profile(), instance.Format().depth));
        }
    }
}

}  // namespace

void UpdateClipPreferences(InstanceObject& instance) {
    PropertySet arguments;
    DefineArguments(arguments, instance, instance.Source());
    if (instance.Perform(kOfxImageEffectActionGetClipPreferences, nullptr, &arguments,
                         "tell its clip preferences") != kOfxStatOK) {
        return;
    }
    CheckPictures(instance, arguments);
    PropertySet& output = instance.Output().Properties();
    output.SetDouble(kOfxImageEffectPropFrameRate, arguments.Double(kOfxImageEffectPropFrameRate));
    output.SetDouble(kOfxImagePropPixelAspectRatio,
                     arguments.Double(NameFor(OfxNames::clipPixelAspectPrefix, instance.Output())));
    output.SetText(kOfxImageEffectPropPreMultiplication,
                   arguments.Text(kOfxImageEffectPropPreMultiplication));
    output.SetInt(kOfxImageClipPropContinuousSamples, arguments.Int(kOfxImageClipPropContinuousSamples));
}

}  // namespace TQ::App
