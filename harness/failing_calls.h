#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "harness/wininet/import_patch.h"

namespace velmora::testing {

/// What a platform call is for; the bits of a set of kinds.
enum FaultKind : unsigned {
    kMemoryFault = 1,
    kThreadFault = 2,
    kEventFault = 4,
    kRegistryFault = 8,
    kFileFault = 16,
    kInternetFault = 32,
    kSpoolerFault = 64,
};
inline constexpr std::size_t kFaultKinds = 7;
inline constexpr FaultKind kEachFault[kFaultKinds] = {kMemoryFault,   kThreadFault, kEventFault,
                                                      kRegistryFault, kFileFault,   kInternetFault,
                                                      kSpoolerFault};
inline constexpr unsigned kEveryFault = (1U << kFaultKinds) - 1;

const char* nameOf(FaultKind kind) noexcept;

/// What the module has got from the platform and not released.
struct HeldResources {
    long keys = 0;      ///< of the registry
    long handles = 0;   ///< files, threads, events, timers, tokens
    long internet = 0;  ///< of WinInet
    long printers = 0;  ///< of the spooler
    long blocks = 0;    ///< of memory
    long threads = 0;   ///< that run

    bool operator==(const HeldResources&) const = default;
};
std::string shown(const HeldResources& held);

/// The calls that a module makes to the platform, one of which fails on demand: by its import
/// table, and for the spooler's functions by GetProcAddress. Functions that release or signal
/// something (RegCloseKey, free, SetEvent and the like) do not fail, since they fail only for
/// arguments that are not valid; nor does finding the module of an address. Any thread may call.
/// One object at a time, made before the module first asks for the spooler; what GetProcAddress
/// returned works on after the object's end.
class FailingCalls {
  public:
    struct Fault {
        const char* function = nullptr;  ///< null: no call had that number
        FaultKind kind = kMemoryFault;
        DWORD code = 0;  ///< the error that the call reported
    };

    /// What the module is: the library, or the administration tool's verbs, which make other calls
    /// as well and not all of the library's.
    enum class Caller { library, tool };

    /// Throws std::runtime_error when the module does not import one of the functions.
    explicit FailingCalls(HMODULE module, Caller caller = Caller::library);
    ~FailingCalls();
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;

    /// From now on call number `index` (from 0) of those of `kinds` fails, and no other. A crash
    /// names it, and so does a hang of half a minute, which ends the program. With `memoryLater`
    /// calls for memory count from the first other call on.
    void fail(std::size_t index, unsigned kinds, bool memoryLater = false) noexcept;
    /// Calls do not count, and none fails, until the next resume() or fail().
    static void pause() noexcept;
    static void resume() noexcept;
    /// How many calls of that kind have counted since fail().
    static std::size_t calls(FaultKind kind) noexcept;
    /// Whether that call has been made.
    static bool happened() noexcept;
    /// All succeed again. Returns what has failed since fail().
    Fault succeed() noexcept;

    static HeldResources held() noexcept;

  private:
    class Watch;

    std::vector<std::unique_ptr<ImportPatch>> patches_;
    std::unique_ptr<Watch> watch_;
};

}  // namespace velmora::testing
