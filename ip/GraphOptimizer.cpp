#include <algorithm>
#include <deque>
#include <unordered_set>
#include <utility>

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
    std::deque<Handle> queue(sources.begin(), sources.end());
    std::unordered_set<Handle> seen(sources.begin(), sources.end());
    while (!queue.empty()) {
        const Handle filter = queue.front();
        queue.pop_front();
        while (const Handle survivor = MergeOnePair(*filter)) {
            // Queued even if it was looked at before: it has new consumers, which may equal those that it
            // had.
            seen.insert(survivor);
            queue.push_back(survivor);
        }
        for (FilterBase* consumer : filter->consumers) {
            Handle handle = consumer->shared_from_this();
            if (seen.insert(handle).second) {
                queue.push_back(std::move(handle));
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
        _pending = HoldGraph(_root);
        while (!_pending.empty()) {
            const Handle filter = _pending.back();
            _pending.pop_back();
            if (!IsVisited(*filter) && IsNext(*filter)) {
                _visited.insert(filter.get());
                _held.push_back(filter);
                Visit(filter);
            }
        }
    }

  private:
    bool IsVisited(const FilterBase& filter) const { return _visited.count(&filter) != 0; }

    /// A filter that is not next is left for its last consumer to bring up again.
    bool IsNext(const FilterBase& filter) const {
        const bool consumersVisited =
            std::all_of(filter.consumers.begin(), filter.consumers.end(),
                        [&](const FilterBase* consumer) { return IsVisited(*consumer); });
        const bool inGraph = &filter == &_root || !filter.consumers.empty();
        return inGraph && consumersVisited;
    }

    void Visit(const Handle& filter) {
        do {
            const int identity = filter->IdentityInput();
            if (identity >= 0) {
                Bypass(filter, filter->inputs.at(static_cast<std::size_t>(identity)));
                return;
            }
        } while (MergeInputs(filter) == MergeAnswer::Again);
        _pending.insert(_pending.end(), filter->inputs.begin(), filter->inputs.end());
    }

    /// None when nothing is left to merge, Again when the filter has changed; after Bypassed, `filter` has no
    /// inputs.
    MergeAnswer MergeInputs(const Handle& filter) {
        const std::vector<Handle> offered = filter->inputs;
        for (const Handle& input : offered) {
            if (input->consumers.size() >= 2) {
                continue;
            }
            switch (filter->MergeInput(input)) {
                case MergeAnswer::None:
                    continue;
                case MergeAnswer::Absorbed:
                    Absorb(*filter, *input);
                    return MergeAnswer::Again;
                case MergeAnswer::Again:
                    GraphChanged();
                    return MergeAnswer::Again;
                case MergeAnswer::Bypassed:
                    Bypass(filter, input);
                    return MergeAnswer::Bypassed;
            }
        }
        return MergeAnswer::None;
    }

    /// `replacement` by value: it may be an edge of `filter`, which goes.
    void Bypass(const Handle& filter, Handle replacement) {  // NOLINT(performance-unnecessary-value-param)
        filter->ReplaceBy(replacement);
        GraphChanged();
    }

    void Absorb(FilterBase& filter, FilterBase& input) {
        const std::vector<Handle> taken = input.inputs;
        filter.ClearInputs();
        input.ClearInputs();
        for (const Handle& upstream : taken) {
            filter.AddInput(upstream);
        }
        GraphChanged();
    }

    /// Filters that fell out of the graph no longer count as consumers, which may bring up any of their
    /// inputs.
    void GraphChanged() {
        _pending.clear();
        for (FilterBase* filter : RemoveStaleConsumers(_root)) {
            if (!IsVisited(*filter)) {
                _pending.push_back(filter->shared_from_this());
            }
        }
    }

    FilterBase& _root;
    std::vector<Handle> _pending;
    std::unordered_set<const FilterBase*> _visited;
    std::vector<Handle> _held;  // those visited, so that no new filter takes the address of one
};

}  // namespace

void OptimizeGraph(FilterBase& root) {
    RemoveStaleConsumers(root);
    MergeCommonSubexpressions(MergeEqualSources(root));
    Simplifier(root).Run();
}

}  // namespace TQ::IP
