#pragma once

namespace TQ::Bench {

/// What this machine can do at most, measured in the same run as the results that stand beside it.
struct MachineBounds {
    int threads;
    double readBytesPerSecond;   ///< all threads together, streaming over memory far larger than the caches
    double copyBytesPerSecond;   ///< the same for a copy, bytes read plus bytes written
    double writeBytesPerSecond;  ///< the same for stores past the caches, which fetch nothing
    double multiplyAddsFlops;    ///< single precision, a fused multiply-add counting as two operations
};

/// Measures with `threads` threads at once; about two seconds and 1 GiB a thread. Later calls with the same
/// count return the first answer.
const MachineBounds& MeasureMachine(int threads);

/// The least seconds for moving these bytes, at the highest of the bandwidths, or at that of writing where
/// nothing is read, and for these operations, counted as Operations.h says: each takes as long as a
/// multiply-add.
double LeastSeconds(const MachineBounds& machine, double bytesMoved, bool reads, double operations);

}  // namespace TQ::Bench
