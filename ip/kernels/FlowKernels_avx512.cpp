#define TQ_LEVEL Avx512
#define TQ_LANES 16
#include "ip/kernels/FlowLevelTable.h"
