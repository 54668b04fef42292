// The built library loaded, initialised and unloaded, as the shell and the spooler do throughout
// their lives: it must not use up anything of the process.
#include <windows.h>

#include <winspool.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "harness/process_resources.h"
#include "harness/wininet/import_patch.h"
#include "harness/wininet/instant_printers.h"
#include "harness/winspool/fake_spooler.h"

namespace velmora::testing {
namespace {

constexpr int kWarmUp = 100;
// A slot, a handle or two kilobytes leaked in each round would be far above the limits below.
constexpr int kRounds = 1000;
constexpr std::size_t kBytes = 1 << 20;

/// VELMORA_LOAD_ROUNDS overrides `usual` (tools/soak-loads).
int roundsOr(int usual) {
    const char* const text = std::getenv("VELMORA_LOAD_ROUNDS");
    return text == nullptr ? usual : std::atoi(text);
}

/// A library of its own for every round: gone from the process at its end.
class LoadedDll {
  public:
    LoadedDll() : module_(LoadLibraryA("Velmora.dll")) {}
    ~LoadedDll() { FreeLibrary(module_); }
    LoadedDll(const LoadedDll&) = delete;
    LoadedDll& operator=(const LoadedDll&) = delete;

    HMODULE module() const { return module_; }
    template <class Function>
    Function symbol(const char* name) const {
        return reinterpret_cast<Function>(
            reinterpret_cast<void (*)()>(GetProcAddress(module_, name)));
    }
    Table monitor2() const {
        return {symbol<const void*(WINAPI*)(void*, HANDLE*)>("InitializePrintMonitor2")(nullptr,
                                                                                        nullptr),
                1};
    }

  private:
    HMODULE module_;
};

class LoadUnload : public CleanStateTest {
  protected:
    /// The libraries that it imports stay loaded, as in the shell and in the spooler.
    void SetUp() override {
        CleanStateTest::SetUp();
        for (const char* library : {"advapi32.dll", "comctl32.dll", "gdi32.dll", "shlwapi.dll",
                                    "user32.dll", "wininet.dll", "winspool.drv", "ws2_32.dll"})
            ASSERT_NE(LoadLibraryA(library), nullptr) << library;
    }

