#pragma once

// The kernels of one level. Included by the level files only; see Vector.h. A new kernel joins in
// MakeLevelKernels.

#include "ip/kernels/FillKernels.h"
#include "ip/kernels/GatedSumKernel.h"
#include "ip/kernels/GaussBlurKernel.h"
#include "ip/kernels/GaussColumnKernel.h"
#include "ip/kernels/GaussRowKernel.h"
#include "ip/kernels/Levels.h"
#include "ip/kernels/MotionKernels.h"
#include "ip/kernels/PointKernels.h"
#include "ip/kernels/SimilarityKernels.h"
#include "ip/kernels/SimilarityStream.h"
#include "ip/kernels/WarpKernel.h"
#include "ip/kernels/WeightedSumKernel.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// Fills the entries of one format. Kernels that treat all colours alike have one function for both orders of
/// red and blue. Levels above the ones named leave a kernel to them.
template <class Frame, bool BlueFirst>
constexpr void FillFormat(LevelKernels& kernels, KernelFormat format) {
    const auto set = [&kernels, format](KernelId id, Kernel kernel) {
        kernels.entries[static_cast<int>(id)][static_cast<int>(format)] = kernel;
    };
    using Storage = typename Frame::Storage;
    set(KernelId::TemporalAdd1, RunPoint<TemporalAdd1<Frame>>);
    set(KernelId::TemporalAdd2, RunPoint<TemporalAdd2<Frame>>);
    set(KernelId::TemporalMultAddMask, RunPoint<TemporalMultAddMask<Frame>>);
    set(KernelId::TemporalAddMask, RunPoint<TemporalAddMask<Frame>>);
    set(KernelId::TemporalUnmult, RunPoint<TemporalUnmult<Frame>>);
    set(KernelId::AddHighPass, RunPoint<AddHighPass<Frame, false, false>>);
    set(KernelId::AddHighPassN, RunPoint<AddHighPass<Frame, true, false>>);
    set(KernelId::AddHighPassThreshold, RunPoint<AddHighPass<Frame, false, true>>);
    set(KernelId::AddHighPassThresholdN, RunPoint<AddHighPass<Frame, true, true>>);
    set(KernelId::DetectMotion, RunMotion<DetectMotion<Frame>>);
    set(KernelId::TemporalMultAddDetectMotion, RunMotion<TemporalMultAddDetectMotion<Frame>>);
    set(KernelId::WeightedSum, RunWeightedSum<Frame>);
    set(KernelId::GatedSum, RunGatedSum<Frame>);
    set(KernelId::GaussRows, RunGaussRows<Storage>);
    set(KernelId::GaussColumns, RunGaussColumns<Storage>);
    set(KernelId::GaussBlur, RunGaussBlur<Storage>);
    set(KernelId::AddBlurredHighPass, RunAddBlurredHighPass<Frame, false>);
    set(KernelId::AddBlurredHighPassThreshold, RunAddBlurredHighPass<Frame, true>);
    set(KernelId::GuidedCorrelation2, RunPoint<GuidedCorrelation2<Frame>>);
    set(KernelId::AffineSimilarity, RunPoint<AffineSimilarity<Frame>>);
    set(KernelId::AffineSimilarityExp, RunPoint<AffineSimilarityExp<Frame>>);
    set(KernelId::AffineSimilarityExp3, RunPoint<AffineSimilarityExp3<Frame>>);
    set(KernelId::AffineSimilarityOfHighPasses, RunAffineSimilarityOfHighPasses<Frame>);
    set(KernelId::Warp, RunWarp<Storage>);
#ifdef TQ_LEVEL_HAS_SOLID
    set(KernelId::Solid, RunSolid<Frame, BlueFirst>);
#endif
#ifdef TQ_LEVEL_HAS_RAMP
    set(KernelId::Ramp, RunRamp<Frame, BlueFirst>);
#endif
#ifdef TQ_LEVEL_IS_BASELINE
    set(KernelId::TemporalBlend, RunTemporalBlend<Frame>);
    set(KernelId::CopyAlpha, RunCopyAlpha<Frame>);
#endif
}

template <class Storage>
constexpr void FillOrders(LevelKernels& kernels, KernelFormat rgba, KernelFormat argb, KernelFormat bgra,
                          KernelFormat abgr) {
    FillFormat<Pixels<Storage, 3>, false>(kernels, rgba);
    FillFormat<Pixels<Storage, 0>, false>(kernels, argb);
    FillFormat<Pixels<Storage, 3>, true>(kernels, bgra);
    FillFormat<Pixels<Storage, 0>, true>(kernels, abgr);
}

constexpr LevelKernels MakeLevelKernels() {
    LevelKernels kernels{};
    using enum KernelFormat;
    FillOrders<ByteStorage>(kernels, Byte_RGBA, Byte_ARGB, Byte_BGRA, Byte_ABGR);
    FillFormat<Pixels<ShortStorage<32768>, 0>, false>(kernels, Short32768_ARGB);
    FillFormat<Pixels<ShortStorage<32768>, 3>, true>(kernels, Short32768_BGRA);
    FillOrders<ShortStorage<16384>>(kernels, Short16384_RGBA, Short16384_ARGB, Short16384_BGRA,
                                    Short16384_ABGR);
    FillFormat<Pixels<ShortStorage<65535>, 3>, false>(kernels, ShortOther_RGBA);
    FillOrders<FloatStorage>(kernels, Float_RGBA, Float_ARGB, Float_BGRA, Float_ABGR);
    return kernels;
}

}  // namespace

constinit const LevelKernels kernels = MakeLevelKernels();

}  // namespace TQ::IP::TQ_LEVEL
