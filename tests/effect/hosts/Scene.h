#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "app/PictureTesting.h"
#include "app/host/Effect.h"

namespace TQ::App {

constexpr int sceneWidth = 44;
constexpr int sceneHeight = 37;
constexpr int sceneFrames = 9;

enum class SceneKind { Still, Moving };

/// A textured scene whose brightness flickers from frame to frame and in bands; when moving, a bright square
/// crosses it.
ConstPicturePointer SceneFrame(int frame, SampleDepth depth, SceneKind kind = SceneKind::Still);
ClipFormat SceneFormat(SampleDepth depth);

/// The colours of a picture, white being 1; row by row from the top, three per pixel.
std::vector<double> Colours(const Picture& picture);
/// The largest difference of two colours, white being 1.
double LargestDifference(const Picture& a, const Picture& b);
/// How much a pixel changes from one frame to the next, on average over pixels and frames.
double Flicker(const std::vector<PicturePointer>& frames);

/// Gives the scene's frames, and knows how many of them are still held by anybody.
class SceneClip {
  public:
    explicit SceneClip(SampleDepth depth, SceneKind kind = SceneKind::Still) : _depth(depth), _kind(kind) {}
    FrameProvider Provider();
    int FramesHeld() const { return *_held; }
    int Fetches() const { return *_fetches; }

  private:
    SampleDepth _depth;
    SceneKind _kind;
    std::shared_ptr<std::atomic<int>> _held = std::make_shared<std::atomic<int>>(0);
    std::shared_ptr<std::atomic<int>> _fetches = std::make_shared<std::atomic<int>>(0);
};

/// Renders frames 0 to `count` - 1, of the still scene.
std::vector<PicturePointer> RenderScene(EffectInstance& instance, int count = sceneFrames);

}  // namespace TQ::App
