#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/ofx/Error.h"
#include "host/ofx/FrameTable.h"
#include "host/ofx/HostQuirks.h"
#include "host/ofx/Layer.h"
#include "host/ofx/Parameters.h"
#include "host/ofx/PropertySet.h"
#include "host/ofx/abi/OfxGpuRender.h"
#include "host/ofx/abi/OfxImageEffect.h"
#include "host/ofx/abi/OfxInteract.h"
#include "host/ofx/abi/OfxMemory.h"
#include "host/ofx/abi/OfxMessage.h"
#include "host/ofx/abi/OfxMultiThread.h"
#include "host/ofx/abi/OfxProgress.h"

namespace TQ::Host::OFX {

/// What outlives an action of one effect instance; kept in the host's instance property.
struct InstanceRecord {
    static constexpr int nothingPending = -1;
    static constexpr int otherChangeSeen = -2;
    void* owner = nullptr;  ///< the record is freed with the instance only while this is null
    /// Index of a choice parameter whose change waits for the end of the host's bracket, or one of the above.
    int pendingParam = nothingPending;
};

/// A clip of the effect instance.
struct Clip {
    std::string name;
    OfxImageClipHandle handle = nullptr;
    PropertySet properties;
    float aspect = 1.0F;  ///< pixel aspect ratio; 1 when the host does not tell
    bool IsConnected() const { return properties.Int(kOfxImageClipPropConnected, 1) != 0; }
};

/// Flags of Host::postMessage: the first that is set, in this order, gives the kind of message; none: a
/// warning.
namespace MessageFlag {
constexpr unsigned cancelable = 0x2;  ///< a question; so is any value above 4 in the low three bits
constexpr unsigned plain = 0x1;       ///< one button
constexpr unsigned warning = 0x1000;
constexpr unsigned error = 0x2000;
constexpr unsigned message = 0x8000;
constexpr unsigned question = 0x4000;
}  // namespace MessageFlag

/// Answers of Host::postMessage.
enum class MessageAnswer { NotShown = 0, Yes = 1, Cancel = 2, No = 3 };

/// The base of every effect: turns the actions of the host into virtual operations. An object is made for
/// every single entry of the host and dies with it; nothing that outlives a call is kept in it. RunAction
/// (Entry.h) starts it and maps what it throws.
class Host {
  public:
    Host();
    virtual ~Host();  ///< ends a progress bar that is still shown
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Stores the arguments of the call and fetches the suites; throws Error(kOfxStatErrMissingHostFeature)
    /// when a required one is missing.
    void init(OfxHost* host, const void* handle, OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs);

    // The call: set by init
    OfxHost* host = nullptr;
    const OfxImageEffectSuiteV1* effectSuite = nullptr;
    const OfxPropertySuiteV1* propertySuite = nullptr;
    const OfxParameterSuiteV1* parameterSuite = nullptr;
    const OfxMemorySuiteV1* memorySuite = nullptr;
    const OfxMultiThreadSuiteV1* multiThreadSuite = nullptr;
    /// Version 1; looked for only when the host has no version 2.
    const OfxMessageSuiteV1* messageSuite = nullptr;
    const OfxMessageSuiteV2* messageSuiteV2 = nullptr;
    const OfxInteractSuiteV1* interactSuite = nullptr;
    const OfxProgressSuiteV1* progressSuite = nullptr;
    const OfxImageEffectOpenGLRenderSuiteV1* openGLRenderSuite = nullptr;
    OfxImageEffectHandle effectHandle = nullptr;
    PropertySet hostProps;
    PropertySet inArgs;
    PropertySet outArgs;
    HostId hostId = HostId::Other;
    const HostQuirks& quirks() const { return QuirksOf(hostId); }

    // The render: set by readRenderDeviceProps and render
    void* gpuCommandQueue = nullptr;  ///< CUDA stream, OpenCL or Metal command queue of the host
    bool cudaEnabled = false;
    bool openCLEnabled = false;
    bool metalEnabled = false;
    bool hostDeviceEnabled() const { return cudaEnabled || openCLEnabled || metalEnabled; }
    /// Pixel aspect of the output image while a frame is rendered, 1 otherwise. It takes part in the vertical
    /// scale.
    float pixelAspect = 1.0F;
    const char* progressLabel = nullptr;  ///< null: "Rendering..."

