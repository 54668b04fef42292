#pragma once

#include <memory>

namespace velmora {

/// A mutex for code that also builds without the Windows header; meets the standard's BasicLockable
/// requirements, for std::lock_guard. Not recursive. On Windows a critical section
/// (mutex_win32.cpp): the library does not link the compiler's thread library, which would keep
/// resources of the process with every load. Elsewhere std::mutex (mutex_std.cpp).
class Mutex {
  public:
    /// Throws std::bad_alloc.
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() noexcept;
    void unlock() noexcept;

  private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace velmora
