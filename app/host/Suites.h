#pragma once

#include "host/ofx/abi/OfxImageEffect.h"
#include "host/ofx/abi/OfxMemory.h"
#include "host/ofx/abi/OfxMessage.h"
#include "host/ofx/abi/OfxMultiThread.h"
#include "host/ofx/abi/OfxParam.h"
#include "host/ofx/abi/OfxProgress.h"
#include "host/ofx/abi/OfxProperty.h"
#include "host/ofx/abi/OfxTimeLine.h"

namespace TQ::App {

/// The function tables that this host hands out, one file each.
extern const OfxPropertySuiteV1 propertySuite;
extern const OfxParameterSuiteV1 parameterSuite;
extern const OfxImageEffectSuiteV1 imageEffectSuite;
extern const OfxMemorySuiteV1 memorySuite;
extern const OfxMultiThreadSuiteV1 multiThreadSuite;
extern const OfxMessageSuiteV1 messageSuite1;
extern const OfxMessageSuiteV2 messageSuite2;
extern const OfxProgressSuiteV1 progressSuite1;
extern const OfxProgressSuiteV2 progressSuite2;
extern const OfxTimeLineSuiteV1 timeLineSuite;

/// Those of hosts that depart from the standard; HostProfile tells of each departure.
extern const OfxPropertySuiteV1 propertySuiteWithoutInts;
extern const OfxImageEffectSuiteV1 imageEffectSuiteWithoutMemory;
extern const OfxMultiThreadSuiteV1 multiThreadStandIn;
extern const OfxMessageSuiteV1 plainMessageSuite1;
extern const OfxMessageSuiteV2 plainMessageSuite2;

}  // namespace TQ::App
