#pragma once

#include <algorithm>
#include <string>

namespace velmora::ctl {

/// With small letters for the capital letters of ASCII.
inline std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

}  // namespace velmora::ctl
