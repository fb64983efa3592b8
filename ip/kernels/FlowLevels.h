#pragma once

#include "ip/kernels/FlowKernels.h"

// The table of each level, defined in the level's own file. Constant data: nothing of a level runs at
// start-up.
namespace TQ::IP {
namespace Baseline {
extern const FlowKernels flowKernels;
}
namespace Sse2 {
extern const FlowKernels flowKernels;
}
namespace Sse41 {
extern const FlowKernels flowKernels;
}
namespace Avx2 {
extern const FlowKernels flowKernels;
}
namespace Avx512 {
extern const FlowKernels flowKernels;
}
}  // namespace TQ::IP
