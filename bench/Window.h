#pragma once

#include <memory>
#include <vector>

#include "bench/Pictures.h"
#include "effect/DeflickerGraph.h"

namespace TQ::Bench {

/// The frames around a current one, in memory, and the effect over them.
class Window {
  public:
    /// `radius` frames on each side.
    Window(const IP::Bounds& bounds, int bits, int radius);

    /// Renders the current frame on `host`. The settings' time radius is at most that of the window.
    void Render(IP::Host& host, const Effect::DeflickerSettings& settings);

    IP::Layer& Frame(int offset) { return *_frames.at(static_cast<std::size_t>(offset + _radius)); }
    IP::Layer& Output() { return *_output; }
    /// Frames of a window of that time radius read once, the output written once.
    double BytesMoved(int timeRadius) const;

    /// Bytes that a window and the rendering of the default preset over it take at most.
    static double MemoryNeeded(const IP::Bounds& bounds, int bits, int radius);

  private:
    int _radius;
    std::vector<std::shared_ptr<IP::Layer>> _frames;
    std::shared_ptr<IP::Layer> _output;
};

/// The window of that kind; only the last one asked for is kept.
Window& WindowOf(const IP::Bounds& bounds, int bits, int radius);

/// A preset's settings at full scale.
Effect::DeflickerSettings SettingsOfPreset(int menuValue);

/// Operations for each pixel of a whole frame whose pictures have that many bits a channel; see Operations.h.
double OperationsOfFrame(const Effect::DeflickerSettings& settings, int bits);

}  // namespace TQ::Bench
