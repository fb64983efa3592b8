#pragma once

#include "host/ofx/Host.h"

namespace TQ::Host::OFX {

/// Defines the effect's parameters in the host, as children of one page "Main", and groups where the host
/// shows groups instead of pages. Throws Error when the host refuses a parameter; properties that the host
/// does not know are left out.
void DefineParameters(Host& effect, Parameters& parameters);

}  // namespace TQ::Host::OFX
