#define TQ_LEVEL Sse2
#define TQ_LANES 4
#define TQ_LEVEL_HAS_SOLID
#include "ip/kernels/LevelTable.h"
