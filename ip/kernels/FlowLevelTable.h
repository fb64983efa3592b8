#pragma once

// The flow and resize kernels of one level. Included by the level files only; see Vector.h.

#include "ip/kernels/FlowDenseKernels.h"
#include "ip/kernels/FlowHalveKernels.h"
#include "ip/kernels/FlowLevels.h"
#include "ip/kernels/FlowPlaneKernels.h"
#include "ip/kernels/FlowSearchKernel.h"
#include "ip/kernels/ResizeKernels.h"

namespace TQ::IP::TQ_LEVEL {

constinit const FlowKernels flowKernels = {
    {GreyRow<ByteSamples>, GreyRow<ShortSamples>, GreyRow<FloatSamples>},
    {FineGreyRow<ByteSamples>, FineGreyRow<ShortSamples>, FineGreyRow<FloatSamples>},
    HalveColumns,
    HalveRows,
    SobelRow,
    StructureRow,
    SearchRows,
    DensifyRows,
    EnlargeRow,
    StoreFlow,
    {ConvertSamples<ByteSamples>, ConvertSamples<ShortSamples>, ConvertSamples<FloatSamples>},
    FilterRow,
    {SumRows<ByteSamples>, SumRows<ShortSamples>, SumRows<FloatSamples>},
};

}  // namespace TQ::IP::TQ_LEVEL