    template <class Round>
    void expectNothingUsedUp(int rounds, Round round) {
        for (int i = 0; i < kWarmUp; ++i)
            round();
        ASSERT_EQ(GetModuleHandleA("Velmora.dll"), nullptr) << "the library was never unloaded";
        const ProcessResources before = processResources();
        for (int i = 0; i < rounds; ++i)
            round();
        ProcessResources after = processResources();
        // A thread that has released the library may still be ending, and keeps its stack until
        // then.
        for (int i = 0; i < 1000 && after.bytes > before.bytes + kBytes; ++i) {
            SleepEx(10, FALSE);
            after = processResources();
        }
        EXPECT_LE(after.slot, before.slot + 8);
        EXPECT_LE(after.handles, before.handles + 64);
        EXPECT_LE(after.bytes, before.bytes + kBytes);
        std::printf("%s, %d rounds: %+d TLS slots, %+d handles, %+d KiB\n",
                    ::testing::UnitTest::GetInstance()->current_test_info()->name(), rounds,
                    static_cast<int>(after.slot - before.slot),
                    static_cast<int>(after.handles - before.handles),
                    static_cast<int>(after.bytes - before.bytes) / 1024);
        ASSERT_EQ(GetModuleHandleA("Velmora.dll"), nullptr);
    }
};

TEST_F(LoadUnload, WithTheInitialiserOfTheInterface) {
    expectNothingUsedUp(roundsOr(kRounds), [] {
        const LoadedDll dll;
        ASSERT_NE(dll.symbol<const void*(WINAPI*)()>("InitializePrintMonitorUI")(), nullptr);
    });
}

TEST_F(LoadUnload, WithTheInitialiserOfTheXcvGeneration) {
    writeRegistryBinary(kDefaultMonitorKey + "\\Ports", "P", defaultRecord("P"));
    expectNothingUsedUp(roundsOr(kRounds), [] {
        const LoadedDll dll;
        HANDLE port = nullptr;
        ASSERT_TRUE(dll.monitor2().entry<OpenPort2Entry>(2)(nullptr, L"P", &port));
    });
}

TEST_F(LoadUnload, WithTheInitialiserOfTheUnicodeGeneration) {
    writeRegistryBinary(kDefaultMonitorKey + "\\Ports", "P", defaultRecord("P"));
    expectNothingUsedUp(roundsOr(kRounds), [] {
        const LoadedDll dll;
        const Table table{
            dll.symbol<const void*(WINAPI*)(wchar_t*)>("InitializePrintMonitor")(nullptr), 1};
        HANDLE port = nullptr;
        ASSERT_TRUE(table.entry<OpenPortWEntry>(2)(L"P", &port));
    });
}

TEST_F(LoadUnload, WithTheInitialiserOfTheAnsiGeneration) {
    writeRegistryBinary(kDefaultMonitorKey + "\\Ports", "P", defaultRecord("P"));
    expectNothingUsedUp(roundsOr(kRounds), [] {
        const LoadedDll dll;
        const void* storage[BuiltDll::kAnsiSlots] = {};
        ASSERT_TRUE(dll.symbol<BOOL(WINAPI*)(const char*, const void**)>("InitializeMonitorEx")(
            nullptr, storage));
        HANDLE port = nullptr;
        ASSERT_TRUE(Table(storage, 0).entry<OpenPortAEntry>(2)("P", &port));
    });
}

// What a throw allocated for a thread of the caller is freed at the thread's end and at unloading,
// and so is the reserve memory for throwing.
using DeletePortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);

/// Fails by an exception inside the library: there is no such monitor.
DWORD WINAPI throwInside(void* deletePortUi) {
    return reinterpret_cast<DeletePortUiEntry>(deletePortUi)(nullptr, nullptr, L"Unknown");
}

TEST_F(LoadUnload, WithThrowsInThreadsThatEndAndInOneThatLives) {
    expectNothingUsedUp(roundsOr(kRounds), [] {
        const LoadedDll dll;
        const Table table(dll.symbol<const void*(WINAPI*)()>("InitializePrintMonitorUI")(), 1);
        void* const entry = const_cast<void*>(table.slot(3));
        ASSERT_EQ(throwInside(entry), 0u);
        const HANDLE thread = CreateThread(nullptr, 0, throwInside, entry, 0, nullptr);
        WaitForSingleObject(thread, INFINITE);
        DWORD result = 1;
        ASSERT_TRUE(GetExitCodeThread(thread, &result));
        CloseHandle(thread);
        ASSERT_EQ(result, 0u);
    });
}

// The process's other libraries may use all of them.
TEST_F(LoadUnload, WithoutAnyTlsSlot) {
    std::vector<DWORD> slots;
    for (DWORD slot = TlsAlloc(); slot != TLS_OUT_OF_INDEXES; slot = TlsAlloc())
        slots.push_back(slot);
    {
        const LoadedDll dll;
        ASSERT_NE(dll.module(), nullptr);
        const Table table(dll.symbol<const void*(WINAPI*)()>("InitializePrintMonitorUI")(), 1);
        EXPECT_EQ(throwInside(const_cast<void*>(table.slot(3))), 0u);
        HANDLE port = nullptr;
        EXPECT_FALSE(dll.monitor2().entry<OpenPort2Entry>(2)(nullptr, L"P", &port));
    }
    EXPECT_EQ(TlsAlloc(), TLS_OUT_OF_INDEXES);
    EXPECT_GT(slots.size(), 100u);
    for (const DWORD slot : slots)
        TlsFree(slot);
}

/// Jobs to one printer and to four, none of which exists.
class LoadUnloadWithJobs : public LoadUnload {
  protected:
    void SetUp() override {
        // Before anything loads a library of these names.
        printers_.emplace();
        spooler_.emplace();
        LoadUnload::SetUp();
        Bytes directory = Bytes().u32(5).u32(1).u32(0).text("All groups").u32(0);
        for (unsigned id = 2; id < 6; ++id) {
            const std::string url = "ipp://localhost/" + std::to_string(id);
            directory.u32(id).u32(1).text(url).u32(1).text(url).u8(0).text("").text("");
        }
        const LoadedDll dll;
        xcv_ = dll.monitor2().entry<XcvDataPortEntry>(16);
        send(L"SetGroupsDB", directory.u32(0).data());
        addPort('Q', Bytes().u8(0).text("").u8(0).text("").text("").u32(1).u32(1).data());
        addPort('S', Bytes().u8(1).text("ipp://localhost/s").u8(0).text("").text("").u32(0).data());
    }

