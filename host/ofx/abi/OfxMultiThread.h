#pragma once

// Threads and mutexes of the host.

#include "host/ofx/abi/OfxCore.h"

/// Name of the suite.
inline constexpr char kOfxMultiThreadSuite[] = "OfxMultiThreadSuite";

using OfxMutexHandle = struct OfxMutex*;

/// Runs on each thread with its number and the count of threads that really run.
using OfxThreadFunctionV1 = void(unsigned int threadIndex, unsigned int threadMax, void* customArg);

/// Version 1.
struct OfxMultiThreadSuiteV1 {
    /// Returns when all threads are done. kOfxStatErrExists from inside such a thread: calls do not nest.
    OfxStatus (*multiThread)(OfxThreadFunctionV1 func, unsigned int nThreads, void* customArg);
    OfxStatus (*multiThreadNumCPUs)(unsigned int* nCPUs);
    OfxStatus (*multiThreadIndex)(unsigned int* threadIndex);
    int (*multiThreadIsSpawnedThread)();
    OfxStatus (*mutexCreate)(OfxMutexHandle* mutex, int lockCount);
    OfxStatus (*mutexDestroy)(const OfxMutexHandle mutex);
    OfxStatus (*mutexLock)(const OfxMutexHandle mutex);
    OfxStatus (*mutexUnLock)(const OfxMutexHandle mutex);
    OfxStatus (*mutexTryLock)(const OfxMutexHandle mutex);
};