    // Services for the effect
    /// Properties of the effect or instance of this call.
    PropertySet effectProperties() const;
    double time() const { return inArgs.Double(kOfxPropTime, 0.0); }
    /// Render scale of the call; 1 where it is missing or not positive.
    std::array<double, 2> renderScale() const;
    /// The context of the instance, or of the call in describeInContext.
    std::string context() const;
    /// Throws Error.
    Clip openClip(const std::string& name) const;
    /// The clip's image at `time`, bound to `layer`: of `region` (canonical coordinates) when given, else the
    /// whole. False, and a layer without image, when the host has no frame there. Throws Error for every
    /// other failure.
    bool fetchClipImage(Layer& layer, const Clip& clip, double time, const OfxRectD* region);
    /// The rectangle where the clip has pixels at `time`. `fallback` on hosts without tiles and on those that
    /// cannot tell; throws Error for other failures.
    IP::Bounds clipRegion(const Clip& clip, double time, const IP::Bounds& fallback) const;
    /// Between the host's canonical coordinates and pixels, at the render scale of the call. Outward to whole
    /// pixels; limitless sides stay at the ends of the range.
    IP::Bounds toPixels(const OfxRectD& rectangle, const Clip& clip) const;
    OfxRectD toCanonical(const IP::Bounds& bounds, const Clip& clip) const;
    /// Shows a message (the host formats nothing in it) and waits for the answer.
    MessageAnswer postMessage(const std::string& text, unsigned flags);
    /// Throws TQ::Interrupted when the host asks to stop, or has done so before.
    void checkInterrupted();
    /// True once the host has asked to stop. Any thread.
    bool isInterrupted() const { return _interrupted.load(std::memory_order_relaxed); }
    /// Shows `done` of `total` when `level` is 0 and the host has a progress bar. Throws TQ::Interrupted once
    /// the host has asked to stop, also by its answer to this.
    void progress(int level, std::uint64_t done, std::uint64_t total);

    // Actions, in the order of the table. Each answers a status
    virtual const char* contextName() const;
    virtual void invokeAbout() {}
    /// Opens the help page in the user's browser; nothing when the build names no page.
    virtual void invokeHelp();
    virtual bool wantsParameter(const Param::ParameterDescription&) const { return true; }
    virtual OfxStatus describe();
    virtual OfxStatus describeInContext();
    virtual OfxStatus load() { return kOfxStatOK; }
    virtual OfxStatus unload() { return kOfxStatOK; }
    virtual OfxStatus purgeCaches() { return kOfxStatOK; }
    virtual OfxStatus syncPrivateData();
    virtual OfxStatus createInstance();
    virtual OfxStatus destroyInstance();
    virtual OfxStatus isIdentity();
    virtual OfxStatus render();
    virtual OfxStatus beginSequenceRender() { return kOfxStatOK; }
    virtual OfxStatus endSequenceRender() { return kOfxStatOK; }
    virtual OfxStatus getRegionOfDefinition();
    virtual OfxStatus getRegionsOfInterest();
    virtual OfxStatus getTimeDomain();
    virtual OfxStatus getFramesNeeded();
    virtual OfxStatus getClipPreferences();
    virtual OfxStatus instanceChanged();
    virtual OfxStatus beginInstanceChanged() { return kOfxStatOK; }
    virtual OfxStatus endInstanceChanged();
    virtual OfxStatus beginInstanceEdit() { return kOfxStatOK; }
    virtual OfxStatus endInstanceEdit() { return kOfxStatOK; }
    virtual OfxStatus openGLContextAttached() { return kOfxStatReplyDefault; }
    virtual OfxStatus openGLContextDetached() { return kOfxStatOK; }
    /// Called by describe when OpenGL renders are declared.
    virtual void describedOpenGL() {}
    /// What the host offers of its devices for this render; only devices that the effect supports are looked
    /// at.
    virtual void readRenderDeviceProps();

