// The built library with memory that fails: from one allocation on for good, or a few in a row, at
// every place where a call allocates, the C++ runtime inside the library included. The process
// lives, the call reports what it is documented to report, and the same call succeeds once memory
// is back.
#include <windows.h>

#include <winspool.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/failing_memory.h"
#include "harness/packed_record.h"
#include "harness/wininet/import_patch.h"
#include "harness/wininet/instant_printers.h"
#include "harness/winspool/fake_spooler.h"

namespace velmora::testing {
namespace {

using StartDoc = BOOL(WINAPI*)(HANDLE, void*, DWORD, DWORD, BYTE*);
using PortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using PortDialogW = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using PortDialogA = BOOL(WINAPI*)(const char*, HWND, const char*);
using Block = std::vector<std::byte>;

/// How many allocations in a row fail.
constexpr std::size_t kLengths[] = {1, 2, 3, 4, 101, FailingMemory::kForEver};
constexpr std::span<const std::size_t> kFew(kLengths, 3);
constexpr std::span<const std::size_t> kMany(kLengths + 3, 3);

/// The record of a port that prints to the root group's printers, or to one URL.
Block recordOf(const std::string& name, const std::string& url) {
    const Block defaults = defaultRecord(name);
    Bytes front = Bytes().text(name).u8(url.empty() ? 0 : 1).text(url).u8(0).text("").text("");
    if (url.empty()) {
        front.u32(1).u32(1);
    } else {
        front.u32(0);
    }
    Block record = front.data();
    const std::size_t used = name.size() + 1 + 1 + 1 + 1 + 1 + 1 + 4;
    record.insert(record.end(), defaults.begin() + static_cast<std::ptrdiff_t>(used),
                  defaults.end());
    return record;
}

/// The root group and four printers below it.
Block directoryOfFour() {
    Bytes directory = Bytes().u32(5).u32(1).u32(0).text("All groups").u32(0);
    for (unsigned id = 2; id < 6; ++id) {
        const std::string url = "ipp://localhost/" + std::to_string(id);
        directory.u32(id).u32(1).text(url).u32(1).text(url).u8(0).text("").text("");
    }
    return directory.u32(0).data();
}

class NoMemory : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        writeSettingsFile("[Strings]\r\nPort Monitor Name=Velmora IPP\r\nAppRegKey=AppRegKey\r\n");
        const std::string ports = kDefaultMonitorKey + "\\Ports";
        writeRegistryBinary(ports, "One", recordOf("One", "ipp://localhost/one"));
        writeRegistryBinary(ports, "Four", recordOf("Four", ""));
        // The list that holds these ports; the tables are always the same.
        dll_.monitor2();
        const Block directory = directoryOfFour();
        ASSERT_EQ(xcv(monitor2_, L"SetGroupsDB", directory), 0u);
        spooler_->xcvRoute = monitor2_.entry<XcvRoute>(16);
    }

    /// Runs `call` with failures at every place, or at every `step`th; it gets whether memory may
    /// fail, and tells whether what the entry did is as documented. Then once more with all memory.
    void atEveryAllocation(const std::function<bool(bool memoryFails)>& call,
                           std::span<const std::size_t> lengths = kLengths, std::size_t step = 1) {
        for (const std::size_t length : lengths) {
            for (std::size_t index = length % step;; index += step) {
                SCOPED_TRACE(std::to_string(length) + " in a row from allocation " +
                             std::to_string(index));
                if (std::getenv("VELMORA_SHOW_ALLOCATIONS") != nullptr)
                    std::fprintf(stderr, "%zu from %zu\n", length, index);
                memory_.fail(index, length);
                const bool held = call(true);
                const bool untouched = memory_.succeed() == 0;
                ASSERT_TRUE(held);
                if (untouched) break;
                ASSERT_TRUE(call(false));
            }
        }
    }

    static DWORD xcv(const Table& table, const wchar_t* command, const Block& input,
                     Block* output = nullptr) {
        DWORD needed = 0;
        return table.entry<XcvDataPortEntry>(16)(
            nullptr, command, input.data(), static_cast<DWORD>(input.size()),
            output == nullptr ? nullptr : output->data(),
            output == nullptr ? 0 : static_cast<DWORD>(output->size()), &needed);
    }
    static Block wide(const std::wstring& text) {
        const auto* bytes = reinterpret_cast<const std::byte*>(text.c_str());
        return Block(bytes, bytes + 2 * text.size() + 2);
    }
    void xcvAtEveryAllocation(const wchar_t* command, const Block& input, std::size_t area = 0) {
        atEveryAllocation([&](bool memoryFails) {
            Block output(area);
            const DWORD result = xcv(monitor2_, command, input, area == 0 ? nullptr : &output);
            return result == 0 || (memoryFails && result == ERROR_NOT_ENOUGH_MEMORY);
        });
    }

    /// A whole job as the spooler does it. Whether each entry said that all is well.
    template <class Document, class Char>
    static bool job(const Table& table, HANDLE port, Char* name) {
        Document document{name, nullptr, nullptr};
        BYTE data[1500] = {};
        DWORD written = 0;
        if (!table.entry<StartDoc>(4)(port, nullptr, 7, 1, reinterpret_cast<BYTE*>(&document)))
            return false;
        const BOOL result = table.entry<PortTransfer>(5)(port, data, sizeof data, &written);
        EXPECT_TRUE(table.entry<PortCall>(7)(port));
        return result && written == sizeof data;
    }
    bool jobW(const Table& table, HANDLE port) {
        wchar_t name[] = L"Report";
        return job<DOC_INFO_1W>(table, port, name);
    }

    InstantPrinters printers_;
    FakeSpooler spooler_;
    const BuiltDll dll_;
    const Table monitor2_ = dll_.monitor2();
    const Table monitorEx_ = dll_.monitorEx();
    const void* storage_[BuiltDll::kAnsiSlots] = {};
    const Table ansi_ = dll_.monitorAnsi(storage_);
    FailingMemory memory_{dll_.module()};
    NoPauses noPauses_{dll_.module()};
};

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

// The record of deliveries and the event log are written besides, from a thread of their own.
TEST_F(NoMemory, JobThatIsRecorded) {
    for (const auto& [name, value] : {std::pair{"DeliveryRecord", 1u}, {"EventLog", 2u}})
        writeRegistryRaw(kDefaultMonitorKey + "\\Policy", name, REG_DWORD,
                         Bytes().u32(value).data());
    HANDLE port = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &port));
    ASSERT_TRUE(jobW(monitor2_, port)) << "nothing fails";
    atEveryAllocation([&](bool memoryFails) { return jobW(monitor2_, port) || memoryFails; });
}

TEST_F(NoMemory, JobOfTheAnsiGeneration) {
    HANDLE port = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &port));
    char name[] = "Report";
    atEveryAllocation(
        [&](bool memoryFails) { return job<DOC_INFO_1A>(ansi_, port, name) || memoryFails; });
}

// Each thread that throws for the first time needs what the runtime keeps of it.
TEST_F(NoMemory, JobOnAFreshThread) {
    HANDLE port = nullptr;
    ASSERT_TRUE(ansi_.entry<OpenPortAEntry>(2)("One", &port));
    atEveryAllocation([&](bool memoryFails) {
        bool result = false;
        std::thread([&] { result = jobW(monitorEx_, port); }).join();
        return result || memoryFails;
    });
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

}  // namespace
}  // namespace velmora::testing
