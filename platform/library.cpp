#include "platform/library.h"

#include <array>
#include <cwchar>

namespace velmora {
namespace {

// Windows 8, and Windows 7 with an update: the imports of the library come from the system
// directory as well.
#ifndef LOAD_LIBRARY_SEARCH_SYSTEM32
constexpr DWORD LOAD_LIBRARY_SEARCH_SYSTEM32 = 0x800;
#endif

using Path = std::array<wchar_t, 1024>;

/// `folder` of `length` characters, which ends with a backslash, and `name`; null if too long.
HMODULE loadFrom(Path& folder, std::size_t length, const wchar_t* name, DWORD flags) noexcept {
    if (length == 0 || length + std::wcslen(name) >= folder.size()) return nullptr;
    std::wcscpy(folder.data() + length, name);
    return LoadLibraryExW(folder.data(), nullptr, flags);
}

HMODULE findCurrentModule(DWORD flags) noexcept {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | flags,
                       reinterpret_cast<LPCSTR>(&currentModule), &module);
    return module;
}

}  // namespace

HMODULE loadSystemLibrary(const wchar_t* name) noexcept {
    Path path{};
    std::size_t length = GetSystemDirectoryW(path.data(), static_cast<UINT>(path.size() - 1));
    if (length == 0 || length >= path.size() - 1) return nullptr;
    path[length++] = L'\\';
    HMODULE library = loadFrom(path, length, name, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (library == nullptr && GetLastError() == ERROR_INVALID_PARAMETER)
        library = loadFrom(path, length, name, LOAD_WITH_ALTERED_SEARCH_PATH);
    return library;
}

HMODULE loadedOrSystemLibrary(const wchar_t* name) noexcept {
    HMODULE library = nullptr;
    if (GetModuleHandleExW(0, name, &library)) return library;
    return loadSystemLibrary(name);
}

HMODULE loadOptionalLibrary(const wchar_t* name) noexcept {
    // Our programs bring no libraries along; they are started from wherever they were unpacked.
    if (currentModule() == GetModuleHandleW(nullptr)) return loadSystemLibrary(name);
    Path path{};
    const DWORD whole = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    std::size_t length = whole < path.size() ? whole : 0;
    while (length > 0 && path[length - 1] != L'\\')
        --length;
    HMODULE library = loadFrom(path, length, name, LOAD_WITH_ALTERED_SEARCH_PATH);
    return library != nullptr ? library : loadSystemLibrary(name);
}

HMODULE currentModule() noexcept {
    return findCurrentModule(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT);
}

UniqueModule referToCurrentModule() noexcept {
    return UniqueModule(findCurrentModule(0));
}

}  // namespace velmora
