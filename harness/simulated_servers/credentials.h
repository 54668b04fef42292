#pragma once

#include <windows.h>

// WinInet sends the user name and password that a connection has been given; Wine's sends them with
// no request of the kind that is used here. What takes the place of its functions adds them
// (RFC 7617, Basic).

namespace velmora::testing {

using AnyFunction = void (*)();

/// What is to be called in place of a function of wininet.dll; null: that function.
AnyFunction withCredentials(HMODULE wininet, const char* name);

}  // namespace velmora::testing
