#pragma once

// The public face of the host library: load a plug-in, look at it, make an instance of its effect, render
// with it.

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "app/host/HostError.h"
#include "app/host/HostProfile.h"
#include "app/picture/Picture.h"

namespace TQ::App {

/// One parameter as the plug-in describes it. Lists of numbers have one element per dimension (1 for
/// scalars), and are empty where the type has no such thing.
struct ParameterDescription {
    std::string name;
    std::string label;
    /// The standard's name of the type without its beginning: "Integer", "Double", "Boolean", "Choice",
    /// "StrChoice", "RGBA", "RGB", "Double2D", "Integer2D", "Double3D", "Integer3D", "String", "Custom",
    /// "Bytes", "Group", "Page", "PushButton".
    std::string type;
    std::string parent;
    std::string hint;
    /// Integers, doubles, booleans (0 or 1), choices (index of the option).
    std::vector<double> defaults;
    /// Strings, custom parameters and string choices.
    std::string defaultText;
    std::vector<double> minimum;
    std::vector<double> maximum;
    std::vector<double> displayMinimum;
    std::vector<double> displayMaximum;
    /// Entries of a choice, in the order of their indices.
    std::vector<std::string> options;
    /// Values behind the entries of a string choice.
    std::vector<std::string> optionValues;
    bool enabled = true;
    bool secret = false;
    bool animates = false;

    /// False for groups, pages and push buttons.
    bool HasValue() const;
};

struct ClipDescription {
    std::string name;
    std::string label;
    std::vector<std::string> components;
    bool optional = false;
    bool temporalAccess = false;
};

struct ContextDescription {
    std::vector<ClipDescription> clips;
    /// In the order in which the plug-in defined them.
    std::vector<ParameterDescription> parameters;
};

/// "filter" for "OfxImageEffectContextFilter"; any other text unchanged.
std::string ShortContextName(std::string_view context);
/// The reverse; full names pass unchanged.
std::string FullContextName(std::string_view context);

/// A plug-in that was loaded and described. Unloaded when the last pointer to it goes, instances included.
class EffectPlugin {
  public:
    /// `path` is a bundle folder (Name.ofx.bundle) or the binary itself. Of several plug-ins in one binary it
    /// takes the one with `identifier`, the first image effect when that is empty. Throws HostError with the
    /// reason when there is no such file, no binary for this system in the bundle, or the binary is no
    /// plug-in or misbehaves.
    static std::shared_ptr<EffectPlugin> Load(const std::filesystem::path& path,
                                              const HostProfile& profile = {},
                                              const std::string& identifier = {});
    /// Sends Load and Describe once more to a plug-in that is in use, as hosts do that load for every frame.
    static std::shared_ptr<EffectPlugin> LoadAgain(const std::shared_ptr<EffectPlugin>& plugin);
    ~EffectPlugin();
    EffectPlugin(const EffectPlugin&) = delete;
    EffectPlugin& operator=(const EffectPlugin&) = delete;

    const std::filesystem::path& BinaryPath() const;
    std::string Identifier() const;
    /// "2.1", from the plug-in's record.
    std::string Version() const;
    std::string Label() const;
    std::string Grouping() const;
    std::string Description() const;
    /// Short names: "filter", "general", ...
    std::vector<std::string> Contexts() const;
    bool SupportsContext(std::string_view context) const;
    /// Depths that the effect takes and the host has, in the plug-in's order.
    std::vector<SampleDepth> Depths() const;
    bool SupportsDepth(SampleDepth depth) const;
    /// Clips and parameters in a context (short or full name). Throws HostError when the plug-in refuses the
    /// context.
    const ContextDescription& Describe(std::string_view context);

    /// What stands behind it; for the library itself.
    struct State;
    State& Internals() { return *_state; }

