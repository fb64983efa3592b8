#include "effect/DeflickerPlugin.h"

#include <memory>

#include "effect/DeflickerGraph.h"
#include "effect/DeflickerParameters.h"
#include "effect/RecursiveDeflicker.h"
#include "ip/Evaluation.h"

namespace TQ::Effect {

using TQ::Host::OFX::ExtraFrame;
using TQ::Host::OFX::FilterHostLayer;
using TQ::Host::OFX::FilterLayerWrapper;
using TQ::Host::OFX::FrameTable;
using TQ::Host::OFX::Parameters;
using HostLayer = TQ::Host::OFX::Layer;

namespace {

/// The window's frames, fetched lazily through the table, or all in memory.
class HostFrames : public ExtraFrames {
  public:
    HostFrames(FrameTable* table, std::span<HostLayer* const> layers) : _table(table), _layers(layers) {}

    bool Exists(std::size_t slot) override {
        if (_table != nullptr) {
            return slot < _table->Size() && _table->FetchSlot(slot).HasImage();
        }
        return slot < _layers.size() && _layers[slot] != nullptr && _layers[slot]->HasImage();
    }

    std::shared_ptr<IP::FilterBase> Frame(std::size_t slot) override {
        if (_table != nullptr) {
            return std::make_shared<FilterHostLayer>(*_table, slot);
        }
        return std::make_shared<FilterLayerWrapper>(*_layers[slot]);
    }

  private:
    FrameTable* _table;
    std::span<HostLayer* const> _layers;
};

}  // namespace

void DeflickerPlugin::defineParameters(Parameters& list) {
    DefineDeflickerParameters(list, hasUsableDevice());
}

std::span<const TQ::Host::Param::ParameterName> DeflickerPlugin::parameterNamesById() const {
    return DeflickerParameterNames();
}

void DeflickerPlugin::parameterChanged(Parameters& parameters, int index) {
    DeflickerParameterChanged(parameters, index, hasUsableDevice());
}

DeflickerSettings DeflickerPlugin::readSettings(Parameters& parameters) const {
    const std::array<double, 2> scale = renderScale();
    const double aspect = inArgs.Double(kOfxImagePropPixelAspectRatio, 1.0);
    const double scaleX = scale[0] / (aspect > 0.0 ? aspect : 1.0);
    return DeriveSettings(ReadDeflickerValues(parameters, time()), static_cast<float>(scaleX),
                          static_cast<float>(scale[1]) * pixelAspect);
}

int DeflickerPlugin::identityClip(Parameters& parameters, const IP::Bounds&, const IP::Bounds&) {
    return parameters.getIntAt(ParameterIndex::timeRadius, time()) == 0 ? 0 : -1;
}

IP::Bounds DeflickerPlugin::regionOfInterest(Parameters& parameters, const IP::Bounds& window,
                                             const IP::Bounds& clipRegion,
                                             std::vector<ExtraFrame>& extraFrames) {
    const DeflickerSettings settings = readSettings(parameters);
    // A dry run of the blur over a leaf without pixels leaves there what the blur would read.
    const auto leaf = std::make_shared<IP::FilterLayer>(clipRegion);
    IP::PixelFormat format;
    format.channels = 2;
    format.depth = IP::PixelDepth::Half;
    TQ::Host::OFX::ConstHostWrapper queries(*this);
    BuildBlur(leaf, settings.sensitivityPixels)->DryRun(queries, window, format);
    const int count = settings.PastFrames() + settings.FutureFrames();
    for (int slot = 0; slot < count; ++slot) {
        extraFrames.push_back({std::string(), leaf->region, 0.0});
    }
    // The margin goes to the extra frames only; the current frame's is part of the union that the host is
    // told.
    return window;
}

std::vector<ExtraFrame> DeflickerPlugin::framesNeeded(Parameters& parameters,
                                                      const std::vector<ExtraFrame>& slots) {
    const int past = readSettings(parameters).PastFrames();
    std::vector<ExtraFrame> frames = slots;
    for (std::size_t slot = 0; slot < frames.size(); ++slot) {
        const int offset = static_cast<int>(slot) - past;
        frames[slot].timeOffset = offset < 0 ? offset : offset + 1;
    }
    return frames;
}

void DeflickerPlugin::renderFrames(Parameters& parameters, HostLayer& source, HostLayer& output,
                                   FrameTable& frameTable) {
    _frameTable = &frameTable;
    renderImage(parameters, source, output, {});
    _frameTable = nullptr;
}

void DeflickerPlugin::renderFrame(Parameters& parameters, HostLayer& source, HostLayer& output,
                                  std::span<HostLayer* const> frameLayers) {
    _frameTable = nullptr;
    Host::renderFrame(parameters, source, output, frameLayers);
}

void DeflickerPlugin::renderImage(Parameters& parameters, HostLayer& source, HostLayer& output,
                                  std::span<HostLayer* const> frameLayers) {
    TQ::Host::OFX::HostWrapper services(*this);
    const auto target = std::make_shared<IP::Layer>(std::make_unique<TQ::Host::OFX::LayerWrapper>(output));
    std::shared_ptr<IP::FilterBase> graph = std::make_shared<FilterLayerWrapper>(source);
    const DeflickerSettings settings = readSettings(parameters);
    HostFrames frames(_frameTable, frameLayers);
    if (settings.PassesThrough()) {
        IP::RenderGraph(graph, services, target);
        return;
    }
    if (settings.render == renderRecursive) {
        RenderRecursively(settings, graph, frames, services, target);
        return;
    }
    graph = BuildDeflickerGraph(settings, graph, frames);
    IP::RenderGraph(graph, services, target);
}

}  // namespace TQ::Effect
