#pragma once

#include <windows.h>

#include <utility>

namespace velmora {

// The border to the spooler: nothing thrown may cross it. Exceptions from the body of an entry
// become a Win32 code here and nowhere else: that of a refused call of the Xcv channel, and
// ERROR_NOT_ENOUGH_MEMORY for everything else, since all other exceptions are for lack of memory.

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
        // After the destructors of the body's objects, which may have set another one.
        SetLastError(caughtErrorCode());
        return FALSE;
    }
}

}  // namespace velmora
