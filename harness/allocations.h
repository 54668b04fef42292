#pragma once

#include <cstddef>

namespace velmora::testing {

// For test programs that link allocations.cpp, which replaces the global operator new: counts what
// is allocated, and makes an allocation fail. One thread at a time may use it.

/// What operator new and delete have done since the program started.
struct AllocationCounts {
    std::size_t allocations = 0;
    std::size_t bytes = 0;
    std::size_t live = 0;       ///< allocated and not yet deleted
    std::size_t liveBytes = 0;  ///< their size
};

AllocationCounts allocationCounts() noexcept;

/// While it lives, allocation number `index` (from 0) fails, and no other.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::size_t index) noexcept;
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    /// Whether the program has reached that allocation.
    bool happened() const noexcept;
};

}  // namespace velmora::testing
