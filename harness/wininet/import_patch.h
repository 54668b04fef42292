#pragma once

namespace velmora::testing {

/// Redirects one function that this program imports, for calls from the program's own code, as
/// long as this object lives. Throws std::runtime_error when the program does not import it.
class ImportPatch {
  public:
    ImportPatch(const char* library, const char* function, void (*replacement)());
    ~ImportPatch();
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;

  private:
    void** entry_;
    void* original_;
};

/// While it lives, the program's pauses (Sleep) last 10 ms at most: for tests of printers'
/// behaviour, in which the contractual pauses, tested elsewhere, would only take time.
class ShortPauses {
  public:
    ShortPauses();

  private:
    ImportPatch patch_;
};

}  // namespace velmora::testing
