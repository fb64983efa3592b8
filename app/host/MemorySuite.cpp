#include "app/host/Guard.h"
#include "app/host/MemoryPool.h"
#include "app/host/Suites.h"

namespace TQ::App {
namespace {

OfxStatus MemoryAlloc(void*, size_t bytes, void** data) {
    return Guarded([&]() -> OfxStatus {
        if (!data) {
            return kOfxStatErrValue;
        }
        *data = MemoryPool::Shared().Allocate(bytes);
        return *data ? kOfxStatOK : kOfxStatErrMemory;
    });
}

OfxStatus MemoryFree(void* data) {
    return Guarded([&]() -> OfxStatus {
        return !data || MemoryPool::Shared().Free(data) ? kOfxStatOK : kOfxStatErrBadHandle;
    });
}

}  // namespace

const OfxMemorySuiteV1 memorySuite = {MemoryAlloc, MemoryFree};

}  // namespace TQ::App
