#pragma once

#include <array>

namespace TQ::Effect {

/// Values of the menu "Detect Motion".
enum DetectMotionMenu : int { detectOff = 0, detectFast = 1, detectSlow = 2 };

/// Values of the menu "Render".
enum RenderMenu : int { renderDeflicker = 0, renderMotion = 1, renderMask = 2, renderRecursive = 3 };

/// One row of the preset menu. A row with a negative time radius is a separator; the two mask values count
/// only where `detectMotion` is detectSlow.
struct Preset {
    float sensitivity;
    int timeRadius;
    float threshold;
    bool motion;
    int detectMotion;
    float maskThreshold;
    float maskRadius;

    bool IsSeparator() const { return timeRadius < 0; }
};

constexpr int presetCustom = 0;
constexpr int presetDefault = 2;
constexpr int presetCount = 15;

/// The rows for menu values 1 to 15; `menuValue` in that range.
const Preset& PresetRow(int menuValue);

/// True when `values` are those of the row, as far as the row counts them. Floats are compared exactly.
bool MatchesPreset(const Preset& row, const Preset& values);

/// The menu value whose row holds `values`, trying `current` first; presetCustom when none does.
int FindPreset(const Preset& values, int current);

/// The first row at or behind `menuValue` that is no separator.
int SkipSeparators(int menuValue);

}  // namespace TQ::Effect
