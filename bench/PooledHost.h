#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "ip/Host.h"

namespace TQ::Bench {

/// A host with standing threads, and scratch memory that is used again, as host applications have them.
class PooledHost : public IP::Host {
  public:
    explicit PooledHost(int threads);
    ~PooledHost() override;

    std::unique_ptr<IP::LayerImplement> NewEmptyLayer() override;
    std::unique_ptr<IP::MemoryImplement> NewMemory() override;
    IP::ProgressState& GetProgressState() override { return _progress; }
    void ParallelFor(IP::BandFunction function, void* argument, int threadCount) override;
    int GetThreadCount() const override { return static_cast<int>(_threads.size()) + 1; }
    /// The count is that of the standing threads, for good.
    void SetThreadCount(int /*count*/) override {}
    int GetHardwareThreadCount() const override { return GetThreadCount(); }
    void CheckAbort(bool /*skip*/) override {}
    void UpdateProgress(int /*threadIndex*/, std::uint64_t /*done*/, std::uint64_t /*total*/) override {}

    /// Blocks by size, given back by their owners.
    class Pool {
      public:
        ~Pool();
        /// Throws std::bad_alloc.
        unsigned char* Take(std::size_t bytes);
        void GiveBack(unsigned char* block, std::size_t bytes);

      private:
        std::mutex _lock;
        std::multimap<std::size_t, unsigned char*> _free;
    };

  private:
    void Work(int index);
    void RunPart(IP::BandFunction function, void* argument, int index, int count);

    std::shared_ptr<Pool> _pool = std::make_shared<Pool>();
    IP::ProgressState _progress;
    std::vector<std::thread> _threads;
    std::mutex _lock;
    std::condition_variable _wake, _finished;
    // One call of ParallelFor, for the standing threads.
    IP::BandFunction _function = nullptr;
    void* _argument = nullptr;
    int _count = 0;
    std::atomic<int> _running = 0;
    std::atomic<std::uint64_t> _round = 0;
    std::exception_ptr _failure;
    std::atomic<bool> _stop = false;
};

}  // namespace TQ::Bench
