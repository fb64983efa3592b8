#include "app/host/ThreadPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "app/host/Effect.h"
#include "app/host/Suites.h"

namespace TQ::App {
namespace {

struct Tally {
    std::vector<std::atomic<int>> runs = std::vector<std::atomic<int>>(16);
    std::thread::id firstThread;
    std::atomic<int> wrongIndex{0};
};

void Count(unsigned int index, unsigned int, void* argument) {
    Tally& tally = *static_cast<Tally*>(argument);
    ++tally.runs[index];
    unsigned int told = 99;
    multiThreadSuite.multiThreadIndex(&told);
    tally.wrongIndex += told != index || !multiThreadSuite.multiThreadIsSpawnedThread();
    if (index == 0) {
        tally.firstThread = std::this_thread::get_id();
    }
}

class ThreadPoolTest : public testing::TestWithParam<int> {};

TEST_P(ThreadPoolTest, RunsEveryIndexOnceFromManyCallersAtOnce) {
    ThreadPool pool(GetParam());
    std::vector<std::thread> callers;
    std::atomic<int> faults{0};
    for (int c = 0; c < 4; ++c) {
        callers.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                Tally tally;
                faults += !pool.Run(Count, 16, &tally);
                for (const auto& runs : tally.runs) {
                    faults += runs != 1;
                }
                faults += tally.firstThread != std::this_thread::get_id();
                faults += tally.wrongIndex;
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(faults, 0);
    EXPECT_FALSE(ThreadPool::IsInside());
}

INSTANTIATE_TEST_SUITE_P(Sizes, ThreadPoolTest, testing::Values(1, 2, 5));

TEST(ThreadPoolFailureTest, AnExceptionEndsAsAFalseAnswerAndThePoolGoesOn) {
    ThreadPool pool(3);
    const auto fail = [](unsigned int index, unsigned int, void*) {
        if (index == 2) {
            throw std::runtime_error("inside");
        }
    };
    EXPECT_FALSE(pool.Run(fail, 4, nullptr));
    Tally tally;
    EXPECT_TRUE(pool.Run(Count, 4, &tally));
}

TEST(MultiThreadSuiteTest, OffersAsManyThreadsAsWereSet) {
    SetHostThreads(3);
    unsigned int offered = 0;
    EXPECT_EQ(multiThreadSuite.multiThreadNumCPUs(&offered), kOfxStatOK);
    EXPECT_EQ(offered, 3u);
    unsigned int count = 0;
    const auto note = [](unsigned int index, unsigned int threads, void* argument) {
        if (index == 0) {
            *static_cast<unsigned int*>(argument) = threads;
        }
    };
    // More threads than there are: the function is told how many really run.
    EXPECT_EQ(multiThreadSuite.multiThread(note, 100, &count), kOfxStatOK);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(multiThreadSuite.multiThread(nullptr, 1, nullptr), kOfxStatFailed);
}

TEST(MultiThreadSuiteTest, MutexesKeepTheirOwnerAndCount) {
    OfxMutexHandle mutex = nullptr;
    ASSERT_EQ(multiThreadSuite.mutexCreate(&mutex, 1), kOfxStatOK);
    OfxStatus elsewhere = kOfxStatOK;
    const auto tryElsewhere = [&] {
        std::thread([&] { elsewhere = multiThreadSuite.mutexTryLock(mutex); }).join();
        return elsewhere;
    };
    EXPECT_EQ(tryElsewhere(), kOfxStatFailed);
    EXPECT_EQ(multiThreadSuite.mutexLock(mutex), kOfxStatOK);
    EXPECT_EQ(multiThreadSuite.mutexUnLock(mutex), kOfxStatOK);
    EXPECT_EQ(tryElsewhere(), kOfxStatFailed);
    EXPECT_EQ(multiThreadSuite.mutexUnLock(mutex), kOfxStatOK);
    EXPECT_EQ(multiThreadSuite.mutexUnLock(mutex), kOfxStatFailed);
    EXPECT_EQ(tryElsewhere(), kOfxStatOK);
    EXPECT_EQ(multiThreadSuite.mutexDestroy(mutex), kOfxStatOK);
    EXPECT_EQ(multiThreadSuite.mutexDestroy(mutex), kOfxStatErrBadHandle);
}

}  // namespace
}  // namespace TQ::App
