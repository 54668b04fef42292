#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <span>

namespace velmora::testing {

/// Memory right before a page that can be neither read nor written: an access one byte too far ends
/// the program.
class GuardedArea {
  public:
    /// Room for at least `size` bytes, all of them 0xFF.
    explicit GuardedArea(std::size_t size)
        : usable_(roundUp(size)), pages_(map(usable_ + pageSize()), Unmap{usable_ + pageSize()}) {
        std::memset(pages_.get(), 0xFF, usable_);
        protect(pages_.get() + usable_);
    }

    /// The bytes before the page.
    std::span<std::byte> last(std::size_t size) const {
        return {pages_.get() + usable_ - size, size};
    }

  private:
    struct Unmap {
        std::size_t size;
        void operator()(std::byte* pages) const {
#ifdef _WIN32
            VirtualFree(pages, 0, MEM_RELEASE);
#else
            munmap(pages, size);
#endif
        }
    };

    static std::size_t pageSize() {
#ifdef _WIN32
        return 4096;
#else
        return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
#endif
    }
    static std::size_t roundUp(std::size_t size) {
        return (size + pageSize() - 1) / pageSize() * pageSize();
    }
    static std::byte* map(std::size_t size) {
#ifdef _WIN32
        void* pages = VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
        if (pages == nullptr) throw std::bad_alloc();
#else
        void* pages =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) throw std::bad_alloc();
#endif
        return static_cast<std::byte*>(pages);
    }
    static void protect(std::byte* page) {
#ifdef _WIN32
        DWORD before = 0;
        const bool done = VirtualProtect(page, pageSize(), PAGE_NOACCESS, &before) != FALSE;
#else
        const bool done = mprotect(page, pageSize(), PROT_NONE) == 0;
#endif
        if (!done) throw std::bad_alloc();
    }

    std::size_t usable_;
    std::unique_ptr<std::byte, Unmap> pages_;
};

/// A copy of some bytes at the end of a guarded area. The bytes before the copy are 0xFF.
class GuardedBytes {
  public:
    explicit GuardedBytes(std::span<const std::byte> bytes) : area_(bytes.size() + 1) {
        const std::span<std::byte> copy = area_.last(bytes.size());
        if (!bytes.empty()) std::memcpy(copy.data(), bytes.data(), bytes.size());
        copy_ = copy;
    }

    std::span<const std::byte> span() const { return copy_; }
    const std::byte* data() const { return copy_.data(); }

  private:
    GuardedArea area_;
    std::span<const std::byte> copy_;
};

}  // namespace velmora::testing
