#pragma once

#include <cstddef>

namespace velmora::testing {

// For test programs that link allocations.cpp, which replaces the global operator new: counts what
// is allocated, and lets an allocation fail. One thread alone may use it at a time.

/// What operator new and delete have done since the program started.
struct AllocationCounts {
    std::size_t allocations = 0;
    std::size_t bytes = 0;
    std::size_t live = 0;       ///< allocated and not yet deleted
    std::size_t liveBytes = 0;  ///< their size
};

AllocationCounts allocationCounts() noexcept;

/// While it lives, allocation number `index` (from 0) fails, and that one alone.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::size_t index) noexcept;
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    /// Whether the program got as far as that allocation.
    bool happened() const noexcept;
};

}  // namespace velmora::testing
