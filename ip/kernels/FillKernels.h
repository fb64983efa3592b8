#pragma once

// Kernels that make pixels out of nothing but their place, or move them. Included by the level files only;
// see Vector.h.

#include "ip/kernels/PlainKernels.h"
#include "ip/kernels/RampKernel.h"
#include "ip/kernels/SolidKernel.h"
