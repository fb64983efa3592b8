#pragma once

#include "ip/kernels/KernelTable.h"

// The table of each level, defined in the level's own file. Constant data: nothing of a level runs at
// start-up.
namespace TQ::IP {
namespace Baseline {
extern const LevelKernels kernels;
}
namespace Sse2 {
extern const LevelKernels kernels;
}
namespace Sse41 {
extern const LevelKernels kernels;
}
namespace Avx2 {
extern const LevelKernels kernels;
}
namespace Avx512 {
extern const LevelKernels kernels;
}
}  // namespace TQ::IP
