#pragma once

#include <windows.h>

#include "platform/handle.h"

namespace velmora {

/// The address of `module`'s export `name` as a function pointer of type Function; null when the
/// module is null or lacks it.
template <class Function>
Function librarySymbol(HMODULE module, const char* name) noexcept {
    if (module == nullptr) return nullptr;
    // GetProcAddress returns one type for every function; going by way of void(*)() is the
    // conversion that compilers accept without a warning.
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

/// The module that this code was linked into (the DLL, or a test program): owner of its resources.
HMODULE currentModule() noexcept;

/// The same, kept loaded as long as the handle lives.
UniqueModule referToCurrentModule() noexcept;

}  // namespace velmora
