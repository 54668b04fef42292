#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <span>
#include <string>

#include "harness/failing_memory.h"
#include "tests/contract/machine_of_two_ports.h"

namespace velmora::testing {

// The built library with memory that fails: from one allocation on for good, or a few in a row, at
// every place where a call allocates, the C++ runtime inside the library included. The process
// lives, the call reports what it is documented to report, and the same call succeeds once memory
// is back.

/// How many allocations in a row fail.
inline constexpr std::size_t kLengths[] = {1, 2, 3, 4, 101, FailingMemory::kForEver};

class NoMemory : public MachineOfTwoPorts {
  protected:
    /// Runs `call` with failures at every place, or at every `step`th; it gets whether memory may
    /// fail, and tells whether what the entry did is as documented. Then once more with all memory.
    void atEveryAllocation(const std::function<bool(bool memoryFails)>& call,
                           std::span<const std::size_t> lengths = kLengths, std::size_t step = 1) {
        for (const std::size_t length : lengths) {
            for (std::size_t index = length % step;; index += step) {
                SCOPED_TRACE(std::to_string(length) + " in a row from allocation " +
                             std::to_string(index));
                if (std::getenv("VELMORA_SHOW_ALLOCATIONS") != nullptr)
                    std::fprintf(stderr, "%zu from %zu\n", length, index);
                memory_.fail(index, length);
                const bool held = call(true);
                const bool untouched = memory_.succeed() == 0;
                ASSERT_TRUE(held);
                if (untouched) break;
                ASSERT_TRUE(call(false));
            }
        }
    }

    void xcvAtEveryAllocation(const wchar_t* command, const Block& input, std::size_t area = 0) {
        atEveryAllocation([&](bool memoryFails) {
            Block output(area);
            const DWORD result = xcv(monitor2_, command, input, area == 0 ? nullptr : &output);
            return result == 0 || (memoryFails && result == ERROR_NOT_ENOUGH_MEMORY);
        });
    }

    FailingMemory memory_{dll_.module()};
};

}  // namespace velmora::testing
