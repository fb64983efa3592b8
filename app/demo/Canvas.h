#pragma once

#include <span>
#include <string_view>

#include "app/demo/Texture.h"
#include "app/picture/Picture.h"

namespace TQ::App {

struct Point {
    double x = 0;
    double y = 0;
};

/// Pixels left <= x < right and top <= y < bottom.
struct Box {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
};

enum class TextAlign { Left, Centre, Right };

/// Boxes, curves and text on an 8-bit picture. What lies outside the picture is left out. Pixel (0, 0) is the
/// upper left one, and its centre is the point (0.5, 0.5).
class Canvas {
  public:
    Canvas(int width, int height, const Colour& background);

    void FillBox(const Box& box, const Colour& colour);
    /// A line of one pixel just inside the box.
    void FrameBox(const Box& box, const Colour& colour);
    /// Straight lines from point to point, `thickness` pixels wide, with soft edges and round ends.
    void DrawCurve(std::span<const Point> points, double thickness, const Colour& colour);
    /// `(x, top)` is where the tops of the capital letters are, at the left, in the middle or at the right of
    /// the text; each dot of a letter becomes `scale` x `scale` pixels.
    void DrawText(int x, int top, std::string_view text, int scale, const Colour& colour,
                  TextAlign align = TextAlign::Left);

    const PicturePointer& Drawing() const { return _picture; }

  private:
    void BlendPixel(int x, int y, const Colour& colour, double share);

    PicturePointer _picture;
};

}  // namespace TQ::App
