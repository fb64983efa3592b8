#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <unordered_map>

namespace TQ::App {

/// Memory for plug-ins, aligned to 64 bytes. Effects take and give back scratch images of tens of megabytes
/// for every filter of every frame; fresh pages from the system cost more than filling them, so freed blocks
/// wait here to be taken again. What waits is bounded by a count, by bytes, and by the rule that blocks in
/// use and blocks waiting together never exceed what was in use at the peak. Any number of threads.
class MemoryPool {
  public:
    /// Blocks below this many bytes do not wait; the ordinary allocator is good at them.
    static constexpr std::size_t smallBytes = std::size_t{1} << 16;

    struct Limits {
        std::size_t idleBlocks = 16;
        std::size_t idleBytes = std::size_t{512} << 20;
    };
    struct Usage {
        std::size_t liveBlocks = 0;
        std::size_t liveBytes = 0;
        std::size_t peakBytes = 0;
        std::size_t idleBlocks = 0;
        std::size_t idleBytes = 0;
    };

    MemoryPool() = default;
    explicit MemoryPool(const Limits& limits) : _limits(limits) {}
    /// Gives all memory back, that in use included.
    ~MemoryPool();
    MemoryPool(const MemoryPool&) = delete;
    MemoryPool& operator=(const MemoryPool&) = delete;

    /// Null when there is no memory left, or the size is beyond reason. 0 bytes give a block too.
    void* Allocate(std::size_t bytes);
    /// False for an address that is not in use here.
    bool Free(void* address);
    /// Gives waiting blocks back to the system and forgets the peak.
    void Trim();
    Usage Use() const;

    /// The one that the suites use.
    static MemoryPool& Shared();

  private:
    struct Block {
        void* address;
        std::size_t bytes;
    };

    void* TakeIdle(std::size_t bytes);
    void KeepWithin(std::size_t blocks, std::size_t bytes);
    std::size_t PeakRoom() const;

    mutable std::mutex _mutex;
    Limits _limits;
    std::unordered_map<void*, std::size_t> _live;
    /// The one freed last comes first: its pages are the warmest.
    std::list<Block> _idle;
    Usage _usage;
};

}  // namespace TQ::App
