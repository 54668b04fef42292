#pragma once

#include <windows.h>

#include <utility>

namespace velmora {

/// What a handle variable without a handle holds, which is what the call that makes one returns if
/// it fails.
enum class NoHandle { null, invalid };

/// Owns one handle of the platform and closes it in its destructor. Move-only.
template <class T, auto Close, NoHandle kNone = NoHandle::null>
class UniqueHandle {
  public:
    UniqueHandle() noexcept = default;
    explicit UniqueHandle(T handle) noexcept : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~UniqueHandle() { reset(); }

    explicit operator bool() const noexcept { return handle_ != none(); }
    T get() const noexcept { return handle_; }

    /// For calls that return the handle through a pointer; closes what was held before.
    T* put() noexcept {
        reset();
        return &handle_;
    }

    /// Releases the handle without closing it.
    [[nodiscard]] T release() noexcept { return std::exchange(handle_, none()); }

    void reset(T handle = none()) noexcept {
        const T old = std::exchange(handle_, handle);
        if (old != none()) Close(old);
    }

  private:
    static T none() noexcept {
        if constexpr (kNone == NoHandle::invalid) return INVALID_HANDLE_VALUE;
        return nullptr;
    }

    T handle_ = none();
};

// The kinds that more than one room or file uses; a new one is a line here, or in the only file
// that has it.
using UniqueEvent = UniqueHandle<HANDLE, CloseHandle>;
using UniqueMutex = UniqueHandle<HANDLE, CloseHandle>;
using UniqueSemaphore = UniqueHandle<HANDLE, CloseHandle>;
using UniqueThread = UniqueHandle<HANDLE, CloseHandle>;
using UniqueToken = UniqueHandle<HANDLE, CloseHandle>;
using UniqueFile = UniqueHandle<HANDLE, CloseHandle, NoHandle::invalid>;
using UniqueLocalMemory = UniqueHandle<void*, LocalFree>;
using UniqueModule = UniqueHandle<HMODULE, FreeLibrary>;
using UniqueRegKey = UniqueHandle<HKEY, RegCloseKey>;

}  // namespace velmora
