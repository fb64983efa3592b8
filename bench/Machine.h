#pragma once

namespace TQ::Bench {

/// Bytes per second of all threads together, streaming over memory far larger than the caches.
struct Bandwidth {
    double read;
    double copy;   ///< bytes read plus bytes written
    double write;  ///< stores past the caches, which fetch nothing
};

/// What this machine can do at most, measured in the same run as the results that stand beside it.
struct MachineBounds {
    Bandwidth memory;
    double multiplyAddsFlops;  ///< single precision, a fused multiply-add counting as two operations
};

/// Measures with `threads` threads at once; about two seconds, and 512 MiB a thread, which are kept for
/// BandwidthNow. Later calls with the same count return the first answer.
const MachineBounds& MeasureMachine(int threads);

/// The bandwidth at this moment, since neighbours of a virtual machine may leave it more or less from one
/// minute to the next; about a tenth of a second.
Bandwidth BandwidthNow(int threads);

/// The least seconds for moving these bytes, at the highest of the bandwidths, or at that of writing where
/// nothing is read, and for these operations, counted as Operations.h says: each takes as long as a
/// multiply-add.
double LeastSeconds(const MachineBounds& machine, double bytesMoved, bool reads, double operations);

}  // namespace TQ::Bench
