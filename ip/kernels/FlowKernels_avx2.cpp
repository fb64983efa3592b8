#define TQ_LEVEL Avx2
#define TQ_LANES 8
#include "ip/kernels/FlowLevelTable.h"
