#include "ip/Host.h"

namespace TQ::IP {

Host::~Host() = default;

void FoldProgress(const ProgressState& state, std::uint64_t& done, std::uint64_t& total) {
    // Each level is scaled, so that the division by the inner level's total does not lose its fraction.
    constexpr std::uint64_t scale = 1000;
    if (total == 0) {
        done = 0;
        total = 1;
    }
    for (const ProgressState::Level& level : state.levels) {
        if (level.total <= 1) {
            continue;
        }
        const std::uint64_t all = level.total * scale;
        done =
            level.current < level.total ? level.weight * done * scale / total + level.current * scale : all;
        total = all;
    }
}

}  // namespace TQ::IP
