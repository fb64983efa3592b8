#include "effect/DeflickerParameters.h"

#include <array>

namespace TQ::Effect {

using Host::Param::ParameterDescription;
using Host::Param::ParameterName;
using Host::Param::Parameters;
namespace Flag = Host::Param::ParameterFlag;
namespace Index = ParameterIndex;

namespace {

constexpr std::uint32_t watched = Flag::callbackOnChange | Flag::pluginWrites;

constexpr std::array<ParameterName, 13> names{{
    {0, "preset", "Preset", "Preset", nullptr},
    {0, "blurRadius", "Sensitivity", "Sensitivity", nullptr},
    {0, "timeRadius", "Time Radius", "Time Radius", nullptr},
    {0, "threshold", "Threshold", "Threshold", nullptr},
    {0, "motion", "Motion Compensation", "Motion Compensation", nullptr},
    {0, "motionQuality", "Motion Quality", "Motion Quality", nullptr},
    {0, "detectMotionGroupStart", "Detect Motion", "Detect Motion", nullptr},
    {0, "detectMotion", "Detect Motion", "Detect Motion", nullptr},
    {0, "maskThreshold", "Mask Threshold", "Mask Threshold", nullptr},
    {0, "maskRadius", "Mask Radius", "Mask Radius", nullptr},
    {0, "detectMotionGroupEnd", "", "", nullptr},
    {0, "render", "Render", "Render", nullptr},
    {0, "useGPU", "Use GPU", "Use GPU", nullptr},
}};

/// Whether an edit of the parameter can change which preset the values are.
bool TakesPartInPreset(int index) {
    return index >= Index::sensitivity && index <= Index::maskRadius && index != Index::motionQuality &&
           index != Index::detectMotionGroupStart;
}

Preset CurrentValues(Parameters& params) {
    Preset values{};
    values.sensitivity = static_cast<float>(params.getDouble(Index::sensitivity));
    values.timeRadius = params.getInt(Index::timeRadius);
    values.threshold = static_cast<float>(params.getDouble(Index::threshold));
    values.detectMotion = params.getInt(Index::detectMotion);
    values.motion = params.getBool(Index::motion);
    values.maskThreshold = static_cast<float>(params.getDouble(Index::maskThreshold));
    values.maskRadius = static_cast<float>(params.getDouble(Index::maskRadius));
    return values;
}

void ApplyPickedPreset(Parameters& params) {
    const int picked = params.getInt(Index::preset);
    if (picked <= presetCustom || picked > presetCount) {
        return;
    }
    const int menuValue = SkipSeparators(picked);
    if (menuValue != picked) {
        params.setInt(menuValue, Index::preset);
    }
    const Preset& row = PresetRow(menuValue);
    params.setDouble(row.sensitivity, Index::sensitivity);
    params.setInt(row.timeRadius, Index::timeRadius);
    params.setDouble(row.threshold, Index::threshold);
    params.setInt(row.detectMotion, Index::detectMotion);
    params.setBool(row.motion, Index::motion);
    if (row.detectMotion == detectSlow) {
        params.setDouble(row.maskThreshold, Index::maskThreshold);
        params.setDouble(row.maskRadius, Index::maskRadius);
    }
}

void FollowEditedValue(Parameters& params) {
    const int current = params.getInt(Index::preset);
    const int found = FindPreset(CurrentValues(params), current);
    if (found != current) {
        params.setInt(found, Index::preset);
    }
}

void EnableForRender(Parameters& params) {
    const int render = params.getInt(Index::render);
    const bool maskThresholdEnabled =
        render != renderMotion && params.getInt(Index::detectMotion) == detectSlow;
    const bool maskRadiusEnabled = maskThresholdEnabled && params.getDouble(Index::maskThreshold) != 100.0;
    const bool mainEnabled = render == renderDeflicker;
    params.setEnabled(maskThresholdEnabled, Index::maskThreshold);
    params.setEnabled(maskRadiusEnabled, Index::maskRadius);
    params.setEnabled(mainEnabled, Index::sensitivity);
    params.setEnabled(mainEnabled, Index::timeRadius);
    params.setEnabled(mainEnabled, Index::threshold);
    params.setEnabled(render != renderMotion, Index::detectMotion);
}

}  // namespace

std::span<const ParameterName> DeflickerParameterNames() {
    return names;
}

void DefineDeflickerParameters(Parameters& list, bool usableDevice) {
    using Description = ParameterDescription;
    list.add(Description::MakeChoice(
        "Preset", presetDefault,
        {"Custom", "--- Faster ---", "Rolling Bands (default)", "Time Lapse", "Rolling Bands 2",
         "Slow Motion", "Slow Motion 2", "Archival/Old Footage", "Stage Lights",
         "--- Slower (camera/subject motion) ---", "Rolling Bands - Motion", "Rolling Bands - Motion 2",
         "Extreme Motion", "Extreme Motion - Slow", "Projection Screen", "Slow Motion"},
        watched));
    // The display range of the two radii reaches beyond what can be set, so that the slider is easy to hold
    // in its lower half.
    list.add(Description::MakeDouble("Sensitivity", 3.0, 0.0, 100.0, 0.0, 200.0, watched | Flag::doubleX));
    list.add(Description::MakeInteger("Time Radius", 8, 0, 10, watched));
    list.add(
        Description::MakeDouble("Threshold", 100.0, 0.0, 100.0, 0.0, 100.0, watched | Flag::doubleScale));
    list.add(Description::MakeBoolean("Motion Compensation", false, watched));
    list.add(Description::MakeChoice("Motion Quality", 1, {"Best", "Fast"}, Flag::startsDisabled));
    list.add(Description::MakeGroupStart("Detect Motion", 0));
    list.add(Description::MakeChoice("Detect Motion", detectFast,
                                     {"Off", "Good / Fast", "Slow, sometimes better. See Manual"},
                                     Flag::callbackOnChange));
    list.add(
        Description::MakeDouble("Mask Threshold", 5.0, 0.0, 100.0, 0.0, 100.0, watched | Flag::doubleScale));
    list.add(Description::MakeDouble("Mask Radius", 10.0, 0.0, 100.0, 0.0, 200.0, watched | Flag::doubleX));
    list.add(Description::MakeGroupEnd());
    list.add(
        Description::MakeChoice("Render", renderDeflicker, {"Deflicker", "Show Motion", "Show Mask"}, 0));
    list.add(Description::MakeBoolean(
        "Use GPU", true,
        Flag::notAnimated | Flag::callbackOnChange | (usableDevice ? 0 : Flag::startsDisabled)));
}

void DeflickerParameterChanged(Parameters& params, int index, bool usableDevice) {
    if (index == Index::preset) {
        ApplyPickedPreset(params);
    } else if (TakesPartInPreset(index)) {
        FollowEditedValue(params);
    }
    if (index < 0 || index == Index::render) {
        EnableForRender(params);
    }
    if (index < 0 || index == Index::useGPU) {
        params.setEnabled(usableDevice, Index::useGPU);
    }
    if (index < 0 || index == Index::motion || index == Index::render) {
        const bool flowIsUsed = params.getBool(Index::motion) || params.getInt(Index::render) == renderMotion;
        params.setEnabled(flowIsUsed, Index::motionQuality);
    }
}

DeflickerValues ReadDeflickerValues(Parameters& params, double time) {
    DeflickerValues values;
    values.sensitivity = params.getDoubleAt(Index::sensitivity, time);
    values.timeRadius = params.getIntAt(Index::timeRadius, time);
    values.threshold = params.getDoubleAt(Index::threshold, time);
    values.motion = params.getBoolAt(Index::motion, time);
    values.motionQuality = params.getIntAt(Index::motionQuality, time);
    values.detectMotion = params.getIntAt(Index::detectMotion, time);
    values.maskThreshold = params.getDoubleAt(Index::maskThreshold, time);
    values.maskRadius = params.getDoubleAt(Index::maskRadius, time);
    values.render = params.getIntAt(Index::render, time);
    return values;
}

}  // namespace TQ::Effect
