#include "effect/Presets.h"

namespace TQ::Effect {

namespace {

constexpr Preset separator{0, -1, 0, false, detectOff, 0, 0};

// Sensitivity, time radius, threshold, motion compensation, motion detection, mask threshold, mask radius.
constexpr std::array<Preset, presetCount> presets{{
    separator,                               // --- Faster ---
    {3, 8, 100, false, detectFast, 0, 0},    // Rolling Bands (default)
    {30, 8, 20, false, detectFast, 0, 0},    // Time Lapse
    {10, 7, 20, false, detectOff, 0, 0},     // Rolling Bands 2
    {10, 10, 20, false, detectOff, 0, 0},    // Slow Motion
    {3, 8, 20, false, detectFast, 0, 0},     // Slow Motion 2
    {10, 10, 10, false, detectOff, 0, 0},    // Archival/Old Footage
    {5, 5, 10, false, detectOff, 0, 0},      // Stage Lights
    separator,                               // --- Slower (camera/subject motion) ---
    {3, 9, 100, true, detectFast, 0, 0},     // Rolling Bands - Motion
    {5, 10, 100, true, detectOff, 0, 0},     // Rolling Bands - Motion 2
    {5, 6, 100, false, detectSlow, 5, 10},   // Extreme Motion
    {3, 10, 20, true, detectSlow, 10, 2},    // Extreme Motion - Slow
    {3, 10, 100, false, detectSlow, 10, 2},  // Projection Screen
    {5, 8, 50, false, detectSlow, 10, 2},    // Slow Motion, with motion detection
}};

}  // namespace

const Preset& PresetRow(int menuValue) {
    return presets.at(static_cast<std::size_t>(menuValue - 1));
}

bool MatchesPreset(const Preset& row, const Preset& values) {
    const bool main = row.sensitivity == values.sensitivity && row.timeRadius == values.timeRadius &&
                      row.threshold == values.threshold && row.detectMotion == values.detectMotion &&
                      row.motion == values.motion;
    const bool mask = row.detectMotion != detectSlow ||
                      (row.maskThreshold == values.maskThreshold && row.maskRadius == values.maskRadius);
    return main && mask;
}

int FindPreset(const Preset& values, int current) {
    const auto matches = [&](int menuValue) {
        const Preset& row = PresetRow(menuValue);
        return !row.IsSeparator() && MatchesPreset(row, values);
    };
    if (current > presetCustom && current <= presetCount && matches(current)) {
        return current;
    }
    for (int menuValue = 1; menuValue <= presetCount; ++menuValue) {
        if (matches(menuValue)) {
            return menuValue;
        }
    }
    return presetCustom;
}

int SkipSeparators(int menuValue) {
    while (menuValue < presetCount && PresetRow(menuValue).IsSeparator()) {
        ++menuValue;
    }
    return menuValue;
}

}  // namespace TQ::Effect
