#pragma once

#include <cstdlib>
#include <string>

// How a fuzz target reports a failure: the program ends, and the fuzzer keeps the input.

namespace velmora::testing {

inline void require(bool holds) {
    if (!holds) std::abort();
}

/// No character of the line controls a terminal.
inline void requirePrintable(const std::string& line) {
    for (const char c : line)
        require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
}

}  // namespace velmora::testing
