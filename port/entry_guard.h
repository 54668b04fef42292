#pragma once

#include <windows.h>

#include <utility>

namespace velmora {

// The border to the spooler: nothing thrown may cross it. What leaves the body of an entry becomes
// a Win32 code here and nowhere else: that of a refused call of the Xcv channel, and
// ERROR_NOT_ENOUGH_MEMORY for everything else, since nothing is thrown but lack of memory.

/// The code of the exception that is being handled.
DWORD caughtErrorCode() noexcept;

/// Runs the body of an entry that returns a code.
template <class Body>
DWORD guardedCall(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return caughtErrorCode();
    }
}

/// Runs the body of an entry that returns whether it succeeded; a code becomes the thread's last
/// error.
template <class Body>
BOOL guardedEntry(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        // After the destructors of what the body held, which may have set another one.
        SetLastError(caughtErrorCode());
        return FALSE;
    }
}

}  // namespace velmora
