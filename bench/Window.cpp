#include "bench/Window.h"

#include <tuple>

#include "bench/Operations.h"
#include "effect/Presets.h"
#include "ip/Evaluation.h"

namespace TQ::Bench {

namespace {

/// The window as the graph asks for it.
class WindowFrames : public Effect::ExtraFrames {
  public:
    WindowFrames(Window& window, int timeRadius) : _window(window), _timeRadius(timeRadius) {}
    bool Exists(std::size_t slot) override { return slot < 2 * static_cast<std::size_t>(_timeRadius); }
    std::shared_ptr<IP::FilterBase> Frame(std::size_t slot) override {
        const int offset = static_cast<int>(slot) - _timeRadius;
        return std::make_shared<IP::FilterLayer>(&_window.Frame(offset < 0 ? offset : offset + 1));
    }

  private:
    Window& _window;
    int _timeRadius;
};

}  // namespace

Window::Window(const IP::Bounds& bounds, int bits, int radius) : _radius(radius) {
    // A host of its own, so that the memory goes with the window.
    PooledHost host(1);
    for (int time = 0; time <= 2 * radius; ++time) {
        _frames.push_back(MakePicture(host, bounds, bits, Content::Frame, time));
    }
    _output = MakePicture(host, bounds, bits, Content::Output, 0);
}

void Window::Render(IP::Host& host, const Effect::DeflickerSettings& settings) {
    WindowFrames frames(*this, settings.timeRadius);
    auto target = std::make_shared<IP::Layer>(host);
    target->ShareRegion(*_output, _output->Bounds());
    const auto source = std::make_shared<IP::FilterLayer>(&Frame(0));
    IP::RenderGraph(Effect::BuildDeflickerGraph(settings, source, frames), host, target);
}

double Window::BytesMoved(int timeRadius) const {
    const double bytes = static_cast<double>(_output->Width()) * _output->Height() * _output->PixelBytes();
    return bytes * (2 * timeRadius + 2);
}

double Window::MemoryNeeded(const IP::Bounds& bounds, int bits, int radius) {
    constexpr double floatImages = 6;  // the sums of both halves, the step in work, the blur's lines
    const double pixels = static_cast<double>(IP::Width(bounds)) * IP::Height(bounds);
    return pixels * ((2 * radius + 2) * bits / 2.0 + floatImages * 16.0);
}

Window& WindowOf(const IP::Bounds& bounds, int bits, int radius) {
    using Key = std::tuple<std::int32_t, std::int32_t, int, int>;
    static Key held;
    static std::unique_ptr<Window> window;
    const Key wanted{bounds.x2, bounds.y2, bits, radius};
    if (!window || held != wanted) {
        window.reset();
        window = std::make_unique<Window>(bounds, bits, radius);
        held = wanted;
    }
    return *window;
}

Effect::DeflickerSettings SettingsOfPreset(int menuValue) {
    const Effect::Preset& row = Effect::PresetRow(menuValue);
    Effect::DeflickerValues values;
    values.sensitivity = row.sensitivity;
    values.timeRadius = row.timeRadius;
    values.threshold = row.threshold;
    values.motion = row.motion;
    values.detectMotion = row.detectMotion;
    if (row.detectMotion == Effect::detectSlow) {
        values.maskThreshold = row.maskThreshold;
        values.maskRadius = row.maskRadius;
    }
    return Effect::DeriveSettings(values, 1.0F, 1.0F);
}

double OperationsOfFrame(const Effect::DeflickerSettings& settings, int bits) {
    using namespace Operations;
    const int neighbours = 2 * settings.timeRadius;
    Count total{};
    if (settings.useMotion) {
        total = total + neighbours * (flow + warp);
    }
    if (!settings.useMask) {
        total = total + neighbours * addToSum + addFrame;
    } else if (settings.detectKind == Effect::DetectKind::Fast) {
        total = total + neighbours * gatedStepOfChain + 2 * addFrame;
    } else {
        total = total + neighbours * (divideByWeight + similarity + gateAndAdd) + 2 * addFrame;
    }
    if (settings.sensitivityPixels > 0.0F) {
        total = total + 2 * blur;
    }
    const Count limit = settings.highPassThreshold < 1.0F ? limitCorrection : nothing;
    return (total + exchangeLowOfSum + limit).For(bits);
}

}  // namespace TQ::Bench
