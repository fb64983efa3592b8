#pragma once

#include <vector>

#include "app/demo/Texture.h"

namespace TQ::App {

/// What a flicker does to one frame. A code value v (1 is white) of channel c in column x and row y becomes
///
///     (pivot + (v - pivot) * contrast) * rows[y][c] * (1 + columnWave[x] * rowWave[y]) + noise * n
///
/// with n from a normal distribution of deviation 1, and is then limited to 0 to 1.
struct FrameFlicker {
    static constexpr float pivot = 0.4f;
    float contrast = 1;
    std::vector<Colour> rows;
    std::vector<float> columnWave;
    std::vector<float> rowWave;
    float noise = 0;
};

/// Lamps on 60 Hz mains, filmed at 25 frames a second by a camera that reads its rows one after the other.
/// The light pulses at twice the mains frequency, so that at the time s of a row's exposure its gain is 1 +
/// A_c sin(2 pi (2 * 59.95 * s)). A frame's rows take 17 ms to read, which shows two bands; from frame to
/// frame they move by about a fifth of their distance.
FrameFlicker RollingBands(int time, int width, int height);

/// Exposure and white balance of a camera that measures anew for every picture of a time lapse: a gain of
/// 1 + drift + jitter, where the drift keeps 0.8 of itself from frame to frame, and red and blue go their own
/// small ways.
FrameFlicker ExposureDrift(int time, int width, int height);

/// Old film: a pulse of the projector's lamp and the chemistry with a period that wanders between three and
/// seven frames, cloudy unevenness that changes with every frame, a contrast that breathes, and grain.
FrameFlicker FilmPulse(int time, int width, int height);

}  // namespace TQ::App
