#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ip/filters/Parts.h"

namespace TQ::IP {

/// One block of scratch memory for each slot of ForParts, aligned to a cache line.
class SlotScratch {
  public:
    /// Throws std::bad_alloc.
    SlotScratch(Host& host, std::int64_t bytes) {
        for (int slot = 0; slot < ThreadSlots(host); ++slot) {
            _blocks.push_back(std::make_unique<Memory>(host, static_cast<std::size_t>(bytes) + alignment));
        }
    }

    unsigned char* Of(int slot) const {
        const auto address =
            reinterpret_cast<std::uintptr_t>(_blocks[static_cast<std::size_t>(slot)]->Data());
        return reinterpret_cast<unsigned char*>((address + alignment - 1) / alignment * alignment);
    }

  private:
    static constexpr std::size_t alignment = 64;
    std::vector<std::unique_ptr<Memory>> _blocks;
};

}  // namespace TQ::IP
