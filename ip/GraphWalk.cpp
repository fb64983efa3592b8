#include "ip/GraphWalk.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <utility>

namespace TQ::IP {

namespace {

/// WalkInputs.
std::vector<FilterBase*> Inputs(const GraphWalk& walk, FilterBase& root) {
    std::vector<FilterBase*> order;
    std::vector<FilterBase*> stack{&root};
    while (!stack.empty()) {
        FilterBase* filter = stack.back();
        stack.pop_back();
        if (!walk.Meet(*filter)) {
            continue;
        }
        order.push_back(filter);
        for (const std::shared_ptr<FilterBase>& input : filter->inputs) {
            stack.push_back(input.get());
        }
    }
    return order;
}

/// How many inputs of `consumer` `input` is.
std::ptrdiff_t EdgesBetween(const FilterBase& input, const FilterBase& consumer) {
    return std::count_if(consumer.inputs.begin(), consumer.inputs.end(),
                         [&](const std::shared_ptr<FilterBase>& edge) { return edge.get() == &input; });
}

/// Takes all entries out of `consumers` that no edge of the graph stands for.
void DropStaleConsumers(FilterBase& filter, const GraphWalk& graph) {
    std::vector<FilterBase*>& consumers = filter.consumers;
    auto kept = consumers.begin();
    for (FilterBase* const consumer : consumers) {
        if (graph.HasMet(*consumer) &&
            std::count(consumers.begin(), kept, consumer) < EdgesBetween(filter, *consumer)) {
            *kept++ = consumer;
        }
    }
    consumers.erase(kept, consumers.end());
}

}  // namespace

GraphWalk::GraphWalk() {
    static std::atomic<std::uint64_t> last{0};  // graphs of several renders are walked at once
    _number = ++last;
}

bool GraphWalk::Meet(FilterBase& filter) const {
    return std::exchange(filter.lastWalk, _number) != _number;
}

std::vector<FilterBase*> WalkInputs(FilterBase& root) {
    return Inputs(GraphWalk(), root);
}

std::vector<FilterBase*> WalkPostOrder(FilterBase& root) {
    const GraphWalk walk;
    walk.Meet(root);
    std::vector<FilterBase*> order;
    std::vector<std::pair<FilterBase*, std::size_t>> stack{{&root, 0}};
    while (!stack.empty()) {
        FilterBase* filter = stack.back().first;
        const std::size_t next = stack.back().second++;
        if (next == filter->inputs.size()) {
            order.push_back(filter);
            stack.pop_back();
        } else if (walk.Meet(*filter->inputs[next])) {
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
    const GraphWalk walk;
    const std::vector<FilterBase*> graph = Inputs(walk, root);
    for (FilterBase* filter : graph) {
        if (filter != &root) {
            DropStaleConsumers(*filter, walk);
        }
    }
    for (FilterBase* consumer : graph) {
        for (const std::shared_ptr<FilterBase>& input : consumer->inputs) {
            std::vector<FilterBase*>& consumers = input->consumers;
            const auto noted = std::count(consumers.begin(), consumers.end(), consumer);
            if (noted < EdgesBetween(*input, *consumer)) {
                consumers.push_back(consumer);
            }
        }
    }
}

}  // namespace TQ::IP
