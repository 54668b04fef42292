#include "harness/failing_calls.h"

#include <process.h>
#include <winspool.h>

#include <aclapi.h>
#include <sddl.h>
#include <shlwapi.h>
#include <wincrypt.h>
#include <wininet.h>
#include <winver.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "harness/wininet/wininet_functions.h"

namespace velmora::testing {
namespace {

/// How a function reports a failure.
enum class Says { zero, code, invalidHandle, minusOne };

enum class Resource { none, key, handle, internet, printer, block };
constexpr std::size_t kResources = 6;

/// One function: how it fails, and what a call allocates or releases.
struct Function {
    const char* library;  ///< null: comes from GetProcAddress
    const char* name;
    unsigned kind;  ///< 0: never fails
    Says says;
    DWORD code;
    Resource resource = Resource::none;
    int change = 0;  ///< of what is held, after a success
};

std::atomic<bool> armed{false};
std::atomic<bool> paused{false};
std::atomic<bool> memorySleeps{false};
std::atomic<unsigned> failingKinds{0};
std::atomic<std::size_t> callsMade{0};
std::array<std::atomic<std::size_t>, kFaultKinds> callsOfKind{};
std::atomic<std::size_t> failingCall{0};
std::atomic<const Function*> failed{nullptr};
std::array<std::atomic<long>, kResources> held{};
std::atomic<long> threads{0};

/// Whether this is the call that fails.
bool fails(const Function& function) noexcept {
    if (!armed || paused || function.kind == 0) return false;
    if (function.kind != kMemoryFault) memorySleeps = false;
    if (memorySleeps) return false;
    ++callsOfKind[std::countr_zero(function.kind)];
    if ((function.kind & failingKinds) == 0) return false;
    if (callsMade++ != failingCall) return false;
    failed = &function;
    return true;
}

void count(const Function& function) noexcept {
    held[static_cast<std::size_t>(function.resource)] += function.change;
}

template <class Result>
Result failure(const Function& function) noexcept {
    if constexpr (std::is_integral_v<Result>) {
        if (function.says == Says::code) return static_cast<Result>(function.code);
        SetLastError(function.code);
        return function.says == Says::minusOne ? static_cast<Result>(-1) : Result{};
    } else {
        SetLastError(function.code);
        return function.says == Says::invalidHandle
                   ? reinterpret_cast<Result>(static_cast<std::intptr_t>(-1))
                   : Result{};
    }
}

template <class Result>
bool succeeded(const Function& function, Result result) noexcept {
    if constexpr (std::is_integral_v<Result>)
        return (function.says == Says::code) == (result == Result{});
    else
        return result != nullptr && reinterpret_cast<std::intptr_t>(result) != -1;
}

/// The name gives each function a type of its own.
template <std::size_t kSize>
struct Name {
    consteval Name(const char (&from)[kSize]) { std::copy_n(from, kSize, text); }
    char text[kSize];
};

template <Name kName, class Pointer>
struct Call;

template <Name kName, class Result, class... Arguments>
struct Call<kName, Result(WINAPI*)(Arguments...)> {
    inline static Function function{};
    inline static void* original = nullptr;

