#pragma once

#include <memory>

#include "effect/DeflickerGraph.h"
#include "ip/Host.h"

namespace TQ::Effect {

/// The recursive form, which projects may still carry as a render value though the menu does not offer it:
/// looks at past frames only, twice the time radius back. A state picture is moved towards each frame in turn
/// where both are alike, and takes that frame's detail. `output` gets the last state with the alpha of
/// `source`.
void RenderRecursively(const DeflickerSettings& settings, const std::shared_ptr<IP::FilterBase>& source,
                       ExtraFrames& extraFrames, IP::Host& host, const std::shared_ptr<IP::Layer>& output);

}  // namespace TQ::Effect
