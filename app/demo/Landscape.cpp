#include "app/demo/Landscape.h"

#include <algorithm>
#include <cmath>

#include "app/demo/Numbers.h"

namespace TQ::App {

namespace {

enum Seed : std::uint64_t {
    cloudSeed = 100,
    farRidgeSeed = 200,
    hillSeed = 300,
    nearRidgeSeed = 400,
    meadowSeed = 500,
    plankSeed = 600,
    wallSeed = 700
};

/// The finest grain that the pixels can carry.
double Grain(double pixel) {
    return 2 * pixel;
}

Colour Sky(double x, double y, double pixel) {
    const Colour top{0.24f, 0.42f, 0.68f};
    const Colour horizon{0.70f, 0.76f, 0.78f};
    const Colour cloud{0.80f, 0.79f, 0.77f};
    const Colour sky = Blend(top, horizon, SmoothStep(0, 0.6, y));
    // Clouds are wider than they are high.
    const double density = FractalNoise(x, y * 2.2, 0.5, Grain(pixel), cloudSeed);
    return Blend(sky, cloud, 0.9 * SmoothStep(0.48, 0.74, density));
}

/// A ridge's height on the picture above x.
double Ridge(double x, double base, double height, double cell, std::uint64_t seed) {
    return base - height * FractalNoise(x, 0.5, cell, cell / 16, seed);
}

Colour Grass(double x, double y, double pixel, const Colour& dark, const Colour& light, double cell,
             std::uint64_t seed) {
    // Perspective: the texture is flatter towards the horizon.
    const double share = FractalNoise(x, y * 1.8, cell, Grain(pixel), seed);
    return Blend(dark, light, SmoothStep(0.2, 0.8, share));
}

Colour Ground(Colour colour, double x, double y, double pixel) {
    const double far = y - Ridge(x, 0.60, 0.16, 0.6, farRidgeSeed);
    if (far > -pixel) {
        const Colour hill = Grass(x, y, pixel, {0.25f, 0.34f, 0.36f}, {0.40f, 0.49f, 0.47f}, 0.12, hillSeed);
        colour = Blend(colour, hill, Coverage(-far, pixel));
    }
    const double near = y - Ridge(x, 0.70, 0.12, 0.9, nearRidgeSeed);
    if (near > -pixel) {
        const Colour wood =
            Grass(x, y, pixel, {0.12f, 0.20f, 0.09f}, {0.34f, 0.41f, 0.20f}, 0.06, hillSeed + 50);
        colour = Blend(colour, wood, Coverage(-near, pixel));
    }
    const double meadow = y - (0.70 + 0.02 * SineOfTurns(x * 0.4));
    if (meadow > -pixel) {
        const Colour grass =
            Grass(x, y, pixel, {0.20f, 0.27f, 0.09f}, {0.50f, 0.53f, 0.25f}, 0.09, meadowSeed);
        colour = Blend(colour, Scaled(grass, 1.1 - 0.5 * (y - 0.7)), Coverage(-meadow, pixel));
    }
    return colour;
}

Colour Barn(Colour colour, double x, double y, double pixel) {
    constexpr double centreX = 0.20;
    constexpr double eaves = 0.58;
    const double wall = BoxDistance(x - centreX, y - 0.69, 0.13, 0.11);
    const double grain = FractalNoise(x * 6, y, 0.10, Grain(pixel), plankSeed);
    const double gap = SmoothStep(0.75, 1.0, std::abs(SineOfTurns(x * 18)));
    colour =
        Blend(colour, Scaled({0.20f, 0.13f, 0.09f}, 0.6 + 0.8 * grain - 0.3 * gap), Coverage(wall, pixel));
    const double door = BoxDistance(x - centreX - 0.03, y - 0.72, 0.045, 0.08);
    colour = Blend(colour, {0.025f, 0.022f, 0.02f}, Coverage(door, pixel));
    // The roof's slope falls 0.6 for every 1 sideways; dividing by the slope's length makes it a true
    // distance.
    const double slope = (std::abs(x - centreX) * 0.6 - (y - (eaves - 0.10))) / 1.1662;
    const double roof = std::max({slope, y - eaves, std::abs(x - centreX) - 0.16});
    const double tile = FractalNoise(x, y * 3, 0.06, Grain(pixel), plankSeed + 50);
    return Blend(colour, Scaled({0.33f, 0.15f, 0.11f}, 0.6 + 0.7 * tile), Coverage(roof, pixel));
}

Colour MillTower(Colour colour, double x, double y, double pixel) {
    constexpr double foot = 0.80;
    const double down = Clamp01((y - millHubY) / (foot - millHubY));
    const double tower = std::max(std::abs(x - millHubX) - (0.035 + 0.03 * down), std::abs(y - 0.61) - 0.19);
    const double light = 0.72 + 0.28 * Clamp01(0.5 + (x - millHubX) / 0.12);
    const double stain = FractalNoise(x, y, 0.05, Grain(pixel), wallSeed);
    const Colour wall = Scaled({0.76f, 0.71f, 0.62f}, light * (0.75 + 0.35 * stain));
    colour = Blend(colour, wall, Coverage(tower, pixel));
    const double cap = std::max(BoxDistance(x - millHubX, y - (millHubY + 0.005), 0.042, 0.032),
                                std::abs(x - millHubX) * 0.8 - (y - (millHubY - 0.06)));
    colour = Blend(colour, Scaled({0.36f, 0.22f, 0.16f}, 0.7 + 0.5 * stain), Coverage(cap, pixel));
    const double door = BoxDistance(x - millHubX, y - 0.77, 0.016, 0.03);
    return Blend(colour, {0.12f, 0.10f, 0.08f}, Coverage(door, pixel));
}

/// A photographer's board: ten steps of grey above an even ramp.
Colour GreyBoard(Colour colour, double x, double y, double pixel) {
    constexpr double left = 0.98;
    constexpr double width = 0.50;
    constexpr double middle = 0.87;
    constexpr double halfHeight = 0.075;
    constexpr double steps = 10;
    const double u = (x - left) / width;
    const double frame = BoxDistance(x - left - width / 2, y - middle, width / 2 + 0.012, halfHeight + 0.012);
    const double field = BoxDistance(x - left - width / 2, y - middle, width / 2, halfHeight);
    const double share = y < middle ? std::floor(Clamp01(u) * steps) / (steps - 1) : Clamp01(u);
    const float grey = static_cast<float>(0.04 + 0.76 * std::min(share, 1.0));
    colour = Blend(colour, {0.09f, 0.09f, 0.10f}, Coverage(frame, pixel));
    return Blend(colour, {grey, grey, grey}, Coverage(field, pixel));
}

}  // namespace

double Coverage(double distance, double pixel) {
    return Clamp01(0.5 - distance / pixel);
}

double BoxDistance(double x, double y, double halfWidth, double halfHeight) {
    return std::max(std::abs(x) - halfWidth, std::abs(y) - halfHeight);
}

Colour LandscapeColour(double x, double y, double pixel) {
    Colour colour = Ground(Sky(x, y, pixel), x, y, pixel);
    colour = Barn(colour, x, y, pixel);
    colour = MillTower(colour, x, y, pixel);
    return GreyBoard(colour, x, y, pixel);
}

}  // namespace TQ::App
