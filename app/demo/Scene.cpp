#include "app/demo/Scene.h"

#include <algorithm>
#include <cmath>

#include "app/demo/Landscape.h"
#include "app/demo/Numbers.h"

namespace TQ::App {

namespace {

constexpr std::uint64_t ballSeed = 900;
constexpr std::uint64_t sailSeed = 950;
constexpr Colour sunlight{1.04f, 1.0f, 0.93f};

/// Where a picture looks, and how fine.
struct View {
    double cameraX;
    double pixel;
};

/// Paints `shader(x, y)`, a colour and its coverage, over the pixels within `reach` of (centreX, centreY).
template <class Shader>
void Paint(Frame& frame, const View& view, double centreX, double centreY, double reach,
           const Shader& shader) {
    const auto first = [&](double from) {
        return std::max(0, static_cast<int>(std::floor(from / view.pixel)) - 1);
    };
    const auto last = [&](double to, int size) {
        return std::min(size, static_cast<int>(std::ceil(to / view.pixel)) + 1);
    };
    const double left = centreX - view.cameraX;
    for (int row = first(centreY - reach); row < last(centreY + reach, frame.height); ++row) {
        for (int column = first(left - reach); column < last(left + reach, frame.width); ++column) {
            const double x = (column + 0.5) * view.pixel + view.cameraX - centreX;
            const double y = (row + 0.5) * view.pixel - centreY;
            const auto [colour, coverage] = shader(x, y);
            Colour& pixel = frame.At(column, row);
            pixel = Blend(pixel, colour, coverage);
        }
    }
}

struct Paintwork {
    Colour colour;
    double coverage;
};

Colour Lit(const Colour& colour, double light) {
    return {colour[0] * sunlight[0] * static_cast<float>(light),
            colour[1] * sunlight[1] * static_cast<float>(light),
            colour[2] * sunlight[2] * static_cast<float>(light)};
}

/// Light on a ball of radius 1 from the upper left.
double BallLight(double x, double y) {
    const double z = std::sqrt(std::max(0.0, 1 - x * x - y * y));
    return 0.45 + 0.55 * Clamp01(-0.45 * x - 0.55 * y + 0.7 * z);
}

/// Drifts slowly to the right and up and down.
void PaintBalloon(Frame& frame, const View& view, double time) {
    constexpr double radius = 0.115;
    constexpr double driftPerFrame = 0.0024;
    const double centreX = 0.62 + driftPerFrame * time;
    const double centreY = 0.20 + 0.015 * SineOfTurns(time / 90);
    const auto shader = [&](double x, double y) -> Paintwork {
        const double u = x / radius;
        const double v = y / radius;
        const double basket = BoxDistance(x, y - 0.155, 0.022, 0.016);
        if (basket < view.pixel) {
            return {Lit({0.40f, 0.27f, 0.15f}, 0.8 + 3 * x), Coverage(basket, view.pixel)};
        }
        const double distance = std::sqrt(x * x + y * y) - radius;
        // Gores that narrow towards the edge, as on a ball seen from the side.
        const double across = u / std::sqrt(std::max(0.05, 1 - v * v));
        const double gore = SmoothStep(-0.2, 0.2, SineOfTurns(across * 1.6));
        const Colour stripe = Blend({0.70f, 0.16f, 0.10f}, {0.78f, 0.66f, 0.30f}, gore);
        const Colour band = Blend(stripe, {0.16f, 0.22f, 0.42f}, SmoothStep(0.16, 0.10, std::abs(v - 0.15)));
        return {Lit(band, BallLight(u, v)), Coverage(distance, view.pixel)};
    };
    Paint(frame, view, centreX, centreY, 0.18, shader);
}

/// Four sails, of which each is a rectangle of laths that turns around the hub.
void PaintSails(Frame& frame, const View& view, double time) {
    constexpr double turnsPerFrame = 0.0045;
    constexpr int sails = 4;
    constexpr double length = 0.20;
    constexpr double halfWidth = 0.020;
    for (int sail = 0; sail < sails; ++sail) {
        const double turn = turnsPerFrame * time + static_cast<double>(sail) / sails;
        const double c = CosineOfTurns(turn);
        const double s = SineOfTurns(turn);
        const auto shader = [&](double x, double y) -> Paintwork {
            const double along = x * c + y * s;
            const double across = y * c - x * s;
            const double arm = BoxDistance(along - length / 2, across, length / 2, 0.004);
            const double cloth =
                BoxDistance(along - length * 0.58, across - halfWidth, length * 0.42, halfWidth);
            const double grain = ValueNoise(along * 160, across * 160, sailSeed);
            const double lath = SmoothStep(0.6, 0.9, CosineOfTurns(along * 45));
            const Colour linen = Blend({0.72f, 0.66f, 0.55f}, {0.30f, 0.20f, 0.13f}, 0.8 * lath);
            const double armCover = Coverage(arm, view.pixel);
            const Colour colour = Blend(Scaled(linen, 0.85 + 0.3 * grain), {0.22f, 0.14f, 0.09f}, armCover);
            return {colour, std::max(armCover, Coverage(cloth, view.pixel))};
        };
        Paint(frame, view, millHubX, millHubY, length + halfWidth * 2, shader);
    }
}

/// Bounces along the meadow and back, turning as it rolls.
void PaintBall(Frame& frame, const View& view, double time) {
    constexpr double radius = 0.045;
    constexpr double framesPerBounce = 26;
    constexpr double height = 0.13;
    const double bounce = time / framesPerBounce - std::floor(time / framesPerBounce);
    const double centreX = 0.70 + 0.20 * SineOfTurns(time / 150);
    const double centreY = 0.93 - height * 4 * bounce * (1 - bounce);
    const double c = CosineOfTurns(centreX / (6.2832 * radius));
    const double s = SineOfTurns(centreX / (6.2832 * radius));
    const auto shader = [&](double x, double y) -> Paintwork {
        const double u = (x * c + y * s) / radius;
        const double v = (y * c - x * s) / radius;
        const double spots = ValueNoise(u * 2.2 + 7, v * 2.2 + 7, ballSeed);
        const Colour leather =
            Blend({0.74f, 0.72f, 0.68f}, {0.15f, 0.24f, 0.50f}, SmoothStep(0.45, 0.6, spots));
        const double distance = std::sqrt(x * x + y * y) - radius;
        return {Lit(leather, BallLight(x / radius, y / radius)), Coverage(distance, view.pixel)};
    };
    Paint(frame, view, centreX, centreY, radius, shader);
}

}  // namespace

Scene::Scene(int width, int height, const SceneMotion& motion)
    : _motion(motion),
      _pixel(1.0 / height),
      _landscape{width, height,
                 std::vector<Colour>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height))} {
    RenderLandscape(0);
}

const Frame& Scene::Render(int time) {
    if (time == _time) {
        return _frame;
    }
    const View view{_motion.pan * time, _pixel};
    if (view.cameraX != _landscapeCameraX) {
        RenderLandscape(view.cameraX);
    }
    _frame = _landscape;
    const double subjectTime = time * _motion.subjectSpeed;
    PaintBalloon(_frame, view, subjectTime);
    PaintSails(_frame, view, subjectTime);
    PaintBall(_frame, view, subjectTime);
    _time = time;
    return _frame;
}

void Scene::RenderLandscape(double cameraX) {
    for (int row = 0; row < _landscape.height; ++row) {
        for (int column = 0; column < _landscape.width; ++column) {
            _landscape.At(column, row) =
                LandscapeColour((column + 0.5) * _pixel + cameraX, (row + 0.5) * _pixel, _pixel);
        }
    }
    _landscapeCameraX = cameraX;
}

}  // namespace TQ::App
