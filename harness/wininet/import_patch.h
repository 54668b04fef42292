#pragma once

#include <windows.h>

namespace velmora::testing {

/// Redirects one function that a module (by default this program) imports, for calls from the
/// module's own code, as long as this object lives. The address that was there is stored in
/// `original` first, if that is given. Throws std::runtime_error when the module does not import
/// it.
class ImportPatch {
  public:
    ImportPatch(const char* library, const char* function, void (*replacement)(),
                HMODULE module = nullptr, void** original = nullptr);
    ~ImportPatch();
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;

  private:
    void** entry_;
    void* original_;
};

/// While it lives, the module's pauses (Sleep; by default this program's) last 10 ms at
/// most: for tests of printers' behaviour, in which the required pauses, tested elsewhere, would
/// only take time.
class ShortPauses {
  public:
    explicit ShortPauses(HMODULE module = nullptr);

  private:
    ImportPatch patch_;
};

/// While it lives, the module pauses no longer than a change of threads takes, and a wait with a
/// time-out ends after 5 ms: for tests with hundreds of jobs. A worker that has missed a pulse is
/// then woken at once rather than after a second.
class NoPauses {
  public:
    explicit NoPauses(HMODULE module);

  private:
    ImportPatch sleep_;
    ImportPatch wait_;
};

}  // namespace velmora::testing
