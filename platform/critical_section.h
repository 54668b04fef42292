#pragma once

#include <windows.h>

namespace velmora {

/// A Win32 critical section; meets the standard's Lockable requirements, for std::lock_guard.
class CriticalSection {
  public:
    CriticalSection() noexcept { InitializeCriticalSection(&section_); }
    ~CriticalSection() { DeleteCriticalSection(&section_); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void lock() noexcept { EnterCriticalSection(&section_); }
    void unlock() noexcept { LeaveCriticalSection(&section_); }

  private:
    CRITICAL_SECTION section_;
};

}  // namespace velmora