    void expectJobsToUseNothingUp(const wchar_t* port, int printers) {
        expectJobsToUseNothingUp(port, printers, roundsOr(200));
    }
    void expectJobsToUseNothingUp(const wchar_t* port, int printers, int rounds) {
        expectNothingUsedUp(rounds, [port] {
            {
                const LoadedDll dll;
                const NoPauses pauses(dll.module());
                const Table table = dll.monitor2();
                HANDLE handle = nullptr;
                ASSERT_TRUE(table.entry<OpenPort2Entry>(2)(nullptr, port, &handle));
                wchar_t name[] = L"Report";
                DOC_INFO_1W document{name, nullptr, nullptr};
                BYTE data[1500] = {};
                DWORD written = 0;
                using StartDoc = BOOL(WINAPI*)(HANDLE, void*, DWORD, DWORD, BYTE*);
                ASSERT_TRUE(table.entry<StartDoc>(4)(handle, nullptr, 0, 1,
                                                     reinterpret_cast<BYTE*>(&document)));
                ASSERT_TRUE(table.entry<PortTransfer>(5)(handle, data, sizeof data, &written));
                ASSERT_TRUE(table.entry<PortCall>(7)(handle));
            }
            // The workers hold the library until their last step.
            while (GetModuleHandleA("Velmora.dll") != nullptr)
                SleepEx(1, FALSE);
        });
        EXPECT_EQ(InstantPrinters::openHandles(), 0);
        EXPECT_EQ(InstantPrinters::requests(), (kWarmUp + rounds) * printers * 2);
    }

  private:
    void send(const wchar_t* command, const std::vector<std::byte>& input) {
        ASSERT_EQ(xcv_(nullptr, command, input.data(), static_cast<DWORD>(input.size()), nullptr, 0,
                       nullptr),
                  0u);
    }
    /// `target`: the record's fields after the name, up to the groups.
    void addPort(char name, const std::vector<std::byte>& target) {
        const wchar_t wide[] = {static_cast<wchar_t>(name), L'\0'};
        ASSERT_EQ(xcv_(nullptr, L"AddPort", wide, sizeof wide, nullptr, 0, nullptr), 0u);
        const std::string text(1, name);
        std::vector<std::byte> record = Bytes().text(text).data();
        record.insert(record.end(), target.begin(), target.end());
        const std::vector<std::byte> defaults = defaultRecord(text);
        const std::size_t jobTemplate = text.size() + 1 + 1 + 1 + 1 + 1 + 1 + 4;
        record.insert(record.end(), defaults.begin() + static_cast<std::ptrdiff_t>(jobTemplate),
                      defaults.end());
        send(L"ConfigPort", record);
    }

    std::optional<InstantPrinters> printers_;
    std::optional<FakeSpooler> spooler_;
    XcvDataPortEntry xcv_ = nullptr;
};

TEST_F(LoadUnloadWithJobs, ToFourPrintersInBetween) {
    expectJobsToUseNothingUp(L"Q", 4);
}

// The library is released while its writer still has a job's line to write, which is written all
// the same.
TEST_F(LoadUnloadWithJobs, ToOnePrinterThatAreRecorded) {
    namespace fs = std::filesystem;
    char system[MAX_PATH] = {};
    GetSystemDirectoryA(system, MAX_PATH);
    const fs::path record = fs::path(system) / "spool" / "Velmora";
    fs::remove_all(record);
    for (const char* value : {"CloseConnections", "DeliveryRecord"})
        writeRegistryRaw(kDefaultMonitorKey + "\\Policy", value, REG_DWORD, Bytes().u32(1).data());
    constexpr int kRecorded = 50;
    expectJobsToUseNothingUp(L"S", 1, kRecorded);
    std::ifstream file(record / "deliveries.jsonl");
    int accepted = 0;
    for (std::string line; std::getline(file, line);)
        accepted += line.ends_with("}") && line.find("\"accepted\"") != std::string::npos;
    EXPECT_EQ(accepted, kWarmUp + kRecorded);
    file.close();
    fs::remove_all(record);
}

// Without the policy the connection of such a job stays open on purpose.
TEST_F(LoadUnloadWithJobs, ToOnePrinterInBetween) {
    writeRegistryRaw(kDefaultMonitorKey + "\\Policy", "CloseConnections", REG_DWORD,
                     Bytes().u32(1).data());
    expectJobsToUseNothingUp(L"S", 1);
}

}  // namespace
}  // namespace velmora::testing
