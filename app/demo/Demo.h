#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "app/picture/Picture.h"

namespace TQ::App {

/// One kind of flicker that the demonstration shows.
struct DemoKind {
    const char* name;         // as the command line takes it
    const char* title;        // one line for people
    const char* description;  // what makes this flicker
    const char* presetName;   // the effect's menu entry that fits it
    bool moves;               // camera or subjects move so much that the preset follows or masks motion
};

/// All kinds, in the order in which the demonstration runs them.
std::span<const DemoKind> DemoKinds();
/// The kind of that name, or null.
const DemoKind* FindDemoKind(std::string_view name);

/// Menu entries without motion compensation, which the kinds that move are compared with.
std::span<const char* const> PresetsForStillCameras();

/// Size and length of a demonstration clip. Width and height at least 1, frames at least 1.
struct DemoFormat {
    int width = 960;
    int height = 540;
    int frames = 96;
    int framesPerSecond = 25;
    SampleDepth depth = SampleDepth::Byte;
};

/// What the command makes: kinds that move are smaller and shorter, as following motion takes its time.
DemoFormat FormatOf(const DemoKind& kind);

/// A clip with known truth: a scene without flicker and the same scene with it. The frames are computed when
/// asked for and are the same bytes on every machine; alpha is white everywhere. One thread at a time may use
/// one clip.
class DemoClip {
  public:
    DemoClip(const DemoKind& kind, const DemoFormat& format);
    ~DemoClip();

    const DemoKind& Kind() const { return _kind; }
    const DemoFormat& Format() const { return _format; }
    /// Frame `time`, 0 up to frames - 1, as it should look.
    PicturePointer Truth(int time);
    /// The same frame with the kind's flicker and a little sensor noise.
    PicturePointer Before(int time);

  private:
    struct Implementation;
    const DemoKind& _kind;
    DemoFormat _format;
    std::unique_ptr<Implementation> _implementation;
};

}  // namespace TQ::App
