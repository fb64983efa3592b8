#define TQ_LEVEL Sse41
#define TQ_LANES 4
#include "ip/kernels/FlowLevelTable.h"