    static Result WINAPI make(Arguments... arguments) {
        if (fails(function)) return failure<Result>(function);
        const auto call = reinterpret_cast<Result(WINAPI*)(Arguments...)>(
            reinterpret_cast<std::intptr_t>(original));
        if constexpr (std::is_void_v<Result>) {
            call(arguments...);
        } else {
            const Result result = call(arguments...);
            if (function.resource != Resource::none && succeeded(function, result)) count(function);
            return result;
        }
    }
};

/// A function in the table of all functions.
struct Entry {
    Function* function;
    void** original;
    void (*replacement)();
};

template <Name kName, class Pointer>
Entry entry(const char* library, unsigned kind, Says says, DWORD code,
            Resource resource = Resource::none, int change = 1) {
    using This = Call<kName, Pointer>;
    static constexpr Name kText = kName;
    This::function = {library, kText.text, kind, says, code, resource, change};
    return {&This::function, &This::original, reinterpret_cast<void (*)()>(&This::make)};
}

// The C runtime's functions are not WINAPI, and whether they allocate or release a block depends on
// their arguments as well. All modules of the process share the runtime, so this program's
// functions are the module's too.

Function mallocFunction{"msvcrt.dll", "malloc", kMemoryFault, Says::zero, 0, Resource::block, 1};
Function callocFunction{"msvcrt.dll", "calloc", kMemoryFault, Says::zero, 0, Resource::block, 1};
Function reallocFunction{"msvcrt.dll", "realloc", kMemoryFault, Says::zero, 0, Resource::block, 1};
Function freeFunction{"msvcrt.dll", "free", 0, Says::zero, 0, Resource::block, -1};
Function threadFunction{
    "msvcrt.dll", "_beginthreadex", kThreadFault, Says::zero, 0, Resource::handle, 1};

Function openFunction{"msvcrt.dll", "fopen", kFileFault, Says::zero, 0};

bool failsWithErrno(const Function& function, int code) noexcept {
    if (!fails(function)) return false;
    errno = code;
    return true;
}

void* __cdecl failingMalloc(std::size_t size) {
    if (failsWithErrno(mallocFunction, ENOMEM)) return nullptr;
    void* const block = std::malloc(size);
    if (block != nullptr) count(mallocFunction);
    return block;
}

void* __cdecl failingCalloc(std::size_t number, std::size_t size) {
    if (failsWithErrno(callocFunction, ENOMEM)) return nullptr;
    void* const block = std::calloc(number, size);
    if (block != nullptr) count(callocFunction);
    return block;
}

void* __cdecl failingRealloc(void* block, std::size_t size) {
    if (failsWithErrno(reallocFunction, ENOMEM)) return nullptr;
    void* const moved = std::realloc(block, size);
    if (moved != nullptr && block == nullptr) count(reallocFunction);
    return moved;
}

std::FILE* __cdecl failingOpen(const char* path, const char* mode) {
    return failsWithErrno(openFunction, EMFILE) ? nullptr : std::fopen(path, mode);
}

void __cdecl countedFree(void* block) {
    if (block != nullptr) count(freeFunction);
    std::free(block);
}

std::uintptr_t __cdecl failingThread(void* security, unsigned stack,
                                     unsigned(__stdcall* body)(void*), void* argument,
                                     unsigned flags, unsigned* id) {
    if (failsWithErrno(threadFunction, EAGAIN)) return 0;
    ++threads;
    const std::uintptr_t thread = _beginthreadex(security, stack, body, argument, flags, id);
    if (thread != 0)
        count(threadFunction);
    else
        --threads;
    return thread;
}

/// The last call of a thread of the module.
void WINAPI countedThreadEnd(HMODULE library, DWORD code) {
    --threads;
    FreeLibraryAndExitThread(library, code);
}

template <class Replacement>
Entry runtimeEntry(Function& function, Replacement* replacement) {
    static void* unused = nullptr;
    return {&function, &unused, reinterpret_cast<void (*)()>(replacement)};
}

// The error codes are those of a machine in trouble.
std::vector<Entry> importedFunctions() {
    constexpr const char* kRegistry = "ADVAPI32.dll";
    constexpr const char* kKernel = "KERNEL32.dll";
    constexpr const char* kWinInet = "WININET.DLL";
    constexpr DWORD kScarce = ERROR_NO_SYSTEM_RESOURCES;
    using enum Says;
    return {
        runtimeEntry(mallocFunction, &failingMalloc),
        runtimeEntry(callocFunction, &failingCalloc),
        runtimeEntry(reallocFunction, &failingRealloc),
        runtimeEntry(freeFunction, &countedFree),
        runtimeEntry(threadFunction, &failingThread),

        entry<"OpenThreadToken", decltype(&::OpenThreadToken)>(
            kRegistry, kThreadFault, zero, ERROR_ACCESS_DENIED, Resource::handle),
        entry<"CreateTimerQueueTimer", decltype(&::CreateTimerQueueTimer)>(kKernel, kThreadFault,
                                                                           zero, kScarce),
        entry<"CreateEventA", decltype(&::CreateEventA)>(kKernel, kEventFault, zero, kScarce,
                                                         Resource::handle),
        entry<"CreateSemaphoreA", decltype(&::CreateSemaphoreA)>(kKernel, kEventFault, zero,
                                                                 kScarce, Resource::handle),
        entry<"CreateMutexA", decltype(&::CreateMutexA)>(kKernel, kEventFault, zero, kScarce,
                                                         Resource::handle),
        entry<"OpenEventA", decltype(&::OpenEventA)>(kKernel, kEventFault, zero, kScarce,
                                                     Resource::handle),
        entry<"CloseHandle", decltype(&::CloseHandle)>(kKernel, 0, zero, 0, Resource::handle, -1),

        entry<"RegOpenKeyExA", decltype(&::RegOpenKeyExA)>(kRegistry, kRegistryFault, code, kScarce,
                                                           Resource::key),
        entry<"RegCreateKeyA", decltype(&::RegCreateKeyA)>(kRegistry, kRegistryFault, code, kScarce,
                                                           Resource::key),
        entry<"RegCloseKey", decltype(&::RegCloseKey)>(kRegistry, 0, code, 0, Resource::key, -1),
        entry<"RegEnumKeyA", decltype(&::RegEnumKeyA)>(kRegistry, kRegistryFault, code, kScarce),
        entry<"RegEnumValueA", decltype(&::RegEnumValueA)>(kRegistry, kRegistryFault, code,
                                                           kScarce),
        entry<"RegQueryInfoKeyA", decltype(&::RegQueryInfoKeyA)>(kRegistry, kRegistryFault, code,
                                                                 kScarce),
        entry<"RegQueryValueExA", decltype(&::RegQueryValueExA)>(kRegistry, kRegistryFault, code,
                                                                 kScarce),
        entry<"RegSetValueExA", decltype(&::RegSetValueExA)>(kRegistry, kRegistryFault, code,
                                                             ERROR_REGISTRY_IO_FAILED),
        entry<"RegDeleteKeyA", decltype(&::RegDeleteKeyA)>(kRegistry, kRegistryFault, code,
                                                           ERROR_ACCESS_DENIED),
        entry<"RegDeleteValueA", decltype(&::RegDeleteValueA)>(kRegistry, kRegistryFault, code,
                                                               ERROR_ACCESS_DENIED),
        entry<"SHDeleteKeyA", decltype(&::SHDeleteKeyA)>("SHLWAPI.dll", kRegistryFault, code,
                                                         ERROR_ACCESS_DENIED),

        entry<"GetPrivateProfileStringA", decltype(&::GetPrivateProfileStringA)>(
            kKernel, kFileFault, zero, ERROR_SHARING_VIOLATION),
        entry<"WritePrivateProfileStringA", decltype(&::WritePrivateProfileStringA)>(
            kKernel, kFileFault, zero, ERROR_DISK_FULL),
        entry<"GetSystemDirectoryA", decltype(&::GetSystemDirectoryA)>(kKernel, kFileFault, zero,
                                                                       ERROR_NOT_ENOUGH_MEMORY),
        entry<"ConvertStringSecurityDescriptorToSecurityDescriptorA",
              decltype(&::ConvertStringSecurityDescriptorToSecurityDescriptorA)>(
            kRegistry, kFileFault, zero, ERROR_NOT_ENOUGH_MEMORY),
        entry<"CreateDirectoryA", decltype(&::CreateDirectoryA)>(kKernel, kFileFault, zero,
                                                                 ERROR_DISK_FULL),
        entry<"CreateFileA", decltype(&::CreateFileA)>(kKernel, kFileFault, invalidHandle,
                                                       ERROR_TOO_MANY_OPEN_FILES, Resource::handle),
        entry<"GetFileAttributesA", decltype(&::GetFileAttributesA)>(kKernel, kFileFault, minusOne,
                                                                     ERROR_ACCESS_DENIED),
        entry<"GetFileSizeEx", decltype(&::GetFileSizeEx)>(kKernel, kFileFault, zero, kScarce),
        entry<"ReadFile", decltype(&::ReadFile)>(kKernel, kFileFault, zero, ERROR_CRC),
        entry<"WriteFile", decltype(&::WriteFile)>(kKernel, kFileFault, zero, ERROR_DISK_FULL),
        entry<"SetEndOfFile", decltype(&::SetEndOfFile)>(kKernel, kFileFault, zero,
                                                         ERROR_DISK_FULL),
        entry<"SetFilePointerEx", decltype(&::SetFilePointerEx)>(kKernel, kFileFault, zero,
                                                                 kScarce),
        entry<"MoveFileExA", decltype(&::MoveFileExA)>(kKernel, kFileFault, zero,
                                                       ERROR_SHARING_VIOLATION),
        // The event log is a file too.
        entry<"RegisterEventSourceA", decltype(&::RegisterEventSourceA)>(
            kRegistry, kFileFault, zero, RPC_S_SERVER_UNAVAILABLE),
        entry<"ReportEventW", decltype(&::ReportEventW)>(kRegistry, kFileFault, zero,
                                                         ERROR_LOG_FILE_FULL),

        entry<"InternetOpenA", decltype(&::InternetOpenA)>(kWinInet, kInternetFault, zero, kScarce,
                                                           Resource::internet),
        entry<"InternetConnectA", decltype(&::InternetConnectA)>(
            kWinInet, kInternetFault, zero, ERROR_INTERNET_CANNOT_CONNECT, Resource::internet),
        entry<"HttpOpenRequestA", decltype(&::HttpOpenRequestA)>(
            kWinInet, kInternetFault, zero, ERROR_INTERNET_OUT_OF_HANDLES, Resource::internet),
        entry<"InternetCloseHandle", decltype(&::InternetCloseHandle)>(kWinInet, 0, zero, 0,
                                                                       Resource::internet, -1),
        entry<"InternetCrackUrlA", decltype(&::InternetCrackUrlA)>(kWinInet, kInternetFault, zero,
                                                                   ERROR_NOT_ENOUGH_MEMORY),
        entry<"HttpAddRequestHeadersA", decltype(&::HttpAddRequestHeadersA)>(
            kWinInet, kInternetFault, zero, ERROR_NOT_ENOUGH_MEMORY),
        entry<"HttpSendRequestExA", decltype(&::HttpSendRequestExA)>(kWinInet, kInternetFault, zero,
                                                                     ERROR_INTERNET_CANNOT_CONNECT),
        entry<"InternetWriteFile", decltype(&::InternetWriteFile)>(kWinInet, kInternetFault, zero,
                                                                   ERROR_INTERNET_CONNECTION_RESET),
        entry<"HttpEndRequestA", decltype(&::HttpEndRequestA)>(kWinInet, kInternetFault, zero,
                                                               ERROR_INTERNET_TIMEOUT),
        entry<"HttpQueryInfoA", decltype(&::HttpQueryInfoA)>(kWinInet, kInternetFault, zero,
                                                             ERROR_HTTP_HEADER_NOT_FOUND),
        entry<"InternetQueryDataAvailable", decltype(&::InternetQueryDataAvailable)>(
            kWinInet, kInternetFault, zero, ERROR_INTERNET_CONNECTION_RESET),
        entry<"InternetReadFile", decltype(&::InternetReadFile)>(kWinInet, kInternetFault, zero,
                                                                 ERROR_INTERNET_CONNECTION_RESET),
        entry<"InternetSetOptionA", decltype(&::InternetSetOptionA)>(kWinInet, kInternetFault, zero,
                                                                     ERROR_INTERNET_INVALID_OPTION),
    };
}

/// Those that the administration tool imports beyond the library's.
std::vector<Entry> toolFunctions() {
    constexpr const char* kRegistry = "ADVAPI32.dll";
    constexpr const char* kKernel = "KERNEL32.dll";
    constexpr const char* kSpooler = "WINSPOOL.DRV";
    constexpr const char* kWinInet = "WININET.DLL";
    constexpr const char* kCertificates = "CRYPT32.dll";
    constexpr DWORD kScarce = ERROR_NO_SYSTEM_RESOURCES;
    constexpr DWORD kGone = RPC_S_SERVER_UNAVAILABLE;
    using enum Says;
    return {
        runtimeEntry(openFunction, &failingOpen),

        entry<"CopyFileA", decltype(&::CopyFileA)>(kKernel, kFileFault, zero, ERROR_DISK_FULL),
        entry<"DeleteFileA", decltype(&::DeleteFileA)>(kKernel, kFileFault, zero,
                                                       ERROR_ACCESS_DENIED),
        entry<"FindFirstFileA", decltype(&::FindFirstFileA)>(kKernel, kFileFault, invalidHandle,
                                                             ERROR_ACCESS_DENIED),
        entry<"FlushFileBuffers", decltype(&::FlushFileBuffers)>(kKernel, kFileFault, zero,
                                                                 ERROR_DISK_FULL),
        entry<"GetPrivateProfileSectionA", decltype(&::GetPrivateProfileSectionA)>(
            kKernel, kFileFault, zero, ERROR_SHARING_VIOLATION),
        entry<"MoveFileA", decltype(&::MoveFileA)>(kKernel, kFileFault, zero, ERROR_ACCESS_DENIED),
        entry<"GetFileVersionInfoA", decltype(&::GetFileVersionInfoA)>("VERSION.dll", kFileFault,
                                                                       zero, kScarce),
        entry<"OpenProcessToken", decltype(&::OpenProcessToken)>(
            kRegistry, kThreadFault, zero, ERROR_ACCESS_DENIED, Resource::handle),
        entry<"GetTokenInformation", decltype(&::GetTokenInformation)>(kRegistry, kThreadFault,
                                                                       zero, kScarce),
        entry<"ConvertSidToStringSidA", decltype(&::ConvertSidToStringSidA)>(
            kRegistry, kFileFault, zero, ERROR_NOT_ENOUGH_MEMORY),

        entry<"RegCreateKeyExA", decltype(&::RegCreateKeyExA)>(kRegistry, kRegistryFault, code,
                                                               kScarce, Resource::key),
        entry<"GetSecurityInfo", decltype(&::GetSecurityInfo)>(kRegistry, kRegistryFault, code,
                                                               ERROR_ACCESS_DENIED),
        entry<"SetSecurityInfo", decltype(&::SetSecurityInfo)>(kRegistry, kRegistryFault, code,
                                                               ERROR_ACCESS_DENIED),

        entry<"AddMonitorA", decltype(&::AddMonitorA)>(kSpooler, kSpoolerFault, zero, kGone),
        entry<"AddPrinterA", decltype(&::AddPrinterA)>(kSpooler, kSpoolerFault, zero, kGone,
                                                       Resource::printer),
        entry<"DeleteMonitorA", decltype(&::DeleteMonitorA)>(kSpooler, kSpoolerFault, zero, kGone),
        entry<"DeletePrinter", decltype(&::DeletePrinter)>(kSpooler, kSpoolerFault, zero, kGone),
        entry<"EndDocPrinter", decltype(&::EndDocPrinter)>(kSpooler, kSpoolerFault, zero, kGone),
        entry<"EnumJobsA", decltype(&::EnumJobsA)>(kSpooler, kSpoolerFault, zero, kGone),
        entry<"EnumMonitorsA", decltype(&::EnumMonitorsA)>(kSpooler, kSpoolerFault, zero, kGone),
        entry<"EnumPrinterDriversA", decltype(&::EnumPrinterDriversA)>(kSpooler, kSpoolerFault,
                                                                       zero, kGone),
        entry<"EnumPrintersA", decltype(&::EnumPrintersA)>(kSpooler, kSpoolerFault, zero, kGone),
        entry<"GetPrinterA", decltype(&::GetPrinterA)>(kSpooler, kSpoolerFault, zero, kGone),
        entry<"OpenPrinterA", decltype(&::OpenPrinterA)>(kSpooler, kSpoolerFault, zero, kGone,
                                                         Resource::printer),
        entry<"ClosePrinter", decltype(&::ClosePrinter)>(kSpooler, 0, zero, 0, Resource::printer,
                                                         -1),
        entry<"SetPrinterA", decltype(&::SetPrinterA)>(kSpooler, kSpoolerFault, zero, kGone),
        entry<"StartDocPrinterA", decltype(&::StartDocPrinterA)>(kSpooler, kSpoolerFault, zero,
                                                                 kGone),
        entry<"WritePrinter", decltype(&::WritePrinter)>(kSpooler, kSpoolerFault, zero, kGone),

        entry<"HttpSendRequestA", decltype(&::HttpSendRequestA)>(kWinInet, kInternetFault, zero,
                                                                 ERROR_INTERNET_CANNOT_CONNECT),
        entry<"InternetQueryOptionA", decltype(&::InternetQueryOptionA)>(
            kWinInet, kInternetFault, zero, ERROR_INTERNET_INVALID_OPTION),
        entry<"CertOpenStore", decltype(&::CertOpenStore)>(kCertificates, kRegistryFault, zero,
                                                           ERROR_ACCESS_DENIED),
    };
}

/// The functions that GetProcAddress returns.
const std::vector<Entry>& spoolerFunctions() {
    using enum Says;
    constexpr DWORD kGone = RPC_S_SERVER_UNAVAILABLE;
    static const std::vector<Entry> entries{
        entry<"OpenPrinterA", decltype(&::OpenPrinterA)>(nullptr, kSpoolerFault, zero, kGone,
                                                         Resource::printer),
        entry<"ClosePrinter", decltype(&::ClosePrinter)>(nullptr, 0, zero, 0, Resource::printer,
                                                         -1),
        entry<"SetJobA", decltype(&::SetJobA)>(nullptr, kSpoolerFault, zero, kGone),
        entry<"EnumPortsA", decltype(&::EnumPortsA)>(nullptr, kSpoolerFault, zero, kGone),
        entry<"XcvDataW", decltype(&::XcvDataW)>(nullptr, kSpoolerFault, zero, kGone),
    };
    return entries;
}

FARPROC WINAPI namedFunction(HMODULE library, const char* name) {
    const FARPROC found = GetProcAddress(library, name);
    if (found == nullptr || reinterpret_cast<std::uintptr_t>(name) <= 0xFFFF) return found;
    for (const Entry& entry : spoolerFunctions()) {
        if (std::strcmp(entry.function->name, name) != 0) continue;
        *entry.original = reinterpret_cast<void*>(found);
        return reinterpret_cast<FARPROC>(entry.replacement);
    }
    return found;
}

void tellPlace(const char* what) noexcept {
    const Function* const function = failed;
    std::fprintf(stderr, "%s after call number %zu failed: %s\n", what, failingCall.load(),
                 function == nullptr ? "(not reached)" : function->name);
    std::fflush(stderr);
}

void __cdecl tellEnd(int) {
    tellPlace("end of the program");
    std::_Exit(3);
}

LONG WINAPI tellCrash(EXCEPTION_POINTERS*) {
    tellPlace("crash");
    std::_Exit(3);
}

}  // namespace

const char* nameOf(FaultKind kind) noexcept {
    constexpr const char* kNames[kFaultKinds] = {"memory", "thread",   "event",  "registry",
                                                 "file",   "internet", "spooler"};
    return kNames[std::countr_zero(static_cast<unsigned>(kind))];
}

std::string shown(const HeldResources& held) {
    return std::to_string(held.keys) + " keys, " + std::to_string(held.handles) + " handles, " +
           std::to_string(held.internet) + " of WinInet, " + std::to_string(held.printers) +
           " printers, " + std::to_string(held.blocks) + " blocks, " +
           std::to_string(held.threads) + " threads";
}

/// Ends the program when the same call has been the failing one for too long.
class FailingCalls::Watch {
  public:
    Watch() : thread_([this] { watch(); }) {}
    ~Watch() {
        {
            const std::lock_guard lock(mutex_);
            done_ = true;
        }
        wake_.notify_all();
        thread_.join();
    }
    void begin() {
        const std::lock_guard lock(mutex_);
        ++turn_;
    }

