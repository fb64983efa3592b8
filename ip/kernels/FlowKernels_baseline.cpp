#define TQ_LEVEL Baseline
#define TQ_LANES 1
#include "ip/kernels/FlowLevelTable.h"
