// Every entry that shows no dialog, when memory fails.
#include "tests/contract/no_memory.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <thread>

namespace velmora::testing {
namespace {

constexpr std::span<const std::size_t> kFew(kLengths, 3);
constexpr std::span<const std::size_t> kMany(kLengths + 3, 3);

TEST_F(NoMemory, Initialisers) {
    HANDLE port = nullptr;
    atEveryAllocation([&](bool) { return dll_.ui().slot(1) != nullptr; });
    atEveryAllocation([&](bool memoryFails) {
        const Table table = dll_.monitor2();
        return table.entry<OpenPort2Entry>(2)(nullptr, L"One", &port) || memoryFails;
    });
    atEveryAllocation([&](bool memoryFails) {
        const Table table = dll_.monitorEx();
        return table.entry<OpenPortWEntry>(2)(L"One", &port) || memoryFails;
    });
    atEveryAllocation([&](bool memoryFails) {
        const Table table = dll_.monitorAnsi(storage_);
        return table.entry<OpenPortAEntry>(2)("One", &port) || memoryFails;
    });
}

TEST_F(NoMemory, Enumeration) {
    BYTE area[4096];
    for (const DWORD level : {1, 2}) {
        const auto check = [&](BOOL result, DWORD returned, bool memoryFails) {
            return result ? returned == 2 : memoryFails;
        };
        atEveryAllocation([&](bool memoryFails) {
            DWORD needed = 0, returned = 0;
            const BOOL result = monitor2_.entry<EnumPorts2Entry>(1)(
                nullptr, nullptr, level, area, sizeof area, &needed, &returned);
            return check(result, returned, memoryFails);
        });
        atEveryAllocation([&](bool memoryFails) {
            DWORD needed = 0, returned = 0;
            const BOOL result = monitorEx_.entry<EnumPortsWEntry>(1)(
                nullptr, level, area, sizeof area, &needed, &returned);
            return check(result, returned, memoryFails);
        });
        atEveryAllocation([&](bool memoryFails) {
            DWORD needed = 0, returned = 0;
            const BOOL result = ansi_.entry<EnumPortsAEntry>(1)(nullptr, level, area, sizeof area,
                                                                &needed, &returned);
            return check(result, returned, memoryFails);
        });
    }
}

TEST_F(NoMemory, OpeningAndTheEntriesThatDoNothing) {
    const std::wstring wideName = L"A port whose name is too long to be kept inside an object";
    const std::string name(wideName.begin(), wideName.end());
    ASSERT_EQ(xcv(monitor2_, L"AddPort", wide(wideName)), 0u);
    HANDLE port = nullptr;
    atEveryAllocation([&](bool memoryFails) {
        return monitor2_.entry<OpenPort2Entry>(2)(nullptr, wideName.c_str(), &port) || memoryFails;
    });
    atEveryAllocation([&](bool memoryFails) {
        return monitorEx_.entry<OpenPortWEntry>(2)(wideName.c_str(), &port) || memoryFails;
    });
    atEveryAllocation([&](bool memoryFails) {
        return monitorEx_.entry<OpenPortExWEntry>(3)(wideName.c_str(), nullptr, &port, nullptr) ||
               memoryFails;
    });
    atEveryAllocation([&](bool memoryFails) {
        return ansi_.entry<OpenPortAEntry>(2)(name.c_str(), &port) || memoryFails;
    });
    atEveryAllocation([&](bool) {
        DWORD read = 1;
        HANDLE handle = nullptr;
        using TimeOuts = BOOL(WINAPI*)(HANDLE, COMMTIMEOUTS*, DWORD);
        using PrinterData =
            BOOL(WINAPI*)(HANDLE, DWORD, wchar_t*, wchar_t*, DWORD, wchar_t*, DWORD, DWORD*);
        const auto noData = [](const Table& table, int slot) {
            return table.entry<PrinterData>(slot)(nullptr, 0, nullptr, nullptr, 0, nullptr, 0,
                                                  nullptr) == FALSE;
        };
        monitor2_.entry<void(WINAPI*)(HANDLE)>(18)(nullptr);
        return monitor2_.entry<PortTransfer>(6)(port, nullptr, 0, &read) && read == 0 &&
               monitor2_.entry<PortCall>(8)(port) && noData(monitor2_, 13) &&
               monitor2_.entry<TimeOuts>(14)(port, nullptr, 0) &&
               monitor2_.entry<XcvOpenPortEntry>(15)(nullptr, L"One", 1, &handle) &&
               monitor2_.entry<PortCall>(17)(handle) &&
               !monitorEx_.entry<PortTransfer>(6)(port, nullptr, 0, &read) &&
               monitorEx_.entry<PortCall>(8)(port) &&
               !monitorEx_.entry<TimeOuts>(14)(port, nullptr, 0) &&
               !ansi_.entry<PortTransfer>(6)(port, nullptr, 0, &read) &&
               ansi_.entry<PortCall>(8)(port) && noData(ansi_, 12) &&
               ansi_.entry<TimeOuts>(13)(port, nullptr, 0);
    });
}

TEST_F(NoMemory, XcvCommandsForPorts) {
    xcvAtEveryAllocation(L"MonitorUI", {}, 64);
    xcvAtEveryAllocation(L"GetConfigInfo", Bytes().text("One").data(), 1024);
    xcvAtEveryAllocation(L"ConfigPort", recordOf("One", "ipp://localhost/another"));
    xcvAtEveryAllocation(L"AddPort", wide(L"A port whose name is too long for an object"));
    xcvAtEveryAllocation(L"DeletePort", wide(L"A port whose name is too long for an object"));
    const DWORD unknown = xcv(monitor2_, L"NoSuchCommandWhateverItsName", {});
    EXPECT_EQ(unknown, static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST_F(NoMemory, XcvCommandsForTheDirectory) {
    xcvAtEveryAllocation(L"GetGroupsDB", {}, 4096);
    xcvAtEveryAllocation(L"SetGroupsDB", directoryOfFour());
}

TEST_F(NoMemory, DeletionByTheOlderGenerations) {
    const auto add = [&] { return xcv(monitor2_, L"AddPort", wide(L"A port that is deleted")); };
    atEveryAllocation([&](bool memoryFails) {
        if (!memoryFails) {
            EXPECT_EQ(add(), 0u);
        }
        return monitorEx_.entry<PortDialogW>(12)(nullptr, nullptr, L"A port that is deleted") ||
               memoryFails;
    });
    atEveryAllocation([&](bool memoryFails) {
        if (!memoryFails) {
            EXPECT_EQ(add(), 0u);
        }
        return ansi_.entry<PortDialogA>(11)(nullptr, nullptr, "A port that is deleted") ||
               memoryFails;
    });
    atEveryAllocation([&](bool memoryFails) {
        return dll_.ui().entry<PortUiEntry>(3)(nullptr, nullptr, L"A port that is deleted") ||
               memoryFails;
    });
}

TEST_F(NoMemory, JobToOnePrinter) {
    HANDLE port = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &port));
    ASSERT_TRUE(jobW(monitor2_, port)) << "nothing fails";
    atEveryAllocation([&](bool memoryFails) {
        const int before = InstantPrinters::requests();
        return jobW(monitor2_, port) ? InstantPrinters::requests() == before + 2 || memoryFails
                                     : memoryFails;
    });
}

// The record of deliveries and the event log are written as well, by their own thread.
TEST_F(NoMemory, JobThatIsRecorded) {
    for (const auto& [name, value] : {std::pair{"DeliveryRecord", 1u}, {"EventLog", 2u}})
        writeRegistryRaw(kDefaultMonitorKey + "\\Policy", name, REG_DWORD,
                         Bytes().u32(value).data());
    HANDLE port = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &port));
    ASSERT_TRUE(jobW(monitor2_, port)) << "nothing fails";
    atEveryAllocation([&](bool memoryFails) {
        const bool printed = jobW(monitor2_, port);
        // Shutdown: lines that gather are written while memory still fails.
        monitor2_.entry<void(WINAPI*)(HANDLE)>(18)(nullptr);
        return printed || memoryFails;
    });
}

