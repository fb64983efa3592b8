#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ip/Filter.h"
#include "ip/GraphWalk.h"

namespace TQ::IP {

/// Merges equal sources and common sub-expressions, removes identities and offers inputs for merging. `root`
/// is a filter, held by a shared_ptr, whose only input is the sink of the graph; the sink may change.
void OptimizeGraph(FilterBase& root);

/// Source pictures of at most this many bytes may be held at once so that several filters can run as one: an
/// eighth of the machine's memory, within 1 and 4 GiB.
std::uint64_t MostBytesHeldByFusion();

/// Replaces filters that can run as one (see FilterBase::Fuse), from the sink upstream; returns whether there
/// were any. Regions and formats are known before, and are to be spread anew after.
bool FuseGraph(FilterBase& root);

/// The order in which to render the inputs of `filter` so that the least memory is held: the index of the
/// input that needs the most beyond its own output first. `peakMemory` of the inputs is known.
std::vector<std::size_t> InputOrder(const FilterBase& filter);

/// Computes `peakMemory` of every filter reachable from `root`; regions and formats are known.
void ComputePeakMemory(FilterBase& root);

/// Renders the graph over `sink` into `output`, whose pixels exist. Pixels of `output` that lie outside the
/// bounds of the graph are left as they are. The graph is rewritten on the way. Runs on the caller's thread;
/// bands run through host.ParallelFor. Throws TQ::Interrupted when the host asks to stop, TQ::Exception for a
/// broken graph.
void RenderGraph(const std::shared_ptr<FilterBase>& sink, Host& host, const std::shared_ptr<Layer>& output);

}  // namespace TQ::IP
