#define TQ_LEVEL Sse41
#define TQ_LANES 4
#define TQ_LEVEL_HAS_RAMP
#include "ip/kernels/LevelTable.h"
