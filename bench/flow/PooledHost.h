#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "support/MemoryHost.h"

namespace TQ::Bench {

/// A host with standing threads, and scratch memory that is used again, as host applications have them.
class PooledHost : public Test::MemoryHost {
  public:
    explicit PooledHost(int threads);
    ~PooledHost() override;

    std::unique_ptr<IP::MemoryImplement> NewMemory() override;
    std::unique_ptr<IP::LayerImplement> NewEmptyLayer() override;
    void ParallelFor(IP::BandFunction function, void* argument, int threadCount) override;
    void UpdateProgress(int /*threadIndex*/, std::uint64_t /*done*/, std::uint64_t /*total*/) override {}

    /// Blocks by size, given back by their owners.
    class Pool {
      public:
        unsigned char* Take(std::size_t bytes);
        void GiveBack(unsigned char* block, std::size_t bytes);
        ~Pool();

      private:
        std::mutex _lock;
        std::multimap<std::size_t, unsigned char*> _free;
    };

  private:
    void Work(int index);

    std::shared_ptr<Pool> _pool = std::make_shared<Pool>();
    std::vector<std::thread> _threads;
    std::mutex _lock;
    std::condition_variable _wake, _finished;
    IP::BandFunction _function = nullptr;
    void* _argument = nullptr;
    int _count = 0;
    int _running = 0;
    std::uint64_t _round = 0;
    bool _stop = false;
};

}  // namespace TQ::Bench
