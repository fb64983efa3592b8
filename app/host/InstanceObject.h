#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "app/host/Effect.h"
#include "app/host/EffectObject.h"
#include "app/host/PluginState.h"
#include "app/host/RenderJob.h"

namespace TQ::App {

/// An instance as the plug-in sees it: properties, connected clips, parameters, and which render is going on.
/// It also tells the plug-in of the changes that its own writes make.
class InstanceObject : public EffectObject, private ParameterSet::Watcher {
  public:
    InstanceObject(EffectPlugin::State& plugin, EffectObject& description, const std::string& fullContext,
                   const ClipFormat& format, double renderScale);

    EffectPlugin::State& Plugin() { return _plugin; }
    const ClipFormat& Format() const { return _format; }
    double RenderScale() const { return _renderScale; }
    const PictureFormat& Pictures() const { return _pictures; }
    /// True when host and effect do.
    bool UsesTiles() const;
    /// Of a full picture.
    OfxRectD WholeRegion() const;
    Clip& Source() { return *_source; }
    Clip& Output() { return *FindClip(kOfxImageEffectOutputClipName); }

    /// Calls an action on the instance, unless this host never sends it: then the answer is the default.
    /// Gives kOfxStatOK or kOfxStatReplyDefault, and throws HostError on anything else.
    OfxStatus Perform(const char* action, PropertySet* inArgs, PropertySet* outArgs,
                      const std::string& purpose, RenderJob* job = nullptr);
    /// The same without judging the status; `messages` gets what the plug-in said.
    OfxStatus Try(const char* action, PropertySet* inArgs, PropertySet* outArgs, RenderJob* job,
                  std::vector<HostMessage>& messages);
    /// Tells the plug-in that a parameter changed, in a bracket of its own. Throws HostError.
    void NotifyChange(Parameter& parameter, const char* reason);

    /// While one of these lives, the job is found by threads that the plug-in started by itself.
    class ActiveJob {
      public:
        ActiveJob(InstanceObject& instance, RenderJob& job);
        ~ActiveJob();
        ActiveJob(const ActiveJob&) = delete;
        ActiveJob& operator=(const ActiveJob&) = delete;

      private:
        InstanceObject& _instance;
        RenderJob& _job;
    };

    void AddMessages(std::vector<HostMessage> messages);
    std::vector<HostMessage> TakeMessages();
    /// Arguments that many actions share: time, render scale, what the API's version adds.
    void AddTime(PropertySet& arguments, double time) const;
    void AddScale(PropertySet& arguments) const;

    RenderJob* CurrentJob() override;
    OfxStatus ClipRegion(const Clip& clip, OfxRectD& region) const override;
    OfxRangeD TimeBounds() const override { return {0.0, static_cast<double>(_format.frameCount - 1)}; }
    bool IsInstance() const override { return true; }

  private:
    bool MayWrite() const override;
    void Written(Parameter& parameter) override;
    void FillProperties(const std::string& fullContext);
    void ConnectClips();
    void Connect(Clip& clip);

    EffectPlugin::State& _plugin;
    const ClipFormat _format;
    const double _renderScale;
    PictureFormat _pictures;
    Clip* _source = nullptr;
    /// Parameters whose change the plug-in is being told of, outermost first.
    std::vector<Parameter*> _changing;
    /// Why a change that the plug-in made itself failed, until the user's edit has ended.
    std::string _nestedFailure;

    std::mutex _jobMutex;
    std::set<RenderJob*> _jobs;
    std::mutex _messageMutex;
    std::vector<HostMessage> _messages;
};

/// Asks the effect for its clip preferences and gives the clips what it answers. Throws HostError when it
/// wants pictures that this host does not hand out.
void UpdateClipPreferences(InstanceObject& instance);

}  // namespace TQ::App
