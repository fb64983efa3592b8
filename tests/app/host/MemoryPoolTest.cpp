#include "app/host/MemoryPool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "app/host/Suites.h"

namespace TQ::App {
namespace {

constexpr std::size_t megabyte = std::size_t{1} << 20;

TEST(MemoryPoolTest, AFreedBlockServesTheNextRequestOfItsSize) {
    MemoryPool pool;
    void* first = pool.Allocate(4 * megabyte);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % 64, 0u);
    EXPECT_TRUE(pool.Free(first));
    EXPECT_FALSE(pool.Free(first));
    EXPECT_EQ(pool.Allocate(4 * megabyte - 100), first);
    EXPECT_TRUE(pool.Free(first));
    // Half the size would waste the other half.
    EXPECT_NE(pool.Allocate(2 * megabyte), first);
}

TEST(MemoryPoolTest, WaitingMemoryStaysWithinItsBounds) {
    MemoryPool pool({3, 5 * megabyte});
    std::vector<void*> blocks;
    for (int i = 0; i < 6; ++i) {
        blocks.push_back(pool.Allocate(megabyte));
    }
    for (void* block : blocks) {
        pool.Free(block);
    }
    EXPECT_EQ(pool.Use().idleBlocks, 3u);
    void* large = pool.Allocate(6 * megabyte);
    EXPECT_EQ(pool.Use().idleBytes, 0u) << "the peak was 6 MB, all of it in use now";
    pool.Free(large);
    EXPECT_EQ(pool.Use().idleBytes, 0u) << "more than may wait";
    EXPECT_EQ(pool.Use().liveBytes, 0u);
    EXPECT_EQ(pool.Use().peakBytes, 6 * megabyte);
}

TEST(MemoryPoolTest, ChangingSizesNeverHoldMoreThanThePeak) {
    MemoryPool pool;
    for (std::size_t size : {8, 3, 5, 1, 7, 2, 6, 4}) {
        void* a = pool.Allocate(size * megabyte);
        void* b = pool.Allocate((9 - size) * megabyte);
        EXPECT_LE(pool.Use().liveBytes + pool.Use().idleBytes, pool.Use().peakBytes);
        pool.Free(a);
        pool.Free(b);
        EXPECT_LE(pool.Use().idleBytes, pool.Use().peakBytes);
    }
    pool.Trim();
    EXPECT_EQ(pool.Use().idleBytes, 0u);
}

TEST(MemoryPoolTest, RefusesWhatNobodyHas) {
    MemoryPool pool;
    EXPECT_EQ(pool.Allocate(std::size_t{1} << 62), nullptr);
    int foreign = 0;
    EXPECT_EQ(memorySuite.memoryFree(&foreign), kOfxStatErrBadHandle);
    void* data = nullptr;
    EXPECT_EQ(memorySuite.memoryAlloc(nullptr, std::size_t{1} << 62, &data), kOfxStatErrMemory);
    ASSERT_EQ(memorySuite.memoryAlloc(nullptr, 0, &data), kOfxStatOK);
    EXPECT_NE(data, nullptr);
    EXPECT_EQ(memorySuite.memoryFree(data), kOfxStatOK);
}

}  // namespace
}  // namespace TQ::App
