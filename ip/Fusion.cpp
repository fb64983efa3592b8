#include <algorithm>

#include "ip/Evaluation.h"
#include "platform/Platform.h"

namespace TQ::IP {

namespace {

bool FuseOnce(FilterBase& root) {
    for (const std::shared_ptr<FilterBase>& filter : HoldGraph(root)) {
        if (const std::shared_ptr<FilterBase> fused = filter->Fuse(MostBytesHeldByFusion())) {
            filter->ReplaceBy(fused);
            RemoveStaleConsumers(root);
            return true;
        }
    }
    return false;
}

}  // namespace

std::uint64_t MostBytesHeldByFusion() {
    constexpr std::uint64_t least = std::uint64_t{1} << 30;
    constexpr std::uint64_t shareOfMemory = 8;
    static const std::uint64_t bytes =
        std::clamp(Platform::PhysicalMemoryBytes() / shareOfMemory, least, 4 * least);
    return bytes;
}

bool FuseGraph(FilterBase& root) {
    bool changed = false;
    while (FuseOnce(root)) {
        changed = true;
    }
    return changed;
}

}  // namespace TQ::IP
