#pragma once

#include <array>
#include <cstdint>

namespace TQ::App {

/// Red, green, blue; 1 is white.
using Colour = std::array<float, 3>;

Colour Blend(const Colour& from, const Colour& to, double share);
Colour Scaled(const Colour& colour, double factor);

/// Value noise with cells of size 1: random values on the whole numbers, smoothly interpolated. 0 to 1.
double ValueNoise(double x, double y, std::uint64_t seed);

/// Octaves of value noise, each with half the cell and half the height of the one before, from cells of size
/// `cell` down to those that are not smaller than `smallestCell`. 0 to 1, with mean 0.5.
double FractalNoise(double x, double y, double cell, double smallestCell, std::uint64_t seed);

}  // namespace TQ::App