TEST_F(NoMemory, JobOfTheAnsiGeneration) {
    HANDLE port = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &port));
    char name[] = "Report";
    atEveryAllocation(
        [&](bool memoryFails) { return job<DOC_INFO_1A>(ansi_, port, name) || memoryFails; });
}

// On each thread's first throw the runtime allocates what it keeps for that thread.
TEST_F(NoMemory, JobOnAFreshThread) {
    HANDLE port = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &port));
    atEveryAllocation([&](bool memoryFails) {
        bool result = false;
        std::thread([&] { result = jobW(monitorEx_, port); }).join();
        return result || memoryFails;
    });
}

/// With the policy of an installation.
class NoMemoryWithPolicy : public NoMemory {
  protected:
    void SetUp() override {
        NoMemory::SetUp();
        for (const auto& [name, value] : {std::pair{"AdministratorsOnly", 1u},
                                          {"StatedSizes", 1u},
                                          {"CloseConnections", 1u},
                                          {"FollowRedirects", 0u},
                                          {"ConnectTimeout", 30u},
                                          {"SendTimeout", 120u},
                                          {"ReceiveTimeout", 300u},
                                          {"PromptDelivery", 1u}})
            writeRegistryRaw(kDefaultMonitorKey + "\\Policy", name, REG_DWORD,
                             Bytes().u32(value).data());
        // If the policy cannot be read, the one that was read last applies.
        dll_.monitor2();
    }
};

