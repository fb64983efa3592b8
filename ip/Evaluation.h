#pragma once

#include <memory>
#include <vector>

#include "ip/Filter.h"

namespace TQ::IP {

/// Every distinct filter reachable from `root` through inputs, `root` first; the last input of a filter is visited first.
std::vector<FilterBase*> WalkInputs(FilterBase& root);

/// Merges equal sources and common sub-expressions, removes identities and offers inputs for merging. `root` is a
/// filter whose only input is the sink of the graph; the sink may change.
void OptimizeGraph(FilterBase& root);

/// Drops consumers that are not reachable from `root`.
void RemoveStaleConsumers(FilterBase& root);

/// Renders the graph over `sink` into `output`, whose pixels exist. Runs on the caller's thread; bands run through
/// host.ParallelFor. Throws TQ::Interrupted when the host asks to stop, TQ::Exception for a broken graph.
void RenderGraph(const std::shared_ptr<FilterBase>& sink, Host& host, const std::shared_ptr<Layer>& output);

}  // namespace TQ::IP
