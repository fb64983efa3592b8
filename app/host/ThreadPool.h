#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace TQ::App {

/// Runs numbered functions on the caller and on waiting workers. Any number of threads may call Run at once:
/// the workers take turns among the callers, and every caller works off what no worker has taken, so that a
/// busy pool delays a call but never blocks it.
class ThreadPool {
  public:
    using Function = void (*)(unsigned int index, unsigned int count, void* argument);

    /// `threads` includes the caller: the pool itself has one fewer. At least 1.
    explicit ThreadPool(int threads);
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    int Threads() const { return _threads; }
    /// Calls function(index, count, argument) for each index of [0, count); index 0 runs on the caller.
    /// Returns when all are done; false when one of them threw. `count` is at least 1. Not from inside such a
    /// function (see IsInside).
    bool Run(Function function, unsigned int count, void* argument);

    /// Whether the calling thread is inside a function of a pool, and its index there (0 outside).
    static bool IsInside();
    static unsigned int Index();

  private:
    struct Job;
    void Work();
    void RunIndex(Job& job, unsigned int index);
    void StartWorkers();

    const int _threads;
    std::mutex _mutex;
    std::condition_variable _jobWaits;
    std::condition_variable _indexDone;
    /// Jobs with indices that nobody has taken yet.
    std::deque<Job*> _jobs;
    std::vector<std::thread> _workers;
    bool _ending = false;
};

}  // namespace TQ::App