  private:
    explicit EffectPlugin(std::unique_ptr<State> state);
    std::unique_ptr<State> _state;
};

enum class Alpha { Opaque, Premultiplied, Straight };

/// The clip that stands at the effect's source. All frames have this format.
struct ClipFormat {
    /// In pixels at render scale 1, at least 1.
    int width = 0;
    int height = 0;
    SampleDepth depth = SampleDepth::Byte;
    /// Width of a pixel over its height.
    double pixelAspect = 1;
    double frameRate = 25;
    /// Frames are numbered from 0; at least 1.
    int frameCount = 1;
    Alpha alpha = Alpha::Opaque;
};

/// Pixels of a picture whose full size is `size`, at a render scale: rounded up, at least 1.
int ScaledSize(int size, double renderScale);

/// Both ends belong to it.
struct FrameRange {
    int first = 0;
    int last = 0;
};

struct FramesNeeded {
    /// From the first frame of all ranges to the last. Not limited to the clip.
    FrameRange hull;
    std::vector<FrameRange> ranges;
};

/// In canonical coordinates (pixels of scale 1, x times the pixel aspect, y upwards).
struct Rectangle {
    double x1 = 0;
    double y1 = 0;
    double x2 = 0;
    double y2 = 0;
};

/// What a parameter holds. Choices are integers. Buttons, groups and pages have no state.
using ParameterValue = std::variant<bool, int, double, std::string, std::vector<int>, std::vector<double>>;

struct ParameterState {
    std::string name;
    std::string label;
    /// As ParameterDescription::type.
    std::string type;
    ParameterValue value;
    /// For people: the entry of a choice, "true", numbers in shortest form, components separated by commas.
    std::string text;
    bool enabled = true;
    bool secret = false;
};

/// What the plug-in told the user.
struct HostMessage {
    /// "fatal", "error", "warning", "message", "log" or "question".
    std::string kind;
    std::string text;
};

/// Gives a frame of the source at the render scale, in the clip's depth; null where there is none. May be
/// called from several threads at once when several renders run. What it throws comes out of
/// EffectInstance::Render.
using FrameProvider = std::function<ConstPicturePointer(int frame)>;

/// One instance of an effect with a source and an output clip. Parameters and queries: one thread at a time,
/// and not during renders. Render may be called from any number of threads; they take turns where the plug-in
/// cannot do better. Every call throws HostError when the plug-in fails or misbehaves; the plug-in's own
/// messages are part of the text.
class EffectInstance {
  public:
    /// `context` is a short or full name. `renderScale` is in (0, 1]. Throws HostError when the plug-in does
    /// not take the context, the depth, or asks for pictures that this host does not hand out.
    EffectInstance(std::shared_ptr<EffectPlugin> plugin, std::string_view context, const ClipFormat& format,
                   double renderScale = 1);
    ~EffectInstance();
    EffectInstance(const EffectInstance&) = delete;
    EffectInstance& operator=(const EffectInstance&) = delete;

    const ClipFormat& Format() const;
    double RenderScale() const;
    /// Size of the pictures at the render scale.
    int PictureWidth() const;
    int PictureHeight() const;
    /// Frame rate and pixel aspect of the output after the effect's clip preferences.
    double OutputFrameRate() const;
    double OutputPixelAspect() const;

    /// Sets a parameter as a user does, with the change bracket around it, also one that the effect has
    /// disabled. `text`: a number; "true", "false",
    /// "1", "0", "on", "off", "yes", "no"; an option's text (upper and lower case alike) or its index; text;
    /// components separated by commas. A push button is pressed, whatever the text. HostError names what
    /// would be valid.
    void SetParameter(std::string_view name, std::string_view text);
    /// Values of all parameters that have one, in the plug-in's order.
    std::vector<ParameterState> Parameters() const;

    /// Frames of the source that rendering `frame` may fetch.
    FramesNeeded NeededFrames(int frame);
    /// The frame of the source that equals output frame `frame`; none when the effect has work to do.
    std::optional<int> IdentityFrame(int frame);
    Rectangle RegionOfDefinition(int frame);
    /// The frames that the effect has to give, both ends included.
    FrameRange TimeDomain();
    /// What the effect wants of each input clip, by the clip's name, when the whole picture is rendered.
    std::map<std::string, Rectangle> RegionsOfInterest(int frame);

    /// Tells the effect that frames first..last follow. Renders outside such a pair make a sequence of one
    /// frame each.
    void BeginSequence(int first, int last);
    void EndSequence();
    /// Renders a frame into `output`, which has the size PictureWidth() x PictureHeight() and the clip's
    /// depth. `abort` may be null; RenderAborted is thrown when the effect stopped because of it. `progress`
    /// may be empty; it gets the share of the frame that is done, 0..1, from the rendering thread.
    void Render(int frame, const FrameProvider& provider, Picture& output,
                const std::atomic<bool>* abort = nullptr, const std::function<void(double)>& progress = {});
    /// True when renders really run at once.
    bool RendersConcurrently() const;

    /// Messages of calls that succeeded, since the last call of this function.
    std::vector<HostMessage> TakeMessages();
    /// Images that renders fetched and never gave back, all renders together.
    int LeakedImages() const;

  private:
    struct State;
    /// What the host does with a new instance.
    void Settle();
    /// Puts the questions (actions of the standard) for a frame; the answers are for plug-ins that prepare
    /// something when they give them.
    void Ask(const std::vector<std::string>& queries, int frame);
    void RenderAnew(int frame, const FrameProvider& provider, Picture& output, const std::atomic<bool>* abort,
                    const std::function<void(double)>& progress);
    std::unique_ptr<State> _state;
};

/// Threads that the thread suite offers to plug-ins, for the whole process; at least 1. Not during a render.
/// Until it is called they are as many as the machine has.
void SetHostThreads(int threads);
int HostThreads();

}  // namespace TQ::App
