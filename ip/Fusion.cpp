#include "ip/Evaluation.h"

namespace TQ::IP {

namespace {

bool FuseOnce(FilterBase& root) {
    for (const std::shared_ptr<FilterBase>& filter : HoldGraph(root)) {
        if (const std::shared_ptr<FilterBase> fused = filter->Fuse(mostBytesHeldByFusion)) {
            filter->ReplaceBy(fused);
            RemoveStaleConsumers(root);
            return true;
        }
    }
    return false;
}

}  // namespace

bool FuseGraph(FilterBase& root) {
    bool changed = false;
    while (FuseOnce(root)) {
        changed = true;
    }
    return changed;
}

}  // namespace TQ::IP
