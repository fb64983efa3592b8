#include "app/host/ThreadPool.h"

#include <algorithm>

#include "app/host/Action.h"

namespace TQ::App {
namespace {

thread_local bool inside = false;
thread_local unsigned int currentIndex = 0;

}  // namespace

struct ThreadPool::Job {
    Function function;
    unsigned int count;
    void* argument;
    /// What the caller was doing; the workers act in its name.
    Action* action;
    unsigned int nextIndex = 1;
    unsigned int done = 0;
    bool failed = false;
};

ThreadPool::ThreadPool(int threads) : _threads(std::max(threads, 1)) {
}

ThreadPool::~ThreadPool() {
    {
        std::lock_guard lock(_mutex);
        _ending = true;
    }
    _jobWaits.notify_all();
    for (std::thread& worker : _workers) {
        worker.join();
    }
}

bool ThreadPool::IsInside() {
    return inside;
}
unsigned int ThreadPool::Index() {
    return currentIndex;
}

void ThreadPool::StartWorkers() {
    while (static_cast<int>(_workers.size()) < _threads - 1) {
        _workers.emplace_back([this] { Work(); });
    }
}

bool ThreadPool::Run(Function function, unsigned int count, void* argument) {
    Job job{function, count, argument, Action::Current()};
    std::unique_lock lock(_mutex);
    if (count > 1) {
        StartWorkers();
        _jobs.push_back(&job);
        _jobWaits.notify_all();
    }
    lock.unlock();
    RunIndex(job, 0);
    lock.lock();
    ++job.done;
    while (job.nextIndex < count) {
        const unsigned int index = job.nextIndex++;
        if (job.nextIndex == count) {
            std::erase(_jobs, &job);
        }
        lock.unlock();
        RunIndex(job, index);
        lock.lock();
        ++job.done;
    }
    _indexDone.wait(lock, [&] { return job.done == count; });
    return !job.failed;
}

void ThreadPool::Work() {
    std::unique_lock lock(_mutex);
    while (true) {
        _jobWaits.wait(lock, [this] { return _ending || !_jobs.empty(); });
        if (_ending) {
            return;
        }
        Job& job = *_jobs.front();
        _jobs.pop_front();
        const unsigned int index = job.nextIndex++;
        if (job.nextIndex < job.count) {
            _jobs.push_back(&job);
        }
        lock.unlock();
        RunIndex(job, index);
        lock.lock();
        if (++job.done == job.count) {
            _indexDone.notify_all();
        }
    }
}

void ThreadPool::RunIndex(Job& job, unsigned int index) {
    inside = true;
    currentIndex = index;
    Action* previous = Action::SetCurrent(job.action);
    try {
        job.function(index, job.count, job.argument);
    } catch (...) {
        std::lock_guard lock(_mutex);
        job.failed = true;
    }
    Action::SetCurrent(previous);
    currentIndex = 0;
    inside = false;
}

}  // namespace TQ::App
