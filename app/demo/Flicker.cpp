#include "app/demo/Flicker.h"

#include "app/demo/Numbers.h"

namespace TQ::App {

namespace {

enum Seed : std::uint64_t {
    driftSeed = 10,
    jitterSeed,
    balanceSeed,
    periodSeed,
    pulseSeed,
    waveSeed,
    contrastSeed
};

FrameFlicker Unchanged(int width, int height, double noiseCodes) {
    constexpr double codes = 255;
    FrameFlicker flicker;
    flicker.rows.assign(static_cast<std::size_t>(height), Colour{1, 1, 1});
    flicker.columnWave.assign(static_cast<std::size_t>(width), 0);
    flicker.rowWave.assign(static_cast<std::size_t>(height), 0);
    flicker.noise = static_cast<float>(noiseCodes / codes);
    return flicker;
}

}  // namespace

FrameFlicker RollingBands(int time, int width, int height) {
    constexpr double pulsesPerSecond = 2 * 59.95;
    constexpr double framesPerSecond = 25;
    constexpr double readoutSeconds = 0.017;
    // Fluorescent lamps swing further in blue than in red, whose phosphor glows longer.
    constexpr double amplitude[3] = {0.085, 0.10, 0.115};
    FrameFlicker flicker = Unchanged(width, height, 1.0);
    for (int row = 0; row < height; ++row) {
        const double seconds = time / framesPerSecond + readoutSeconds * row / height;
        const double wave = SineOfTurns(pulsesPerSecond * seconds);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            flicker.rows[static_cast<std::size_t>(row)][channel] =
                static_cast<float>(1 + amplitude[channel] * wave);
        }
    }
    return flicker;
}

FrameFlicker ExposureDrift(int time, int width, int height) {
    constexpr double kept = 0.8;
    constexpr double driftStep = 0.02;
    constexpr double jitter = 0.04;
    constexpr double balance = 0.01;
    double drift = 0;
    for (int step = 0; step <= time; ++step) {
        drift = kept * drift + driftStep * NormalRandom(Hash(driftSeed, step));
    }
    const double gain = 1 + drift + jitter * NormalRandom(Hash(jitterSeed, time));
    const double red = 1 + balance * NormalRandom(Hash(balanceSeed, time, 0));
    const double blue = 1 + balance * NormalRandom(Hash(balanceSeed, time, 1));
    FrameFlicker flicker = Unchanged(width, height, 1.0);
    flicker.rows.assign(flicker.rows.size(), {static_cast<float>(gain * red), static_cast<float>(gain),
                                              static_cast<float>(gain * blue)});
    return flicker;
}

FrameFlicker FilmPulse(int time, int width, int height) {
    constexpr double shortestPeriod = 3;
    constexpr double longestPeriod = 7;
    constexpr double pulseHeight = 0.07;
    constexpr double waveHeight = 0.03;
    constexpr double contrastHeight = 0.02;
    double turns = 0;
    for (int step = 0; step <= time; ++step) {
        const double share = UnitRandom(Hash(periodSeed, step));
        turns += 1 / (shortestPeriod + (longestPeriod - shortestPeriod) * share);
    }
    const double height01 = 0.6 + 0.4 * UnitRandom(Hash(pulseSeed, time));
    const float gain = static_cast<float>(1 + pulseHeight * height01 * SineOfTurns(turns));
    FrameFlicker flicker = Unchanged(width, height, 1.5);
    flicker.rows.assign(flicker.rows.size(), {gain, gain, gain});
    flicker.contrast = static_cast<float>(1 + contrastHeight * NormalRandom(Hash(contrastSeed, time)));
    const double phaseX = UnitRandom(Hash(waveSeed, time, 0));
    const double phaseY = UnitRandom(Hash(waveSeed, time, 1));
    for (int column = 0; column < width; ++column) {
        flicker.columnWave[static_cast<std::size_t>(column)] =
            static_cast<float>(waveHeight * SineOfTurns(1.2 * column / width + phaseX));
    }
    for (int row = 0; row < height; ++row) {
        flicker.rowWave[static_cast<std::size_t>(row)] =
            static_cast<float>(SineOfTurns(0.8 * row / height + phaseY));
    }
    return flicker;
}

}  // namespace TQ::App
