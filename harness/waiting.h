#pragma once

#include <windows.h>

#include <functional>

namespace velmora::testing {

constexpr DWORD kPatience = 20000;  ///< milliseconds

/// Looks again and again until `condition` holds. False when patience has run out.
inline bool waitUntil(const std::function<bool()>& condition) {
    for (const DWORD start = GetTickCount(); GetTickCount() - start < kPatience; Sleep(10))
        if (condition()) return true;
    return condition();
}

}  // namespace velmora::testing
