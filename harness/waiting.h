#pragma once

#include <windows.h>

#include <functional>

namespace velmora::testing {

constexpr DWORD kPatience = 60000;  ///< milliseconds

/// Polls until `condition` holds; false after the time limit.
inline bool waitUntil(const std::function<bool()>& condition) {
    for (const DWORD start = GetTickCount(); GetTickCount() - start < kPatience; Sleep(10))
        if (condition()) return true;
    return condition();
}

}  // namespace velmora::testing
