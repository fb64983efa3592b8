#pragma once

#include <vector>

#include "app/demo/Texture.h"

namespace TQ::App {

/// How camera and subjects move, in heights of the picture per frame and as a factor.
struct SceneMotion {
    double pan = 0;           // of the camera to the right
    double subjectSpeed = 1;  // 1 moves the balloon about 1.3 pixels a frame at 540 lines
};

/// Colours of one frame, row by row from the top.
struct Frame {
    int width = 0;
    int height = 0;
    std::vector<Colour> pixels;

    Colour& At(int x, int y) {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
    const Colour& At(int x, int y) const { return const_cast<Frame*>(this)->At(x, y); }
};

/// A countryside in sunlight with a drifting balloon, a windmill and a bouncing ball, all textured and moving
/// by fractions of a pixel. The same numbers on every machine.
class Scene {
  public:
    Scene(int width, int height, const SceneMotion& motion);
    /// Frame `time` of an endless clip, 0 or more.
    const Frame& Render(int time);

  private:
    void RenderLandscape(double cameraX);

    SceneMotion _motion;
    double _pixel;
    double _landscapeCameraX = 0;
    Frame _landscape;
    Frame _frame;
    int _time = -1;
};

}  // namespace TQ::App