  private:
    void watch() {
        // Longer than any wait of the product's own, also on a busy machine.
        constexpr int kSeconds = 100;
        std::unique_lock lock(mutex_);
        unsigned turn = turn_;
        for (int seconds = 0; !done_;) {
            wake_.wait_for(lock, std::chrono::seconds(1));
            seconds = !armed || turn != turn_ ? 0 : seconds + 1;
            turn = turn_;
            if (seconds < kSeconds) continue;
            tellPlace("hang");
            std::_Exit(3);
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    bool done_ = false;
    unsigned turn_ = 0;
    std::thread thread_;
};

FailingCalls::FailingCalls(HMODULE module, Caller caller) : watch_(std::make_unique<Watch>()) {
    SetUnhandledExceptionFilter(&tellCrash);
    std::signal(SIGABRT, &tellEnd);
    const auto patch = [&](const Entry& entry) {
        patches_.push_back(std::make_unique<ImportPatch>(entry.function->library,
                                                         entry.function->name, entry.replacement,
                                                         module, entry.original));
    };
    for (const Entry& entry : importedFunctions()) {
        try {
            patch(entry);
        } catch (const std::runtime_error&) {
            if (caller == Caller::library) throw;
        }
    }
    if (caller == Caller::tool) std::ranges::for_each(toolFunctions(), patch);
    patches_.push_back(std::make_unique<ImportPatch>(
        "KERNEL32.dll", "GetProcAddress", reinterpret_cast<void (*)()>(&namedFunction), module));
    patches_.push_back(
        std::make_unique<ImportPatch>("KERNEL32.dll", "FreeLibraryAndExitThread",
                                      reinterpret_cast<void (*)()>(&countedThreadEnd), module));
}

FailingCalls::~FailingCalls() {
    armed = false;
}

void FailingCalls::fail(std::size_t index, unsigned kinds, bool memoryLater) noexcept {
    callsMade = 0;
    for (std::atomic<std::size_t>& calls : callsOfKind)
        calls = 0;
    failingCall = index;
    failingKinds = kinds;
    failed = nullptr;
    paused = false;
    memorySleeps = memoryLater;
    watch_->begin();
    armed = true;
}

void FailingCalls::pause() noexcept {
    paused = true;
}

void FailingCalls::resume() noexcept {
    paused = false;
}

std::size_t FailingCalls::calls(FaultKind kind) noexcept {
    return callsOfKind[std::countr_zero(static_cast<unsigned>(kind))];
}

bool FailingCalls::happened() noexcept {
    return failed != nullptr;
}

FailingCalls::Fault FailingCalls::succeed() noexcept {
    armed = false;
    const Function* const function = failed;
    if (function == nullptr) return {};
    return {function->name, static_cast<FaultKind>(function->kind), function->code};
}

HeldResources FailingCalls::held() noexcept {
    const auto count = [](Resource resource) {
        return velmora::testing::held[static_cast<std::size_t>(resource)].load();
    };
    return {count(Resource::key),     count(Resource::handle), count(Resource::internet),
            count(Resource::printer), count(Resource::block),  threads};
}

}  // namespace velmora::testing
