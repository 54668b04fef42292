#pragma once

#include <cstdlib>
#include <string>

// What a fuzz target tells the fuzzer with: it ends, and the input is kept.

namespace velmora::testing {

inline void require(bool holds) {
    if (!holds) std::abort();
}

/// No character of the line steers a terminal.
inline void requirePrintable(const std::string& line) {
    for (const char c : line)
        require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
}

}  // namespace velmora::testing
