#pragma once

#include <functional>
#include <string>

#include "bench/Report.h"

namespace TQ::Bench {

// Each subject registers its benchmarks and what they are to be compared with.
void RegisterFilters();
void RegisterFrames();
/// The size series of whole frames; last, since it takes the most memory.
void RegisterFrameSizes();
/// OpenCV's nearest functions. Built only where OpenCV is found.
void RegisterOpenCv();
/// ffmpeg's mean over frames, where that program is found.
void RegisterMean();

/// "filter/warp/8-bit/2t": the name of a benchmark of ours.
std::string NameOf(const std::string& group, const std::string& what, int bits, int threads);

/// Registers a benchmark that is timed by the clock on the wall.
benchmark::internal::Benchmark* RegisterTimed(const std::string& name,
                                              const std::function<void(benchmark::State&)>& body);

/// More repetitions for what differs most from one to the next: ours and the peer's whole frames.
void RepeatOften(benchmark::internal::Benchmark* benchmark);

}  // namespace TQ::Bench
