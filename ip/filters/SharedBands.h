#pragma once

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "ip/Layer.h"
#include "ip/kernels/KernelParameters.h"
#include "ip/records/RowClaims.h"

namespace TQ::IP {

/// Bands that are walked downwards, each by one thread, and of which a thread that has no band left takes the
/// lower half: so they end together, also where one thread is slower than another or is interrupted.
class SharedBands {
    struct Part {
        Bounds band{};
        std::int32_t claimed = 0;  ///< the rows from here on are for others to take; at first none
        std::int32_t RowsLeft() const { return band.y2 - claimed; }
    };

  public:
    explicit SharedBands(int threads) : _walks(static_cast<std::size_t>(threads)) {}

    /// A walk over a band by one thread; others may take rows of it as long as it lives.
    class Walk final : public RowClaims {
      public:
        Walk(SharedBands& bands, int thread, const Bounds& band)
            : _bands(bands), _own(bands._walks[static_cast<std::size_t>(thread)]) {
            const std::lock_guard lock(_bands._mutex);
            _own = {band, band.y2};
        }
        ~Walk() override {
            const std::lock_guard lock(_bands._mutex);
            _own = {};
        }
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;

        std::int32_t Claim(std::int32_t end) override {
            const std::lock_guard lock(_bands._mutex);
            _own.claimed = std::min(end, _own.band.y2);
            return _own.band.y2;
        }

      private:
        SharedBands& _bands;
        Part& _own;
    };

    /// About the lower half of the rows that are left of a walk, of that with the most of them; nothing where
    /// that would not pay.
    std::optional<Bounds> Take() {
        constexpr std::int32_t leastRows = 4 * gatedBatchRows;
        const std::lock_guard lock(_mutex);
        const auto most = std::max_element(_walks.begin(), _walks.end(), [](const Part& a, const Part& b) {
            return a.RowsLeft() < b.RowsLeft();
        });
        if (most == _walks.end() || most->RowsLeft() < leastRows) {
            return std::nullopt;
        }
        // Walks are cut between two batches only.
        const std::int32_t batches = (most->RowsLeft() / 2 + gatedBatchRows - 1) / gatedBatchRows;
        Bounds taken = most->band;
        taken.y1 = most->claimed + batches * gatedBatchRows;
        most->band.y2 = taken.y1;
        return taken;
    }

  private:
    std::mutex _mutex;
    std::vector<Part> _walks;
};

}  // namespace TQ::IP
