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

// The built library out of memory: from one allocation on, or for a few in a row, at every place
// where a call allocates, including the C++ runtime inside the library. The process lives, the call
// reports the documented result, and the same call succeeds once there is memory again.

/// How many allocations in a row fail.
inline constexpr std::size_t kLengths[] = {1, 2, 3, 4, 101, FailingMemory::kForEver};

class NoMemory : public MachineOfTwoPorts {
  protected:
    /// Runs `call` with failures at every place, or at every `step`th: it is told whether memory
    /// may fail, and returns whether the entry did what is documented. Then runs it again without
    /// failures.
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