TEST_F(NoMemoryWithPolicy, ChannelStaysClosedToOthersThanAdministrators) {
    const auto open = [&](ACCESS_MASK access) {
        HANDLE handle = nullptr;
        SetLastError(0);
        return monitor2_.entry<XcvOpenPortEntry>(15)(nullptr, L",XcvPort One", access, &handle);
    };
    atEveryAllocation([&](bool) { return !open(2) && GetLastError() == ERROR_ACCESS_DENIED; });
    atEveryAllocation([&](bool) { return open(1) != FALSE; });
}

TEST_F(NoMemoryWithPolicy, NoInputIsReadBeyondItsSize) {
    xcvAtEveryAllocation(L"GetConfigInfo", Bytes().text("One").data(), 1024);
    const Block open = Bytes().text("One and more").data();
    atEveryAllocation([&](bool memoryFails) {
        const DWORD result = monitor2_.entry<XcvDataPortEntry>(16)(
            nullptr, L"GetConfigInfo", open.data(), 3, nullptr, 0, nullptr);
        return result == ERROR_INVALID_PARAMETER ||
               (memoryFails && result == ERROR_NOT_ENOUGH_MEMORY);
    });
}

TEST_F(NoMemoryWithPolicy, JobToOnePrinter) {
    HANDLE port = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &port));
    ASSERT_TRUE(jobW(monitor2_, port)) << "nothing fails";
    const int open = InstantPrinters::openHandles();
    atEveryAllocation([&](bool memoryFails) {
        const bool printed = jobW(monitor2_, port);
        EXPECT_EQ(InstantPrinters::openHandles(), open) << "the connection is closed all the same";
        return printed || memoryFails;
    });
}

TEST_F(NoMemoryWithPolicy, JobToFourPrinters) {
    HANDLE port = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("Four", &port));
    ASSERT_TRUE(jobW(monitor2_, port)) << "nothing fails";
    atEveryAllocation([&](bool memoryFails) { return jobW(monitor2_, port) || memoryFails; },
                      kLengths, 5);
}

class NoMemoryForFourPrinters : public NoMemory {
  protected:
    void jobAtEveryAllocation(std::span<const std::size_t> lengths) {
        HANDLE port = nullptr;
        ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("Four", &port));
        const auto print = [&](bool memoryFails) {
            const int before = InstantPrinters::requests();
            const bool result = jobW(monitor2_, port);
            return memoryFails || (result && InstantPrinters::requests() == before + 8);
        };
        ASSERT_TRUE(print(false)) << "nothing fails";
        atEveryAllocation(print, lengths);
    }
};

TEST_F(NoMemoryForFourPrinters, JobWithFewFailures) {
    jobAtEveryAllocation(kFew);
}

