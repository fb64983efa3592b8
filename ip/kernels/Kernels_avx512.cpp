#define TQ_LEVEL Avx512
#define TQ_LANES 16
#define TQ_LEVEL_HAS_RAMP
#include "ip/kernels/LevelTable.h"
