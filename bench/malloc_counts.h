#pragma once

#include <cstddef>

namespace velmora::bench {

/// What malloc, calloc and realloc were asked for since the program started, by all of its
/// libraries. Linking malloc_counts.cpp puts counting functions in the C library's place.
struct MallocCounts {
    std::size_t count = 0;
    std::size_t bytes = 0;
};

MallocCounts mallocCounts() noexcept;

}  // namespace velmora::bench
