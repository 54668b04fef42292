#pragma once

#include <windows.h>

#include <utility>

namespace velmora {

/// Owns one Win32 handle and closes it in its destructor. Move-only.
/// Traits: `Type`, `static Type empty()`, `static void close(Type)`.
template <class Traits>
class UniqueHandle {
  public:
    using Type = typename Traits::Type;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Type handle) noexcept : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~UniqueHandle() { reset(); }

    explicit operator bool() const noexcept { return handle_ != Traits::empty(); }
    Type get() const noexcept { return handle_; }

    /// For calls that return the handle through a pointer; closes what was held before.
    Type* put() noexcept {
        reset();
        return &handle_;
    }

    /// Gives the handle up without closing it.
    [[nodiscard]] Type release() noexcept { return std::exchange(handle_, Traits::empty()); }

    void reset(Type handle = Traits::empty()) noexcept {
        const Type old = std::exchange(handle_, handle);
        if (old != Traits::empty()) Traits::close(old);
    }

  private:
    Type handle_ = Traits::empty();
};

struct RegKeyTraits {
    using Type = HKEY;
    static Type empty() noexcept { return nullptr; }
    static void close(Type key) noexcept { RegCloseKey(key); }
};
using UniqueRegKey = UniqueHandle<RegKeyTraits>;

struct ModuleTraits {
    using Type = HMODULE;
    static Type empty() noexcept { return nullptr; }
    static void close(Type module) noexcept { FreeLibrary(module); }
};
using UniqueModule = UniqueHandle<ModuleTraits>;

/// Events, threads and every other kernel object whose failed creation yields null.
struct KernelObjectTraits {
    using Type = HANDLE;
    static Type empty() noexcept { return nullptr; }
    static void close(Type handle) noexcept { CloseHandle(handle); }
};
using UniqueEvent = UniqueHandle<KernelObjectTraits>;
using UniqueThread = UniqueHandle<KernelObjectTraits>;

}  // namespace velmora
