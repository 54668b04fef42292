#pragma once

#include <windows.h>

#include <cstddef>
#include <limits>

#include "harness/wininet/import_patch.h"

namespace velmora::testing {

/// The malloc, calloc and realloc that a module imports, failing on demand: for the module's own
/// code and for the C++ runtime inside it. One at a time; any thread may allocate.
class FailingMemory {
  public:
    static constexpr std::size_t kForEver = std::numeric_limits<std::size_t>::max();

    /// Throws std::runtime_error when the module does not import them.
    explicit FailingMemory(HMODULE module);

    /// From now on allocation number `index` (from 0) fails, and so do those after it, `count` in
    /// all.
    void fail(std::size_t index, std::size_t count) noexcept;
    /// All succeed again. Returns how many have failed since fail().
    std::size_t succeed() noexcept;

  private:
    ImportPatch malloc_;
    ImportPatch calloc_;
    ImportPatch realloc_;
};

}  // namespace velmora::testing
