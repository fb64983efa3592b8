// Sizes and slots that hosts of other makers rely on.

#include <cstddef>

#include "host/ofx/abi/OfxGpuRender.h"
#include "host/ofx/abi/OfxImageEffect.h"
#include "host/ofx/abi/OfxMemory.h"
#include "host/ofx/abi/OfxMessage.h"
#include "host/ofx/abi/OfxMultiThread.h"
#include "host/ofx/abi/OfxParam.h"
#include "host/ofx/abi/OfxProgress.h"
#include "host/ofx/abi/OfxProperty.h"

static_assert(sizeof(OfxPropertySuiteV1) == 18 * sizeof(void*));
static_assert(offsetof(OfxPropertySuiteV1, propGetPointer) == 8 * sizeof(void*));
static_assert(sizeof(OfxImageEffectSuiteV1) == 13 * sizeof(void*));
static_assert(offsetof(OfxImageEffectSuiteV1, clipGetImage) == 5 * sizeof(void*));
static_assert(offsetof(OfxImageEffectSuiteV1, abort) == 8 * sizeof(void*));
static_assert(sizeof(OfxParameterSuiteV1) == 18 * sizeof(void*));
static_assert(offsetof(OfxParameterSuiteV1, paramSetValue) == 8 * sizeof(void*));
static_assert(sizeof(OfxMultiThreadSuiteV1) == 9 * sizeof(void*));
static_assert(sizeof(OfxMemorySuiteV1) == 2 * sizeof(void*));
static_assert(sizeof(OfxMessageSuiteV1) == sizeof(void*));
static_assert(sizeof(OfxMessageSuiteV2) == 3 * sizeof(void*));
static_assert(sizeof(OfxProgressSuiteV1) == 3 * sizeof(void*));
static_assert(sizeof(OfxImageEffectOpenGLRenderSuiteV1) == 3 * sizeof(void*));
static_assert(sizeof(OfxPlugin) == 48 && offsetof(OfxPlugin, setHost) == 32 &&
              offsetof(OfxPlugin, mainEntry) == 40);
static_assert(sizeof(OfxHost) == 2 * sizeof(void*) && sizeof(OfxRectD) == 32 && sizeof(OfxRectI) == 16);
