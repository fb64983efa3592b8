#pragma once

#include <algorithm>
#include <atomic>

#include "ip/Host.h"

namespace TQ::IP {

/// Runs function(part, slot) for each part 0..parts - 1, on whichever thread is free. `slot` tells the
/// threads apart: 0 to ThreadSlots(host) - 1. Parts are a matter of speed only when they do not depend on
/// each other. Looks for an abort before each part.
template <class Function>
void ForParts(Host& host, int parts, const Function& function) {
    struct Work {
        Host& host;
        int parts;
        const Function& function;
        std::atomic<int> next{0};
    } work{host, parts, function};
    const BandFunction runParts = [](int index, int /*count*/, int threadIndex, void* argument) {
        auto& shared = *static_cast<Work*>(argument);
        for (int part = shared.next++; part < shared.parts; part = shared.next++) {
            shared.host.UpdateProgress(threadIndex, static_cast<std::uint64_t>(part),
                                       static_cast<std::uint64_t>(shared.parts));
            shared.function(part, index);
        }
    };
    if (parts == 1) {
        runParts(0, 1, 0, &work);
    } else if (parts > 1) {
        host.ParallelFor(runParts, &work, std::max(host.GetThreadCount(), 1));
    }
}

inline int ThreadSlots(const Host& host) {
    return std::max(host.GetThreadCount(), 1);
}

/// A range of rows.
struct RowRange {
    int begin, end;
};

/// Cuts rows into parts of about `rowsPerPart`, at least one.
class RowParts {
  public:
    RowParts(int rows, int rowsPerPart) : _rows(rows), _parts(std::max(rows / rowsPerPart, 1)) {}
    static RowParts InParts(int rows, int parts) {
        RowParts cut(rows, 1);
        cut._parts = parts;
        return cut;
    }
    int Count() const { return _parts; }
    RowRange At(int part) const {
        const auto cut = [&](int i) {
            return static_cast<int>(static_cast<std::int64_t>(_rows) * i / _parts);
        };
        return {cut(part), cut(part + 1)};
    }

  private:
    int _rows;
    int _parts;
};

}  // namespace TQ::IP
