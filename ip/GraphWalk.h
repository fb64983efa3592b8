#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ip/Filter.h"

namespace TQ::IP {

/// One walk over a graph. Filters bear the number of the last walk that met them, since graphs are walked
/// often and a set would cost more than all that is done on the way. Of one graph there is one walk at a
/// time.
class GraphWalk {
  public:
    GraphWalk();
    /// Whether the filter is met for the first time.
    bool Meet(FilterBase& filter) const;
    bool HasMet(const FilterBase& filter) const { return filter.lastWalk == _number; }

  private:
    std::uint64_t _number;
};

/// Every distinct filter reachable from `root` through inputs, `root` first; the last input of a filter is
/// visited first.
std::vector<FilterBase*> WalkInputs(FilterBase& root);

/// The same, inputs before their consumers, `root` last.
std::vector<FilterBase*> WalkPostOrder(FilterBase& root);

/// WalkInputs as handles, for walks that change the graph. `root` is held by a shared_ptr.
std::vector<std::shared_ptr<FilterBase>> HoldGraph(FilterBase& root);

/// Makes `consumers` of every filter reachable from `root` (itself excepted) hold exactly the edges of this
/// graph: filters that outlived another graph are dropped, and edges that an evaluation of a part of the
/// graph dropped come back.
void RemoveStaleConsumers(FilterBase& root);

}  // namespace TQ::IP
