#pragma once

#include <cstdint>
#include <memory>

#include "ip/Layer.h"

namespace TQ::IP {

/// The counters behind the progress bar: four nested levels, innermost first. Level 0 counts the passes
/// inside one filter, level 1 the filters of the graph; the others belong to the caller.
struct ProgressState {
    struct Level {
        std::uint64_t current = 0;
        std::uint64_t total = 0;
        std::uint64_t weight = 0;
        bool locked = false;
    };
    Level levels[4];
};

/// A part of one image operation: called as function(index, count, threadIndex, argument), index 0..count-1.
using BandFunction = void (*)(int index, int count, int threadIndex, void* argument);

/// The services that the framework needs of the host application; one instance per render, owned by the
/// caller and used on the render's thread. Workers of ParallelFor may call CheckAbort(true) and
/// UpdateProgress only.
class Host {
  public:
    virtual ~Host();
    /// A layer without pixels.
    virtual std::unique_ptr<LayerImplement> NewEmptyLayer() = 0;
    virtual std::unique_ptr<MemoryImplement> NewMemory() = 0;
    virtual ProgressState& GetProgressState() = 0;
    /// Runs the bands on `threadCount` threads, 0 meaning the default count, and returns when all are done.
    /// The host may run fewer: `count` as passed to the function tells. The first exception of a band is
    /// thrown again here.
    virtual void ParallelFor(BandFunction function, void* argument, int threadCount) = 0;
    virtual int GetThreadCount() const = 0;
    virtual void SetThreadCount(int count) = 0;
    virtual int GetHardwareThreadCount() const = 0;
    /// Throws TQ::Interrupted when the host asks to stop. `skip`: checks only what was answered before.
    virtual void CheckAbort(bool skip) = 0;
    /// `done` of `total` within the innermost level are finished. Only thread 0 reports; every thread throws
    /// TQ::Interrupted once the host has asked to stop.
    virtual void UpdateProgress(int threadIndex, std::uint64_t done, std::uint64_t total) = 0;
};

/// Folds the levels into one fraction `done` / `total` of the whole render. In and out: the innermost count.
void FoldProgress(const ProgressState& state, std::uint64_t& done, std::uint64_t& total);

}  // namespace TQ::IP
