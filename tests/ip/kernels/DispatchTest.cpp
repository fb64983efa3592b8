#include <gtest/gtest.h>

#include <thread>

#include "ip/kernels/CpuFeatures.h"
#include "ip/kernels/KernelBench.h"

namespace TQ::IP::Test {
namespace {

constexpr std::uint32_t Bit(int index) {
    return 1U << index;
}

/// A processor with everything that a level asks for, on an operating system that saves all registers.
CpuRegisters FullProcessor() {
    constexpr std::uint32_t leaf1 = Bit(12) | Bit(19) | Bit(27) | Bit(28);
    constexpr std::uint32_t leaf7 = Bit(5) | Bit(16) | Bit(17) | Bit(28) | Bit(30) | Bit(31);
    return {7, leaf1, leaf7, 0, 0, 0, 0xE7};
}

IsaLevel Highest(const CpuRegisters& registers) {
    const std::uint32_t features = DecideCpuFeatures(registers);
    int level = isaLevelCount - 1;
    while (!AdmitsLevel(features, static_cast<IsaLevel>(level))) {
        --level;
    }
    return static_cast<IsaLevel>(level);
}

TEST(CpuFeatures, DecideTheLevel) {
    EXPECT_EQ(Highest(FullProcessor()), IsaLevel::AVX512);

    CpuRegisters cpu = FullProcessor();
    for (const int missing : {16, 17, 28, 30, 31}) {
        cpu.leaf7Ebx = FullProcessor().leaf7Ebx & ~Bit(missing);
        EXPECT_EQ(Highest(cpu), IsaLevel::AVX2) << "a part of AVX-512 is not enough, without bit " << missing;
    }
    cpu = FullProcessor();
    cpu.leaf7Ebx = Bit(5);
    cpu.leaf1Ecx &= ~Bit(12);
    EXPECT_EQ(Highest(cpu), IsaLevel::SSE41) << "AVX2 without FMA";
    cpu.leaf1Ecx &= ~Bit(19);
    EXPECT_EQ(Highest(cpu), IsaLevel::SSE2);
    EXPECT_EQ(Highest(CpuRegisters{1, 0, 0, 0, 0, 0, 0}), IsaLevel::SSE2) << "SSE2 is taken for granted";
}

TEST(CpuFeatures, FollowWhatTheOperatingSystemSaves) {
    CpuRegisters cpu = FullProcessor();
    cpu.xcr0 = 0x67;
    EXPECT_EQ(DecideCpuFeatures(cpu) >> 20, 0x3U) << "AVX and AVX2 stay";
    EXPECT_EQ(Highest(cpu), IsaLevel::AVX2);
    cpu.xcr0 = 0xE3;
    EXPECT_EQ(DecideCpuFeatures(cpu) >> 20, 0U);
    EXPECT_EQ(Highest(cpu), IsaLevel::SSE41);
    EXPECT_FALSE(HasReadableXcr0(Bit(28))) << "AVX without the instruction that reads XCR0";
    cpu = FullProcessor();
    cpu.leaf1Ecx &= ~Bit(27);
    EXPECT_EQ(DecideCpuFeatures(cpu) >> 20, 0U);
}

TEST(CpuFeatures, StandAtTheirBits) {
    CpuRegisters cpu{};
    EXPECT_EQ(DecideCpuFeatures(cpu), 0U) << "a processor that says nothing";
    cpu.highestLeaf = 1;
    constexpr std::uint32_t always = 0x67;
    EXPECT_EQ(DecideCpuFeatures(cpu), always);
    cpu = {7, ~0U, ~0U, ~0U, ~0U, ~0U, ~0ULL};
    EXPECT_EQ(DecideCpuFeatures(cpu), Bit(cpuFeatureCount) - 1);
    cpu = {7, Bit(23), 0, 0, Bit(5) | Bit(16), Bit(30), 0};
    EXPECT_EQ(DecideCpuFeatures(cpu), always | Bit(4) | Bit(12) | Bit(13) | Bit(16));
    EXPECT_STREQ(CpuFeatureName(3), "3DNow!");
    EXPECT_STREQ(CpuFeatureName(15), "FMA");
    EXPECT_STREQ(CpuFeatureName(28), "AVX512VBMI");
}

TEST(CpuFeatures, OfThisProcessorAreTheSameForAllThreads) {
    const std::uint32_t expected = GetCpuFeatures();
    EXPECT_EQ(expected & cpuSSE2, cpuSSE2);
    std::vector<std::uint32_t> seen(4);
    std::vector<std::thread> threads;
    for (auto& features : seen) {
        threads.emplace_back([&features] { features = GetCpuFeatures(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(seen, std::vector<std::uint32_t>(4, expected));
}

TEST(Dispatch, ChoosesTheFormat) {
    using enum KernelFormat;
    const struct {
        int bits, white;
        KernelFormat byPosition[4];
    } rows[] = {
        {8, 255, {Byte_RGBA, Byte_ARGB, Byte_BGRA, Byte_ABGR}},
        {8, 0, {Byte_RGBA, Byte_ARGB, Byte_BGRA, Byte_ABGR}},
        {16, 32768, {Short32768_ARGB, Short32768_ARGB, Short32768_BGRA, Short32768_ARGB}},
        {16, 16384, {Short16384_RGBA, Short16384_ARGB, Short16384_BGRA, Short16384_ABGR}},
        {16, 65535, {ShortOther_RGBA, ShortOther_RGBA, ShortOther_RGBA, ShortOther_RGBA}},
        {16, 1023, {ShortOther_RGBA, ShortOther_RGBA, ShortOther_RGBA, ShortOther_RGBA}},
        {32, 0, {Float_RGBA, Float_ARGB, Float_BGRA, Float_ABGR}},
    };
    for (const auto& row : rows) {
        for (int position = 0; position < 4; ++position) {
            KernelFormat format{};
            EXPECT_TRUE(ChooseKernelFormat(row.bits, row.white, position, format));
            EXPECT_EQ(format, row.byPosition[position]) << row.bits << " " << row.white << " " << position;
        }
    }
    KernelFormat format{};
    EXPECT_FALSE(ChooseKernelFormat(12, 0, 0, format));
}

TEST(Dispatch, RunsTheHighestLevelThatTakesTheKernel) {
    std::mt19937 random(1);
    for (const KernelRow& row : kernelRows) {
        const Storage storage = StorageOf(KernelFormat::Byte_BGRA);
        const Bounds bounds{0, 0, 21, 9};
        std::vector<TestImage> images;
        std::vector<ImageView> views;
        images.reserve(3);
        for (const Pixels kind : row.inputs) {
            images.emplace_back(kind == Pixels::Float ? AsFloat(storage) : storage, bounds, false);
            images.back().Fill(kind == Pixels::Float ? Content::Accumulator : Content::Frame, random);
            views.push_back(images.back().View());
        }
        int level = static_cast<int>(BestLevel());
        while (FindKernel(static_cast<IsaLevel>(level), row.id, KernelFormat::Byte_BGRA) == nullptr) {
            --level;
        }
        const Parameters parameters(row, storage, 3);
        TestImage chosen(row.output == Pixels::Float ? AsFloat(storage) : storage, bounds, false);
        TestImage expected = chosen;
        RecordingProgress progress;
        RunKernel(row.id, KernelFormat::Byte_BGRA, chosen.View(), views.data(), bounds, parameters.Get(),
                  progress);
        FindKernel(static_cast<IsaLevel>(level), row.id, KernelFormat::Byte_BGRA)(
            expected.View(), views.data(), bounds, parameters.Get(), progress);
        EXPECT_EQ(chosen.Bytes(), expected.Bytes()) << row.name;
    }
}

}  // namespace
}  // namespace TQ::IP::Test