    // What an effect defines
    virtual std::unique_ptr<Parameters> cloneParameters(const Parameters& parameters);
    virtual std::unique_ptr<Parameters> createParameters();
    /// Appends the effect's parameters to the empty list.
    virtual void defineParameters(Parameters& list) = 0;
    /// Name tables of the parameters: by id (a first row with id 0 makes the table count as empty) and by
    /// label.
    virtual std::span<const Param::ParameterName> parameterNamesById() const { return {}; }
    virtual std::span<const Param::ParameterName> parameterNamesByLabel() const { return {}; }
    virtual void beforeRenderFrame(Parameters&, Layer&) {}
    virtual void beforeRenderOutput(Parameters&, Layer&) {}
    /// Renders one frame: fills `output`, whose bounds are what is to be rendered, from `source` and the
    /// extra frames. `frameLayers` has one entry per extra frame, in the order of framesNeeded; its entries
    /// are null when the frames are fetched through a FrameTable. `source` may cover less than `output`.
    virtual void renderImage(Parameters& parameters, Layer& source, Layer& output,
                             std::span<Layer* const> frameLayers) = 0;
    /// beforeRenderFrame, beforeRenderOutput, renderImage.
    virtual void renderFrame(Parameters& parameters, Layer& source, Layer& output,
                             std::span<Layer* const> frameLayers);
    /// Fetches all extra frames and goes on to renderFrame. An effect that fetches them when they are first
    /// needed overrides this, keeps `frameTable` for the length of the call and hands on an empty
    /// `frameLayers`.
    virtual void renderFrames(Parameters& parameters, Layer& source, Layer& output, FrameTable& frameTable);
    virtual void releaseGPU() {}
    /// Which input the effect hands on unchanged: 0 the source, n the n-th further clip (general context), -1
    /// none. `window` and `region` (of the source) are in pixels.
    virtual int identityClip(Parameters& parameters, const IP::Bounds& window, const IP::Bounds& region);
    /// The rectangle of the output for a source that covers `clipRegion`.
    virtual IP::Bounds regionOfDefinition(Parameters& parameters, const IP::Bounds& clipRegion);
    /// The rectangle needed of the source at the frame's own time to render `window`; appends one entry per
    /// extra frame, with clip and region. All in pixels.
    virtual IP::Bounds regionOfInterest(Parameters& parameters, const IP::Bounds& window,
                                        const IP::Bounds& clipRegion, std::vector<ExtraFrame>& extraFrames);
    /// The rectangle needed of further clip `clip`, from 1.
    virtual IP::Bounds regionOfInterestForClip(Parameters& parameters, const IP::Bounds& window, int clip);
    /// The slots of regionOfInterest with their time offsets.
    virtual std::vector<ExtraFrame> framesNeeded(Parameters& parameters,
                                                 const std::vector<ExtraFrame>& slots);
    /// The user has edited the parameter at `index`, which is flagged callbackOnChange.
    virtual void parameterChanged(Parameters&, int) {}

    virtual const char* vendorId() const { return "com.marrowgate"; }
    virtual const char* vendorName() const { return "Marrowgate"; }  ///< also the menu group
    virtual const char* effectName() const = 0;
    virtual const char* effectDescription() const = 0;
    virtual const char* versionLabel() const { return nullptr; }
    virtual void version(std::array<int, 4>&) const {}  ///< all 0 before; trailing zeros are dropped
    virtual const char* shortName() const { return nullptr; }
    virtual const char* platformSuffix() const { return "_OFX"; }

    // What an effect can do
    virtual bool isGenerator() const { return false; }
    virtual bool wantsOpenGLSuite() const { return false; }
    virtual bool supportsOpenGL() { return false; }
    virtual bool openGLSuiteAllowed() const { return true; }
    virtual bool supportsCUDA() { return false; }
    virtual bool supportsOpenCL() { return false; }
    virtual bool supportsMetal() { return false; }
    virtual bool supportsDeepColour() const { return true; }
    virtual bool supportsAlpha() const { return false; }
    virtual bool clipSupportsAlpha(int) const { return supportsAlpha(); }  ///< 0: the source
    virtual bool supportsTiles() const { return true; }
    virtual bool temporalAccess() const { return false; }
    virtual bool frameVarying() const { return false; }

  private:
    void fetchSuites();
    // describe
    bool declareOpenGL(const PropertySet& effect);
    void declareDepths(const PropertySet& effect, bool openGL);
    void declareNames(const PropertySet& effect);
    void declareContexts(const PropertySet& effect);
    void defineClip(const char* name, bool alpha, bool isSource, bool optional);
    // instances
    InstanceRecord* instanceRecord() const;
    OfxStatus applyPendingParameter();
    std::unique_ptr<Parameters> definedParameters();
    // regions
    bool isGeneratorCall(const std::string& contextText) const;
    bool lacksSource(const std::string& contextText, const Clip& source) const;
    bool takesDepth(const std::string& depth) const;
    std::vector<Clip> furtherClips(Parameters& parameters) const;
    IP::Bounds renderWindowArgument() const;
    /// The union of all rectangles wanted of the source for `window`, within its `region`; fills `slots`.
    IP::Bounds sourceRegion(Parameters& parameters, const IP::Bounds& window, const IP::Bounds& region,
                            std::vector<ExtraFrame>& slots);
    // render
    OfxStatus renderWindow(Parameters& parameters);
    OfxStatus fetchSource(Parameters& parameters, Layer& source, double now, const IP::Bounds& window,
                          std::vector<ExtraFrame>& slots);
    void endProgress() noexcept;

    bool _progressStarted = false;
    std::atomic<bool> _interrupted{false};
};

}  // namespace TQ::Host::OFX
