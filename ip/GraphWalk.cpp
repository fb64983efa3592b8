#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "ip/Evaluation.h"

namespace TQ::IP {

std::vector<FilterBase*> WalkInputs(FilterBase& root) {
    std::vector<FilterBase*> order;
    std::unordered_set<const FilterBase*> seen;
    std::vector<FilterBase*> stack{&root};
    while (!stack.empty()) {
        FilterBase* filter = stack.back();
        stack.pop_back();
        if (!seen.insert(filter).second) {
            continue;
        }
        order.push_back(filter);
        for (const std::shared_ptr<FilterBase>& input : filter->inputs) {
            stack.push_back(input.get());
        }
    }
    return order;
}

std::vector<FilterBase*> WalkPostOrder(FilterBase& root) {
    std::vector<FilterBase*> order;
    std::unordered_set<const FilterBase*> seen{&root};
    std::vector<std::pair<FilterBase*, std::size_t>> stack{{&root, 0}};
    while (!stack.empty()) {
        FilterBase* filter = stack.back().first;
        const std::size_t next = stack.back().second++;
        if (next == filter->inputs.size()) {
            order.push_back(filter);
            stack.pop_back();
        } else if (seen.insert(filter->inputs[next].get()).second) {
            stack.emplace_back(filter->inputs[next].get(), 0);
        }
    }
    return order;
}

std::vector<std::shared_ptr<FilterBase>> HoldGraph(FilterBase& root) {
    std::vector<std::shared_ptr<FilterBase>> held;
    for (FilterBase* filter : WalkInputs(root)) {
        held.push_back(filter->shared_from_this());
    }
    return held;
}

void RemoveStaleConsumers(FilterBase& root) {
    const std::vector<FilterBase*> graph = WalkInputs(root);
    std::unordered_map<const FilterBase*, std::vector<FilterBase*>> edgesTo;
    for (FilterBase* consumer : graph) {
        for (const std::shared_ptr<FilterBase>& input : consumer->inputs) {
            edgesTo[input.get()].push_back(consumer);
        }
    }
    for (FilterBase* filter : graph) {
        if (filter == &root) {
            continue;
        }
        std::vector<FilterBase*>& missing = edgesTo[filter];
        std::vector<FilterBase*> consumers;
        for (FilterBase* consumer : filter->consumers) {
            const auto edge = std::find(missing.begin(), missing.end(), consumer);
            if (edge != missing.end()) {
                consumers.push_back(consumer);
                missing.erase(edge);
            }
        }
        consumers.insert(consumers.end(), missing.begin(), missing.end());
        filter->consumers = std::move(consumers);
    }
}

}  // namespace TQ::IP
