#pragma once

#include <span>

#include "effect/DeflickerSettings.h"
#include "host/ofx/Parameters.h"

namespace TQ::Effect {

/// Indices of the effect's parameters in its list.
namespace ParameterIndex {
constexpr int preset = 0;
constexpr int sensitivity = 1;
constexpr int timeRadius = 2;
constexpr int threshold = 3;
constexpr int motion = 4;
constexpr int motionQuality = 5;
constexpr int detectMotionGroupStart = 6;
constexpr int detectMotion = 7;
constexpr int maskThreshold = 8;
constexpr int maskRadius = 9;
constexpr int detectMotionGroupEnd = 10;
constexpr int render = 11;
constexpr int useGPU = 12;
}  // namespace ParameterIndex

/// The effect's name table. Its ids are all 0, so the host knows the parameters by names made from their
/// labels.
std::span<const Host::Param::ParameterName> DeflickerParameterNames();

/// Appends the thirteen parameters. `usableDevice`: some GPU can be used, so that the user may choose.
void DefineDeflickerParameters(Host::Param::Parameters& list, bool usableDevice);

/// Follows an edit of parameter `index`: a picked preset writes its row, an edited value moves the preset to
/// the row with these values or to "Custom", and parameters without use are disabled. A negative index stands
/// for all. Throws Host::OFX::Error when the host refuses a value; what was written before stays.
void DeflickerParameterChanged(Host::Param::Parameters& params, int index, bool usableDevice);

/// The values at `time`.
DeflickerValues ReadDeflickerValues(Host::Param::Parameters& params, double time);

}  // namespace TQ::Effect
