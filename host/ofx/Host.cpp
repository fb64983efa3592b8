#include "host/ofx/Host.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "ip/records/Exception.h"
#include "platform/Platform.h"

namespace TQ::Host::OFX {

namespace {

template <class Suite>
void Fetch(const OfxHost& from, const Suite*& suite, const char* name, int version = 1) {
    suite = static_cast<const Suite*>(from.fetchSuite(from.host, name, version));
}

int ToPixel(double value) {
    if (!(value > INT_MIN)) {  // also not-a-number
        return INT_MIN;
    }
    return value >= INT_MAX ? INT_MAX : static_cast<int>(value);
}

/// A canonical coordinate in pixels, outward by `round`; the limitless values stay what they are.
template <class Round>
int ScaleToPixel(double value, double factor, Round round) {
    const bool limitless = value <= kOfxFlagInfiniteMin || value >= kOfxFlagInfiniteMax;
    return ToPixel(limitless ? value : round(value * factor));
}

double ScaleToCanonical(int value, double factor) {
    const bool limitless = value == kOfxFlagInfiniteMin || value == kOfxFlagInfiniteMax;
    return limitless ? value : value / factor;
}

/// Scales and aspects by which a host would have one divide by zero count as 1.
double PositiveOrOne(double value) {
    return value > 0.0 && std::isfinite(value) ? value : 1.0;
}

}  // namespace

Host::Host() = default;

Host::~Host() {
    endProgress();
}

// --- Start of a call -----------------------------------------------------------------------------

void Host::init(OfxHost* application, const void* handle, OfxPropertySetHandle in, OfxPropertySetHandle out) {
    host = application;
    effectHandle = const_cast<OfxImageEffectHandle>(static_cast<const OfxImageEffectStruct*>(handle));
    if (host == nullptr || host->fetchSuite == nullptr) {
        throw Error(kOfxStatErrMissingHostFeature);
    }
    fetchSuites();
    if (effectSuite == nullptr || propertySuite == nullptr || parameterSuite == nullptr ||
        memorySuite == nullptr || multiThreadSuite == nullptr) {
        throw Error(kOfxStatErrMissingHostFeature);
    }
    hostProps = PropertySet(propertySuite, host->host);
    inArgs = PropertySet(propertySuite, in);
    outArgs = PropertySet(propertySuite, out);
    hostId = IdentifyHost(hostProps.Text(kOfxPropName, ""));
    if (openGLRenderSuite != nullptr &&
        hostProps.Text(kOfxImageEffectPropOpenGLRenderSupported, "false") != "true") {
        openGLRenderSuite = nullptr;
    }
    if (quirks().withoutProgress) {
        progressSuite = nullptr;
    }
}

void Host::fetchSuites() {
    Fetch(*host, effectSuite, kOfxImageEffectSuite);
    Fetch(*host, propertySuite, kOfxPropertySuite);
    Fetch(*host, parameterSuite, kOfxParameterSuite);
    Fetch(*host, memorySuite, kOfxMemorySuite);
    Fetch(*host, multiThreadSuite, kOfxMultiThreadSuite);
    Fetch(*host, messageSuiteV2, kOfxMessageSuite, 2);
    if (messageSuiteV2 == nullptr) {
        Fetch(*host, messageSuite, kOfxMessageSuite);
    }
    Fetch(*host, interactSuite, kOfxInteractSuite);
    Fetch(*host, progressSuite, kOfxProgressSuite);
    if (wantsOpenGLSuite() && openGLSuiteAllowed()) {
        Fetch(*host, openGLRenderSuite, kOfxOpenGLRenderSuite);
    }
}

// --- What the call is about ----------------------------------------------------------------------

PropertySet Host::effectProperties() const {
    OfxPropertySetHandle properties = nullptr;
    Check(effectSuite->getPropertySet(effectHandle, &properties));
    return {propertySuite, properties};
}

std::array<double, 2> Host::renderScale() const {
    return {PositiveOrOne(inArgs.Double(kOfxImageEffectPropRenderScale, 1.0, 0)),
            PositiveOrOne(inArgs.Double(kOfxImageEffectPropRenderScale, 1.0, 1))};
}

const char* Host::contextName() const {
    return isGenerator() ? kOfxImageEffectContextGenerator : kOfxImageEffectContextFilter;
}

std::string Host::context() const {
    return effectProperties().Text(kOfxImageEffectPropContext, kOfxImageEffectContextFilter);
}

Clip Host::openClip(const std::string& name) const {
    Clip clip;
    clip.name = name;
    OfxPropertySetHandle properties = nullptr;
    Check(effectSuite->clipGetHandle(effectHandle, name.c_str(), &clip.handle, &properties));
    if (properties == nullptr) {
        Check(effectSuite->clipGetPropertySet(clip.handle, &properties));
    }
    clip.properties = PropertySet(propertySuite, properties);
    clip.aspect =
        static_cast<float>(PositiveOrOne(clip.properties.Double(kOfxImagePropPixelAspectRatio, 1.0)));
    return clip;
}

bool Host::fetchClipImage(Layer& layer, const Clip& clip, double time, const OfxRectD* region) {
    layer.Release();
    OfxPropertySetHandle image = nullptr;
    const OfxStatus status = effectSuite->clipGetImage(clip.handle, time, region, &image);
    if (status == kOfxStatFailed || (status == kOfxStatOK && image == nullptr)) {
        return false;
    }
    Check(status);
    layer.Bind(ClipImage(effectSuite, image));
    return true;
}

IP::Bounds Host::clipRegion(const Clip& clip, double time, const IP::Bounds& fallback) const {
    if (hostProps.Int(kOfxImageEffectPropSupportsTiles, 1) == 0) {
        return fallback;
    }
    OfxRectD region{0.0, 0.0, 0.0, 0.0};
    const OfxStatus status = effectSuite->clipGetRegionOfDefinition(clip.handle, time, &region);
    if (status == kOfxStatErrUnsupported || (status != kOfxStatOK && quirks().regionMayFail)) {
        return fallback;
    }
    Check(status);
    const IP::Bounds bounds = toPixels(region, clip);
    return IP::IsEmpty(bounds) ? fallback : bounds;
}

IP::Bounds Host::toPixels(const OfxRectD& rectangle, const Clip& clip) const {
    const auto scale = renderScale();
    const double x = scale[0] / clip.aspect;
    const double y = scale[1] * pixelAspect;
    const auto down = [](double value) { return std::floor(value); };
    const auto up = [](double value) { return std::ceil(value); };
    return {ScaleToPixel(rectangle.x1, x, down), ScaleToPixel(rectangle.y1, y, down),
            ScaleToPixel(rectangle.x2, x, up), ScaleToPixel(rectangle.y2, y, up)};
}

OfxRectD Host::toCanonical(const IP::Bounds& bounds, const Clip& clip) const {
    const auto scale = renderScale();
    const double x = scale[0] / clip.aspect;
    const double y = scale[1] * pixelAspect;
    return {ScaleToCanonical(bounds.x1, x), ScaleToCanonical(bounds.y1, y), ScaleToCanonical(bounds.x2, x),
            ScaleToCanonical(bounds.y2, y)};
}

// --- Messages ------------------------------------------------------------------------------------

namespace {

const char* KindOfMessage(unsigned flags) {
    constexpr unsigned buttonBits = 0x7;
    constexpr unsigned lastPlainButtons = 4;
    struct Row {
        unsigned flag;
        const char* kind;
    };
    constexpr Row table[] = {
        {MessageFlag::cancelable, kOfxMessageQuestion}, {MessageFlag::warning, kOfxMessageWarning},
        {MessageFlag::error, kOfxMessageError},         {MessageFlag::message, kOfxMessageMessage},
        {MessageFlag::question, kOfxMessageQuestion},
    };
    if ((flags & buttonBits) > lastPlainButtons) {
        return kOfxMessageQuestion;
    }
    for (const Row& row : table) {
        if ((flags & row.flag) != 0) {
            return row.kind;
        }
    }
    return kOfxMessageWarning;
}

std::string WithDoubledPercents(const std::string& text) {
    std::string result;
    for (const char c : text) {
        result.append(c == '%' ? 2 : 1, c);
    }
    return result;
}

}  // namespace

MessageAnswer Host::postMessage(const std::string& text, unsigned flags) {
    const auto post = messageSuiteV2 != nullptr ? messageSuiteV2->message
                      : messageSuite != nullptr ? messageSuite->message
                                                : nullptr;
    if (post == nullptr) {
        return MessageAnswer::NotShown;
    }
    const char* kind = KindOfMessage(flags);
    const OfxStatus status = quirks().messageIsFormat
                                 ? post(effectHandle, kind, "", WithDoubledPercents(text).c_str())
                                 : post(effectHandle, kind, "", "%s", text.c_str());
    switch (status) {
        case kOfxStatOK:
        case kOfxStatReplyYes:
            return MessageAnswer::Yes;
        case kOfxStatReplyNo:
            return MessageAnswer::No;
        default:
            return MessageAnswer::Cancel;
    }
}

// --- Progress and abort --------------------------------------------------------------------------

void Host::checkInterrupted() {
    if (!isInterrupted() && effectSuite->abort(effectHandle) != 0) {
        _interrupted = true;
    }
    if (isInterrupted()) {
        throw Interrupted{};
    }
}

void Host::progress(int level, std::uint64_t done, std::uint64_t total) {
    if (isInterrupted()) {
        throw Interrupted{};
    }
    if (progressSuite == nullptr || level != 0) {
        return;
    }
    if (!_progressStarted) {
        _progressStarted =
            progressSuite->progressStart(
                effectHandle, progressLabel != nullptr ? progressLabel : "Rendering...") == kOfxStatOK;
        if (!_progressStarted) {
            return;
        }
    }
    const double fraction = total == 0 ? 0.0 : static_cast<double>(done) / static_cast<double>(total);
    if (progressSuite->progressUpdate(effectHandle, fraction) == kOfxStatReplyNo) {
        _interrupted = true;
        throw Interrupted{};
    }
    if (done == total) {
        endProgress();
    }
}

void Host::endProgress() noexcept {
    if (_progressStarted) {
        _progressStarted = false;
        progressSuite->progressEnd(effectHandle);
    }
}

// --- Devices and help ----------------------------------------------------------------------------

void Host::readRenderDeviceProps() {
    struct Device {
        bool supported;
        bool& enabled;
        const char* enabledName;
        const char* queueName;
    };
    gpuCommandQueue = nullptr;
    cudaEnabled = openCLEnabled = metalEnabled = false;
    const Device devices[] = {
        {supportsCUDA(), cudaEnabled, kOfxImageEffectPropCudaEnabled, kOfxImageEffectPropCudaStream},
        {supportsOpenCL(), openCLEnabled, kOfxImageEffectPropOpenCLEnabled,
         kOfxImageEffectPropOpenCLCommandQueue},
        {supportsMetal(), metalEnabled, kOfxImageEffectPropMetalEnabled,
         kOfxImageEffectPropMetalCommandQueue},
    };
    for (const Device& device : devices) {
        if (device.supported && gpuCommandQueue == nullptr) {
            device.enabled = inArgs.Int(device.enabledName, 0) != 0;
            gpuCommandQueue = inArgs.Pointer(device.queueName);
        }
    }
}

void Host::invokeHelp() {
    constexpr const char* page = STEADYLUX_HELP_PAGE;
    if (*page != '\0') {
        Platform::OpenWebPage(page);
    }
}

// --- Defaults of an effect -----------------------------------------------------------------------

std::unique_ptr<Parameters> Host::createParameters() {
    return std::make_unique<Parameters>(*this);
}

std::unique_ptr<Parameters> Host::cloneParameters(const Parameters& parameters) {
    auto clone = createParameters();
    clone->copyFrom(parameters);
    return clone;
}

std::unique_ptr<Parameters> Host::definedParameters() {
    auto parameters = createParameters();
    defineParameters(*parameters);
    return parameters;
}

void Host::renderFrame(Parameters& parameters, Layer& source, Layer& output,
                       std::span<Layer* const> frameLayers) {
    beforeRenderFrame(parameters, output);
    beforeRenderOutput(parameters, output);
    renderImage(parameters, source, output, frameLayers);
}

void Host::renderFrames(Parameters& parameters, Layer& source, Layer& output, FrameTable& frameTable) {
    std::vector<Layer*> frames;
    for (std::size_t slot = 0; slot < frameTable.Size(); ++slot) {
        frames.push_back(&frameTable.FetchSlot(slot));
    }
    renderFrame(parameters, source, output, frames);
}

int Host::identityClip(Parameters&, const IP::Bounds&, const IP::Bounds&) {
    return -1;
}

IP::Bounds Host::regionOfDefinition(Parameters&, const IP::Bounds& clipRegion) {
    return clipRegion;
}

IP::Bounds Host::regionOfInterest(Parameters&, const IP::Bounds& window, const IP::Bounds&,
                                  std::vector<ExtraFrame>&) {
    return window;
}

IP::Bounds Host::regionOfInterestForClip(Parameters&, const IP::Bounds& window, int) {
    return window;
}

std::vector<ExtraFrame> Host::framesNeeded(Parameters&, const std::vector<ExtraFrame>& slots) {
    std::vector<ExtraFrame> result = slots;
    for (ExtraFrame& slot : result) {
        slot.timeOffset = 0.0;
    }
    return result;
}

}  // namespace TQ::Host::OFX
