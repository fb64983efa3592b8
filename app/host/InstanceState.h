#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "app/host/InstanceObject.h"

namespace TQ::App {

/// What stands behind an EffectInstance.
struct EffectInstance::State {
    State(std::shared_ptr<EffectPlugin> loadedPlugin, const std::string& fullContext,
          const ClipFormat& format, double renderScale)
        : plugin(std::move(loadedPlugin)),
          context(fullContext),
          object(plugin->Internals(), *plugin->Internals().ContextOf(fullContext).object, fullContext, format,
                 renderScale) {}

    const HostProfile& Profile() { return object.Plugin().host->Profile(); }
    std::unique_lock<std::mutex> TakeTurn();
    void DefineWindow(PropertySet& arguments, const OfxRectI& window);
    void AddRenderStatus(PropertySet& arguments);
    /// What the effect wants of each input for a region. All are canonical.
    std::map<std::string, OfxRectD> QueryRegions(int frame, const OfxRectD& region, RenderJob* job);
    /// The windows that this host cuts a frame into.
    std::vector<RenderWindow> Windows(int frame, RenderJob& job);
    void Sequence(const char* action, int first, int last, RenderJob* job);
    /// Renders all windows, until one fails.
    OfxStatus RenderFrame(RenderJob& job, std::vector<RenderWindow> windows,
                          std::vector<HostMessage>& messages);
    void Judge(RenderJob& job, OfxStatus status, std::vector<HostMessage> messages);

    std::shared_ptr<EffectPlugin> plugin;
    const std::string context;
    InstanceObject object;
    bool temporal = false;
    std::string threadSafety;
    std::mutex instanceMutex;
    std::atomic<bool> sequenceOpen{false};
    FrameRange sequence;
    std::atomic<int> leakedImages{0};
    /// Made for one frame only.
    bool isForOneFrame = false;
};

}  // namespace TQ::App
