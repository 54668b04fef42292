#pragma once

#include <charconv>
#include <cstdint>
#include <string>

namespace velmora {

/// Appends a number with at least `width` digits, with zeros in front of it; `width` is at most 64.
/// Used instead of printf, whose code for all its formats is a twentieth of the library's size.
inline void appendDigits(std::string& text, std::uint64_t number, unsigned width = 1,
                         int base = 10) {
    char digits[64];
    const char* const end = std::to_chars(digits, digits + sizeof digits, number, base).ptr;
    const auto count = static_cast<unsigned>(end - digits);
    if (count < width) text.append(width - count, '0');
    text.append(digits, count);
}

}  // namespace velmora
