#include "app/demo/Texture.h"

#include "app/demo/Numbers.h"

namespace TQ::App {

Colour Blend(const Colour& from, const Colour& to, double share) {
    const float s = static_cast<float>(share);
    return {from[0] + (to[0] - from[0]) * s, from[1] + (to[1] - from[1]) * s,
            from[2] + (to[2] - from[2]) * s};
}

Colour Scaled(const Colour& colour, double factor) {
    const float f = static_cast<float>(factor);
    return {colour[0] * f, colour[1] * f, colour[2] * f};
}

double ValueNoise(double x, double y, std::uint64_t seed) {
    const double cellX = std::floor(x);
    const double cellY = std::floor(y);
    const double u = SmoothStep(0, 1, x - cellX);
    const double v = SmoothStep(0, 1, y - cellY);
    const auto column = static_cast<std::int64_t>(cellX);
    const auto row = static_cast<std::int64_t>(cellY);
    const auto corner = [&](int right, int down) {
        return UnitRandom(Hash(seed, column + right, row + down));
    };
    const double upper = corner(0, 0) + (corner(1, 0) - corner(0, 0)) * u;
    const double lower = corner(0, 1) + (corner(1, 1) - corner(0, 1)) * u;
    return upper + (lower - upper) * v;
}

double FractalNoise(double x, double y, double cell, double smallestCell, std::uint64_t seed) {
    double sum = 0;
    double total = 0;
    double height = 1;
    for (double size = cell; total == 0 || size >= smallestCell; size *= 0.5, height *= 0.5) {
        sum += height * ValueNoise(x / size, y / size, seed++);
        total += height;
    }
    return sum / total;
}

}  // namespace TQ::App
