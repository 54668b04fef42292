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

// Libraries are loaded by their full paths: a bare name is searched for in the current directory
// and in all folders of PATH too, and whoever may write to one of them would have code run by the
// spooler, as the system. Null if the library is not there or does not load. A library stays loaded
// until somebody frees it.

/// Windows's own library of that name, from the system directory.
HMODULE loadSystemLibrary(const wchar_t* name) noexcept;
/// The same, unless the process has loaded a library of that name already: then that one.
HMODULE loadedOrSystemLibrary(const wchar_t* name) noexcept;
/// A library that Windows may lack and programs bring along: from the folder of the program that
/// has loaded ours, or from the system directory; for our own programs only from the latter.
HMODULE loadOptionalLibrary(const wchar_t* name) noexcept;

/// The module that this code was linked into (the DLL, or a test program): owner of its resources.
HMODULE currentModule() noexcept;

/// The same, kept loaded as long as the handle lives.
UniqueModule referToCurrentModule() noexcept;

}  // namespace velmora
