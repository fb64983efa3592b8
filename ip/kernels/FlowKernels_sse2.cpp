#define TQ_LEVEL Sse2
#define TQ_LANES 4
#include "ip/kernels/FlowLevelTable.h"
