#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "app/host/Effect.h"
#include "app/host/Guard.h"
#include "app/host/Handles.h"
#include "app/host/Suites.h"
#include "app/host/ThreadPool.h"
#include "platform/Platform.h"

namespace TQ::App {
namespace {

/// A mutex that its owner may lock again, and that notices when somebody else unlocks it.
class HostMutex : public HandleOwner<HostMutex, OfxMutexHandle> {
  public:
    explicit HostMutex(int locks) : _owner(std::this_thread::get_id()), _locks(std::max(locks, 0)) {}

    void Lock() {
        std::unique_lock lock(_mutex);
        _free.wait(lock, [this] { return IsMine(); });
        Take();
    }
    bool TryLock() {
        std::lock_guard lock(_mutex);
        if (!IsMine()) {
            return false;
        }
        Take();
        return true;
    }
    bool Unlock() {
        std::lock_guard lock(_mutex);
        if (_locks == 0 || _owner != std::this_thread::get_id()) {
            return false;
        }
        if (--_locks == 0) {
            _free.notify_one();
        }
        return true;
    }

  private:
    bool IsMine() const { return _locks == 0 || _owner == std::this_thread::get_id(); }
    void Take() {
        _owner = std::this_thread::get_id();
        ++_locks;
    }

    std::mutex _mutex;
    std::condition_variable _free;
    std::thread::id _owner;
    int _locks;
};

std::mutex poolMutex;

std::shared_ptr<ThreadPool>& PoolPlace() {
    static std::shared_ptr<ThreadPool> pool;
    return pool;
}

std::shared_ptr<ThreadPool> Pool() {
    std::lock_guard lock(poolMutex);
    std::shared_ptr<ThreadPool>& pool = PoolPlace();
    if (!pool) {
        pool = std::make_shared<ThreadPool>(Platform::HardwareThreadCount());
    }
    return pool;
}

OfxStatus MultiThread(OfxThreadFunctionV1 function, unsigned int threads, void* argument) {
    return Guarded([&]() -> OfxStatus {
        if (!function) {
            return kOfxStatFailed;
        }
        if (ThreadPool::IsInside()) {
            return kOfxStatErrExists;
        }
        const std::shared_ptr<ThreadPool> pool = Pool();
        const auto available = static_cast<unsigned int>(pool->Threads());
        const unsigned int count = threads == 0 ? available : std::min(threads, available);
        return pool->Run(function, count, argument) ? kOfxStatOK : kOfxStatFailed;
    });
}

OfxStatus NumCPUs(unsigned int* count) {
    return Guarded([&]() -> OfxStatus {
        if (!count) {
            return kOfxStatFailed;
        }
        *count = static_cast<unsigned int>(Pool()->Threads());
        return kOfxStatOK;
    });
}

OfxStatus Index(unsigned int* index) {
    if (!index) {
        return kOfxStatFailed;
    }
    *index = ThreadPool::Index();
    return kOfxStatOK;
}

int IsSpawnedThread() {
    return ThreadPool::IsInside() ? 1 : 0;
}

OfxStatus MutexCreate(OfxMutexHandle* mutex, int locks) {
    return Guarded([&]() -> OfxStatus {
        if (!mutex) {
            return kOfxStatErrBadHandle;
        }
        *mutex = (new HostMutex(locks))->AsHandle();
        return kOfxStatOK;
    });
}

template <typename Body>
OfxStatus WithMutex(OfxMutexHandle handle, Body&& body) noexcept {
    return Guarded([&]() -> OfxStatus {
        HostMutex* mutex = HostMutex::From(handle);
        if (!mutex) {
            return kOfxStatErrBadHandle;
        }
        return body(*mutex) ? kOfxStatOK : kOfxStatFailed;
    });
}

OfxStatus MutexDestroy(const OfxMutexHandle handle) {
    return WithMutex(handle, [](HostMutex& mutex) {
        delete &mutex;
        return true;
    });
}

OfxStatus MutexLock(const OfxMutexHandle handle) {
    return WithMutex(handle, [](HostMutex& mutex) {
        mutex.Lock();
        return true;
    });
}

OfxStatus MutexUnlock(const OfxMutexHandle handle) {
    return WithMutex(handle, [](HostMutex& mutex) { return mutex.Unlock(); });
}

OfxStatus MutexTryLock(const OfxMutexHandle handle) {
    return WithMutex(handle, [](HostMutex& mutex) { return mutex.TryLock(); });
}

// The suite of hosts that have no threads to offer.

OfxStatus RunOnce(OfxThreadFunctionV1 function, unsigned int, void* argument) {
    return Guarded([&]() -> OfxStatus {
        if (!function) {
            return kOfxStatFailed;
        }
        function(0, 1, argument);
        return kOfxStatOK;
    });
}

OfxStatus OneCPU(unsigned int* count) {
    *count = 1;
    return kOfxStatOK;
}

OfxStatus FirstIndex(unsigned int* index) {
    *index = 0;
    return kOfxStatOK;
}

int NeverSpawned() {
    return 0;
}

OfxStatus NullMutex(OfxMutexHandle* mutex, int) {
    *mutex = nullptr;
    return kOfxStatOK;
}

OfxStatus AcceptMutex(const OfxMutexHandle) {
    return kOfxStatOK;
}

}  // namespace

void SetHostThreads(int threads) {
    std::lock_guard lock(poolMutex);
    PoolPlace() = std::make_shared<ThreadPool>(threads);
}

int HostThreads() {
    return Pool()->Threads();
}

const OfxMultiThreadSuiteV1 multiThreadSuite = {
    MultiThread,  NumCPUs,   Index,       IsSpawnedThread, MutexCreate,
    MutexDestroy, MutexLock, MutexUnlock, MutexTryLock,
};

const OfxMultiThreadSuiteV1 multiThreadStandIn = {
    RunOnce, OneCPU, FirstIndex, NeverSpawned, NullMutex, AcceptMutex, AcceptMutex, AcceptMutex, AcceptMutex,
};

}  // namespace TQ::App
