// The render action.

#include <cstring>

#include "host/ofx/Host.h"
#include "ip/records/Exception.h"

namespace TQ::Host::OFX {

namespace {

/// Throws unless the framework can work on the image: `whose` begins the message.
void CheckUsable(const Layer& layer, const std::string& whose) {
    if (layer.channels != 4) {
        throw Exception("Image of the host",
                        whose + " has " + std::to_string(layer.channels) +
                            " channel(s), and this effect takes RGBA images. Convert the clip "
                            "to RGBA before the effect.");
    }
    if (layer.channelBits == 16 && layer.hostIsFloat) {
        throw Exception("Image of the host", whose +
                                                 " has half-float pixels, which this effect does not take. "
                                                 "Choose 8-bit, 16-bit or float processing.");
    }
}

void CheckSameFormat(const Layer& source, const Layer& output) {
    if (source.channelBits != output.channelBits || source.channels != output.channels ||
        source.hostIsFloat != output.hostIsFloat) {
        throw Exception(
            "Image of the host",
            "The application's source and output images have different pixel formats. Set both clips "
            "to the same depth.");
    }
}

/// Zeroes what the effect cannot fill because the source does not reach there.
void ClearBeyond(Layer& output, const IP::Bounds& covered) {
    if (output.isHostDeviceBuffer || IP::Contains(covered, output.bounds)) {
        return;
    }
    const auto bytes =
        static_cast<std::size_t>(IP::Width(output.bounds)) * static_cast<std::size_t>(output.PixelBytes());
    for (int y = output.bounds.y1; y < output.bounds.y2; ++y) {
        std::memset(output.PixelAddress(output.bounds.x1, y), 0, bytes);
    }
}

}  // namespace

OfxStatus Host::render() {
    const auto parameters = definedParameters();
    readRenderDeviceProps();
    OfxStatus status = kOfxStatFailed;
    try {
        status = renderWindow(*parameters);
    } catch (const Interrupted&) {
        // The host asked for this; what was fetched has gone back on the way here.
    } catch (...) {
        endProgress();  // before a message covers it
        throw;
    }
    endProgress();
    return status;
}

OfxStatus Host::renderWindow(Parameters& parameters) {
    const double now = inArgs.NeedDouble(kOfxPropTime);
    const IP::Bounds window = renderWindowArgument();
    Layer output(*this);
    if (!fetchClipImage(output, openClip(kOfxImageEffectOutputClipName), now, nullptr)) {
        return kOfxStatFailed;
    }
    CheckUsable(output, "The application's output image");
    Layer target(*this);
    target.ShareRegion(output, window);
    if (IP::IsEmpty(target.bounds)) {
        if (IP::IsEmpty(window)) {
            return kOfxStatOK;
        }
        throw Exception(
            "Image of the host",
            "The application's output image lies outside the window that it asks for. Render again with "
            "another window or without tiles.");
    }

    Layer source(*this);
    std::vector<ExtraFrame> slots;
    if (!isGeneratorCall(context())) {
        const OfxStatus status = fetchSource(parameters, source, now, target.bounds, slots);
        if (status != kOfxStatOK) {
            return status;
        }
        // All frames then have the same bounds, whether the host gives what was asked for or whole images.
        source.NarrowTo(Reach(target.bounds, slots));
        CheckUsable(source, "The application's source image");
        CheckSameFormat(source, output);
        ClearBeyond(target, source.bounds);
        if (IP::IsEmpty(IP::Intersect(source.bounds, target.bounds))) {
            return kOfxStatOK;
        }
    }
    FrameTable frameTable(*this, source, framesNeeded(parameters, slots), now);
    // From here on only: rows of host and image correspond whatever the pixel's shape, so the regions above
    // must not see it.
    pixelAspect = output.aspect;
    renderFrames(parameters, source, target, frameTable);
    return kOfxStatOK;
}

OfxStatus Host::fetchSource(Parameters& parameters, Layer& source, double now, const IP::Bounds& window,
                            std::vector<ExtraFrame>& slots) {
    const Clip clip = openClip(kOfxImageEffectSimpleSourceClipName);
    const IP::Bounds wanted = sourceRegion(parameters, window, clipRegion(clip, now, window), slots);
    const OfxRectD region = toCanonical(wanted, clip);
    const bool whole = hostDeviceEnabled() || quirks().sourceWithoutRegion;
    return fetchClipImage(source, clip, now, whole ? nullptr : &region) ? kOfxStatOK : kOfxStatFailed;
}

}  // namespace TQ::Host::OFX
