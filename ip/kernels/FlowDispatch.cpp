#include "ip/kernels/FlowLevels.h"

namespace TQ::IP {

const FlowKernels& FlowKernelsOf(IsaLevel level) {
    static constexpr const FlowKernels* levels[isaLevelCount] = {
        &Baseline::flowKernels, &Sse2::flowKernels,   &Sse41::flowKernels,
        &Avx2::flowKernels,     &Avx512::flowKernels,
    };
    return *levels[static_cast<int>(level)];
}

const FlowKernels& BestFlowKernels() {
    return FlowKernelsOf(BestLevel());
}

}  // namespace TQ::IP
