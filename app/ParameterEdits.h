#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/host/Effect.h"

namespace TQ::App {

/// Entries of a preset menu that begin with this only separate the others.
constexpr const char* separatorPrefix = "---";

/// The parameter "preset" of a plug-in, which must be a choice. Throws CommandError(Parameter) when there is
/// none.
const ParameterDescription& PresetParameter(const ContextDescription& description);

/// The menu's value for a name (any case; the first of two alike) or a number. Throws CommandError(Parameter)
/// when no preset is called so.
int PresetNumber(const ParameterDescription& preset, const std::string& nameOrNumber);

/// Sets the preset, if one is given, then each "name=value" in order, as a user would. Throws CommandError:
/// Usage for an assignment without "=", Parameter for what the effect does not take.
void EditParameters(EffectInstance& instance, const ContextDescription& description,
                    const std::string& preset, const std::vector<std::string>& assignments);

}  // namespace TQ::App