TEST_F(NoMemoryForFourPrinters, JobWithManyFailures) {
    jobAtEveryAllocation(kMany);
}

// Other things that a system runs out of.

std::uintptr_t __cdecl noThread(void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned,
                                unsigned*) {
    errno = EAGAIN;
    return 0;
}

HANDLE WINAPI noObject(SECURITY_ATTRIBUTES*, LONG, LONG, const char*) {
    SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    return nullptr;
}

BOOL WINAPI noTimer(HANDLE*, HANDLE, WAITORTIMERCALLBACK, void*, DWORD, DWORD, ULONG) {
    SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    return FALSE;
}

TEST_F(NoMemoryWithPolicy, JobsEndWithoutThreadsEventsAndTimers) {
    HANDLE one = nullptr, four = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &one));
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("Four", &four));
    struct Case {
        const char* library;
        const char* function;
        void (*replacement)();
    };
    for (const Case& c :
         {Case{"msvcrt.dll", "_beginthreadex", reinterpret_cast<void (*)()>(&noThread)},
          Case{"KERNEL32.dll", "CreateEventA", reinterpret_cast<void (*)()>(&noObject)},
          Case{"KERNEL32.dll", "CreateSemaphoreA", reinterpret_cast<void (*)()>(&noObject)},
          Case{"KERNEL32.dll", "CreateTimerQueueTimer", reinterpret_cast<void (*)()>(&noTimer)}}) {
        SCOPED_TRACE(c.function);
        {
            const ImportPatch none(c.library, c.function, c.replacement, dll_.module());
            EXPECT_TRUE(jobW(monitor2_, one)) << "needs none of them";
            jobW(monitor2_, four);
            EXPECT_TRUE(monitor2_.entry<PortCall>(7)(four));
        }
        const int before = InstantPrinters::requests();
        EXPECT_TRUE(jobW(monitor2_, one));
        EXPECT_TRUE(jobW(monitor2_, four));
        EXPECT_EQ(InstantPrinters::requests(), before + 10);
    }
}

constexpr std::size_t kPainted = 512 * 1024;
constexpr unsigned char kPaint = 0xA5;

[[gnu::noinline]] void paintStack() {
    unsigned char area[kPainted];
    std::memset(area, kPaint, sizeof area);
    asm volatile("" : : "r"(area) : "memory");
}

/// How much of the stack below the caller has been written to since it was painted.
[[gnu::noinline]] std::size_t usedStack() {
    unsigned char area[kPainted];
    asm volatile("" : : "r"(area) : "memory");
    return kPainted - static_cast<std::size_t>(
                          std::find_if(area, area + kPainted,
                                       [](unsigned char byte) { return byte != kPaint; }) -
                          area);
}

// Some programs give their threads no more; under Wine a stack cannot be made that small.
TEST_F(NoMemoryWithPolicy, EntriesNeedNoMoreThanAStackOf64KiB) {
    HANDLE one = nullptr, four = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &one));
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("Four", &four));
    const auto expectLittleStack = [](const char* what, const std::function<bool()>& call) {
        paintStack();
        EXPECT_TRUE(call()) << what;
        const std::size_t used = usedStack();
        EXPECT_LE(used, 64u * 1024) << what;
        EXPECT_GT(used, 100u) << what;
        RecordProperty(what, static_cast<int>(used));
    };
    expectLittleStack("job-to-one", [&] { return jobW(monitor2_, one); });
    expectLittleStack("job-to-four", [&] { return jobW(monitor2_, four); });
    expectLittleStack("initialiser", [&] { return dll_.monitor2().slot(1) != nullptr; });
    Block directory(4096);
    expectLittleStack("reading",
                      [&] { return xcv(monitor2_, L"GetGroupsDB", Block(), &directory) == 0; });
    expectLittleStack("storing",
                      [&] { return xcv(monitor2_, L"SetGroupsDB", directoryOfFour()) == 0; });
    expectLittleStack("configuring", [&] {
        return xcv(monitor2_, L"ConfigPort", recordOf("One", "ipp://localhost/another")) == 0;
    });
}

}  // namespace
}  // namespace velmora::testing
