#define TQ_LEVEL Baseline
#define TQ_LANES 1
#define TQ_LEVEL_IS_BASELINE
#define TQ_LEVEL_HAS_SOLID
#define TQ_LEVEL_HAS_RAMP
#include "ip/kernels/LevelTable.h"
