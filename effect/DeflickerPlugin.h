#pragma once

#include <array>
#include <span>
#include <vector>

#include "effect/DeflickerSettings.h"
#include "host/ofx/Host.h"

namespace TQ::Effect {

constexpr char pluginIdentifier[] = "com.marrowgate.SteadyLux";
constexpr int versionMajor = 2;
constexpr int versionMinor = 1;

/// The effect: what the bridge asks of it, answered by parameters, settings and graph. Made for one entry of
/// the host.
class DeflickerPlugin : public Host::OFX::Host {
  public:
    const char* effectName() const override { return "Steady Lux"; }
    const char* effectDescription() const override { return "Flicker removal"; }
    const char* shortName() const override { return "steadylux"; }
    const char* versionLabel() const override { return "2.1"; }
    void version(std::array<int, 4>& numbers) const override { numbers = {versionMajor, versionMinor, 0, 0}; }
    bool temporalAccess() const override { return true; }

    void defineParameters(TQ::Host::OFX::Parameters& list) override;
    std::span<const TQ::Host::Param::ParameterName> parameterNamesById() const override;
    void parameterChanged(TQ::Host::OFX::Parameters& parameters, int index) override;

    int identityClip(TQ::Host::OFX::Parameters& parameters, const IP::Bounds& window,
                     const IP::Bounds& region) override;
    IP::Bounds regionOfInterest(TQ::Host::OFX::Parameters& parameters, const IP::Bounds& window,
                                const IP::Bounds& clipRegion,
                                std::vector<TQ::Host::OFX::ExtraFrame>& extraFrames) override;
    std::vector<TQ::Host::OFX::ExtraFrame> framesNeeded(
        TQ::Host::OFX::Parameters& parameters, const std::vector<TQ::Host::OFX::ExtraFrame>& slots) override;

    void renderFrames(TQ::Host::OFX::Parameters& parameters, TQ::Host::OFX::Layer& source,
                      TQ::Host::OFX::Layer& output, TQ::Host::OFX::FrameTable& frameTable) override;
    void renderFrame(TQ::Host::OFX::Parameters& parameters, TQ::Host::OFX::Layer& source,
                     TQ::Host::OFX::Layer& output,
                     std::span<TQ::Host::OFX::Layer* const> frameLayers) override;
    void renderImage(TQ::Host::OFX::Parameters& parameters, TQ::Host::OFX::Layer& source,
                     TQ::Host::OFX::Layer& output,
                     std::span<TQ::Host::OFX::Layer* const> frameLayers) override;

  private:
    /// Whether a GPU can be used at all, so that the user may choose.
    bool hasUsableDevice() const { return false; }
    DeflickerSettings readSettings(TQ::Host::OFX::Parameters& parameters) const;

    TQ::Host::OFX::FrameTable* _frameTable = nullptr;  ///< looked at for the length of renderFrames
};

}  // namespace TQ::Effect
