#pragma once

#include <windows.h>

// WinInet sends the user name and password that a connection was opened with; Wine's does not in
// the kind of request that is used here. The functions that replace Wine's add them (RFC 7617,
// Basic).

namespace velmora::testing {

using AnyFunction = void (*)();

/// The replacement for a function of wininet.dll; null if it is not replaced.
AnyFunction withCredentials(HMODULE wininet, const char* name);

}  // namespace velmora::testing
