#pragma once

#include <windows.h>

#include <chrono>

#include "platform/handle.h"

namespace velmora {

// The monitor stores the printer directory whole, and the last save wins. Programs on one computer
// that read it, change it and store it take turns by these two objects, which every session sees.
// The monitor itself takes no part: its callers do.

/// The machine-wide mutex "Global\Velmora configuration". Held while ports or the directory are
/// read, changed and stored; a thread that holds it may take it again. CreateMutexA.
class ConfigurationLock {
  public:
    /// Waits no longer than `longest`.
    explicit ConfigurationLock(std::chrono::milliseconds longest);
    ~ConfigurationLock();
    ConfigurationLock(const ConfigurationLock&) = delete;
    ConfigurationLock& operator=(const ConfigurationLock&) = delete;

    /// False if another program has held it all the time, or if it cannot be opened.
    bool held() const noexcept { return held_; }

  private:
    UniqueMutex mutex_;
    bool held_ = false;
};

/// The machine-wide event "Global\Velmora port dialog", which exists as long as a dialog holds a
/// copy of the directory that it may store. CreateEventA.
class OpenDialogMark {
  public:
    OpenDialogMark();
    /// Whether any process has a mark.
    static bool exists();

  private:
    UniqueEvent event_;
};

}  // namespace velmora
