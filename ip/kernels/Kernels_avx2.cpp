#define TQ_LEVEL Avx2
#define TQ_LANES 8
#define TQ_LEVEL_HAS_RAMP
#include "ip/kernels/LevelTable.h"
