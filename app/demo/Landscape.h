#pragma once

#include "app/demo/Texture.h"

namespace TQ::App {

// Lengths of the scene are in heights of the picture: x runs from 0 to the picture's width over its height, y
// from 0 (top) to 1. Colours stay below 0.82, so that a flicker of a fifth does not clip.

/// How much of a pixel lies inside an edge: `distance` from the edge, positive outside, with pixels of size
/// `pixel`.
double Coverage(double distance, double pixel);
/// Distance of (x, y) from the axis-parallel rectangle around (0, 0) with the given half sizes; negative
/// inside.
double BoxDistance(double x, double y, double halfWidth, double halfHeight);

/// Where the windmill's sails turn.
constexpr double millHubX = 0.52;
constexpr double millHubY = 0.42;

/// The part of the scene that stands still: sky with clouds, two ranges of hills, a meadow, a dark barn, the
/// windmill's tower and a board of greys. `pixel` is the size of a pixel, for soft edges and the finest grain
/// of the textures.
Colour LandscapeColour(double x, double y, double pixel);

}  // namespace TQ::App
