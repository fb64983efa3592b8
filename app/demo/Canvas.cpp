#include "app/demo/Canvas.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "app/demo/Font.h"
#include "app/demo/Numbers.h"

namespace TQ::App {

namespace {

constexpr float white = 255;

std::uint8_t ToByte(float value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0.0f, 1.0f) * white + 0.5f);
}

double DistanceToSegment(const Point& point, const Point& from, const Point& to) {
    const double alongX = to.x - from.x;
    const double alongY = to.y - from.y;
    const double square = alongX * alongX + alongY * alongY;
    const double dot = (point.x - from.x) * alongX + (point.y - from.y) * alongY;
    const double share = square > 0 ? Clamp01(dot / square) : 0;
    const double x = point.x - from.x - share * alongX;
    const double y = point.y - from.y - share * alongY;
    return std::sqrt(x * x + y * y);
}

}  // namespace

Canvas::Canvas(int width, int height, const Colour& background)
    : _picture(std::make_shared<Picture>(width, height, SampleDepth::Byte)) {
    FillBox({0, 0, width, height}, background);
}

void Canvas::FillBox(const Box& box, const Colour& colour) {
    const int right = std::min(box.right, _picture->Width());
    const int bottom = std::min(box.bottom, _picture->Height());
    for (int y = std::max(box.top, 0); y < bottom; ++y) {
        for (int x = std::max(box.left, 0); x < right; ++x) {
            std::uint8_t* const pixel = _picture->Row(y) + x * 4;
            for (std::size_t channel = 0; channel < 3; ++channel) {
                pixel[channel] = ToByte(colour[channel]);
            }
            pixel[3] = 255;
        }
    }
}

void Canvas::FrameBox(const Box& box, const Colour& colour) {
    FillBox({box.left, box.top, box.right, box.top + 1}, colour);
    FillBox({box.left, box.bottom - 1, box.right, box.bottom}, colour);
    FillBox({box.left, box.top, box.left + 1, box.bottom}, colour);
    FillBox({box.right - 1, box.top, box.right, box.bottom}, colour);
}

void Canvas::BlendPixel(int x, int y, const Colour& colour, double share) {
    std::uint8_t* const pixel = _picture->Row(y) + x * 4;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const float old = static_cast<float>(pixel[channel]) / white;
        pixel[channel] = ToByte(old + (colour[channel] - old) * static_cast<float>(share));
    }
}

void Canvas::DrawCurve(std::span<const Point> points, double thickness, const Colour& colour) {
    const int width = _picture->Width();
    const int height = _picture->Height();
    const double reach = thickness / 2 + 0.5;
    // Gathered first and painted once, so that the joints are no darker than the lines.
    std::vector<float> cover(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    const auto at = [&](int x, int y) -> float& {
        return cover[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                     static_cast<std::size_t>(x)];
    };
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Point& from = points[i > 0 ? i - 1 : 0];
        const Point& to = points[i];
        const int left = std::max(0, static_cast<int>(std::min(from.x, to.x) - reach));
        const int right = std::min(width, static_cast<int>(std::max(from.x, to.x) + reach) + 1);
        const int top = std::max(0, static_cast<int>(std::min(from.y, to.y) - reach));
        const int bottom = std::min(height, static_cast<int>(std::max(from.y, to.y) + reach) + 1);
        for (int y = top; y < bottom; ++y) {
            for (int x = left; x < right; ++x) {
                const double inside = reach - DistanceToSegment({x + 0.5, y + 0.5}, from, to);
                at(x, y) = std::max(at(x, y), static_cast<float>(Clamp01(inside)));
            }
        }
    }
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (at(x, y) > 0) {
                BlendPixel(x, y, colour, at(x, y));
            }
        }
    }
}

void Canvas::DrawText(int x, int top, std::string_view text, int scale, const Colour& colour,
                      TextAlign align) {
    const int width = TextWidth(text) * scale;
    int left = align == TextAlign::Left ? x : align == TextAlign::Right ? x - width : x - width / 2;
    for (const char character : text) {
        const Glyph& glyph = GlyphOf(character);
        for (int row = 0; row < glyphRows; ++row) {
            for (int column = 0; column < glyphColumns; ++column) {
                if (glyph[static_cast<std::size_t>(row)] >> (glyphColumns - 1 - column) & 1) {
                    const int dotLeft = left + column * scale;
                    const int dotTop = top + row * scale;
                    FillBox({dotLeft, dotTop, dotLeft + scale, dotTop + scale}, colour);
                }
            }
        }
        left += glyphAdvance * scale;
    }
}

}  // namespace TQ::App
