#include <algorithm>
#include <utility>
#include <vector>

#include "ip/Evaluation.h"

namespace TQ::IP {

namespace {

using Handle = std::shared_ptr<FilterBase>;

/// Replaces every source that equals an earlier one, and returns those that stay.
std::vector<Handle> MergeEqualSources(FilterBase& root) {
    std::vector<Handle> kept;
    for (const Handle& filter : HoldGraph(root)) {
        if (!filter->inputs.empty()) {
            continue;
        }
        const auto equal = std::find_if(kept.begin(), kept.end(),
                                        [&](const Handle& source) { return source->IsEqual(*filter); });
        if (equal != kept.end()) {
            filter->ReplaceBy(*equal);
        } else {
            kept.push_back(filter);
        }
    }
    return kept;
}

/// Merges one pair among the consumers of `filter` that compute the same. Returns the one that stays, or
/// null.
Handle MergeOnePair(const FilterBase& filter) {
    const std::vector<FilterBase*>& consumers = filter.consumers;
    for (std::size_t first = 0; first < consumers.size(); ++first) {
        for (std::size_t second = first + 1; second < consumers.size(); ++second) {
            FilterBase& a = *consumers[first];
            FilterBase& b = *consumers[second];
            if (&a != &b && a.inputs == b.inputs && a.IsEqual(b)) {
                const Handle survivor = a.shared_from_this();
                b.ReplaceBy(survivor);
                return survivor;
            }
        }
    }
    return nullptr;
}

/// Works from the sources towards the sink, because merged inputs are what makes consumers equal.
void MergeCommonSubexpressions(const std::vector<Handle>& sources) {
    std::vector<Handle> queue = sources;
    const GraphWalk seen;
    for (const Handle& source : sources) {
        seen.Meet(*source);
    }
    for (std::size_t next = 0; next < queue.size(); ++next) {
        const Handle filter = queue[next];
        while (const Handle survivor = MergeOnePair(*filter)) {
            // Queued even if it was looked at before: it has new consumers, which may equal those that it
            // had.
            seen.Meet(*survivor);
            queue.push_back(survivor);
        }
        for (FilterBase* consumer : filter->consumers) {
            if (seen.Meet(*consumer)) {
                queue.push_back(consumer->shared_from_this());
            }
        }
    }
}

/// Removes identities and merges filters with their inputs, from the sink upstream. A filter is looked at
/// when all of its consumers have been, so that what they made of their inputs is settled.
class Simplifier {
  public:
    explicit Simplifier(FilterBase& root) : _root(root) {}

    void Run() {
        _pending.push_back(_root.shared_from_this());
        while (!_pending.empty()) {
            const Handle filter = std::move(_pending.back());
            _pending.pop_back();
            if (IsNext(*filter)) {
                _visited.Meet(*filter);
                Visit(filter);
            }
        }
    }

  private:
    /// A filter that is not next is left for its last consumer to bring up again.
    bool IsNext(const FilterBase& filter) const {
        const bool inGraph = &filter == &_root || !filter.consumers.empty();
        return inGraph && !_visited.HasMet(filter) &&
               std::all_of(filter.consumers.begin(), filter.consumers.end(),
                           [&](const FilterBase* consumer) { return _visited.HasMet(*consumer); });
    }

    void Visit(const Handle& filter) {
        do {
            const int identity = filter->IdentityInput();
            if (identity >= 0) {
                const std::vector<Handle> inputs = filter->inputs;
                filter->ReplaceBy(inputs.at(static_cast<std::size_t>(identity)));
                Settle(inputs);
                return;
            }
        } while (MergeInputs(filter));
        _pending.insert(_pending.end(), filter->inputs.begin(), filter->inputs.end());
    }

    /// Whether the filter has changed, so that it is to be looked at once more.
    bool MergeInputs(const Handle& filter) {
        const std::vector<Handle> offered = filter->inputs;
        for (const Handle& input : offered) {
            if (input->consumers.size() >= 2) {
                continue;
            }
            const std::vector<Handle> behind = input->inputs;
            const MergeAnswer answer = filter->MergeInput(input);
            if (answer == MergeAnswer::None) {
                continue;
            }
            if (answer == MergeAnswer::Absorbed) {
                Absorb(*filter, *input);
            } else if (answer == MergeAnswer::Bypassed) {
                filter->ReplaceBy(input);
            }
            Settle(offered);
            Settle(behind);
            return answer != MergeAnswer::Bypassed;
        }
        return false;
    }

    static void Absorb(FilterBase& filter, FilterBase& input) {
        const std::vector<Handle> taken = input.inputs;
        filter.ClearInputs();
        input.ClearInputs();
        for (const Handle& upstream : taken) {
            filter.AddInput(upstream);
        }
    }

    /// Of filters around a change those that fell out of the graph no longer count as consumers, and all that
    /// have lost a consumer may be next.
    void Settle(const std::vector<Handle>& filters) {
        std::vector<Handle> affected = filters;
        while (!affected.empty()) {
            const Handle filter = std::move(affected.back());
            affected.pop_back();
            if (filter->consumers.empty()) {
                for (const Handle& input : filter->inputs) {
                    std::erase(input->consumers, filter.get());
                    affected.push_back(input);
                }
            } else {
                _pending.push_back(filter);
            }
        }
    }

    FilterBase& _root;
    const GraphWalk _visited;
    std::vector<Handle> _pending;
};

}  // namespace

void OptimizeGraph(FilterBase& root) {
    RemoveStaleConsumers(root);
    MergeCommonSubexpressions(MergeEqualSources(root));
    Simplifier(root).Run();
}

}  // namespace TQ::IP
