#pragma once

namespace TQ::Bench {

/// What the command line sets for the whole run.
struct Options {
    int threads = 2;
    bool quick = false;         ///< small pictures and one pass of everything: times mean nothing
    double memoryLimitGiB = 8;  ///< for the pictures of one benchmark; larger ones are left out

    int Width() const { return quick ? 480 : 1920; }
    int Height() const { return quick ? 270 : 1080; }
};

const Options& GetOptions();

}  // namespace TQ::Bench
