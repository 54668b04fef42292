#include <windows.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/dialog_driver.h"
#include "harness/monitor_keys.h"
#include "harness/packed_record.h"
#include "harness/port_dialog.h"
#include "harness/wininet/import_patch.h"
#include "harness/winspool/fake_spooler.h"
#include "ui/resources/resource_ids.h"

// What the entries that show a port's dialog do besides: what they store, in which order they use
// the channel, and which of them hold the lock of the ANSI generation.

namespace velmora::testing {
namespace {

using PortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using PortDialogW = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using PortDialogA = BOOL(WINAPI*)(const char*, HWND, const char*);
using Block = std::vector<std::byte>;
using Calls = std::vector<std::string>;

class PortDialogs : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        writeRegistryBinary(kPortsKey, "P", defaultRecord("P"));
        monitor2_ = dll_.monitor2();
        spooler_->xcvRoute = monitor2_.entry<XcvRoute>(16);
        ansi_ = dll_.monitorAnsi(storage_);
    }

    /// Runs the entry while a user makes a group in its sheet and presses OK.
    template <class Entry>
    static void expectTheGroupStored(const std::string& id, const std::string& name,
                                     const std::string& newPort, Entry entry) {
        SCOPED_TRACE(name);
        BOOL result = FALSE;
        atPortDialog([&] { result = entry(); },
                     [&](const SheetDriver& sheet) {
                         if (!newPort.empty()) sheet.page().type(IDC_PORT_NAME, newPort);
                         sheet.page().type(IDC_PORT_URL, "ipp://printer");
                         addGroup(sheet.openPage(2), name);
                         sheet.ok();
                     });
        EXPECT_TRUE(result);
        EXPECT_EQ(readRegistry(kGroupsKey + "\\" + id, "Name"), Bytes().text(name).data());
    }

    FakeSpooler spooler_;
    const BuiltDll dll_;
    Table monitor2_{nullptr, 1};
    const void* storage_[BuiltDll::kAnsiSlots] = {};
    Table ansi_{nullptr, 0};
};

TEST_F(PortDialogs, OfTheOlderGenerationsStoreTheDirectoryAsTheSheetLeavesIt) {
    const Table wide = dll_.monitorEx();
    expectTheGroupStored("2", "Wide and new", "Wide", [&] {
        return wide.entry<PortDialogW>(9)(nullptr, nullptr, L"Velmora IPP");
    });
    expectTheGroupStored("3", "Wide and known", "",
                         [&] { return wide.entry<PortDialogW>(11)(nullptr, nullptr, L"Wide"); });
    expectTheGroupStored("4", "Ansi and new", "Ansi", [&] {
        return ansi_.entry<PortDialogA>(9)(nullptr, nullptr, "Velmora IPP");
    });
    expectTheGroupStored("5", "Ansi and known", "",
                         [&] { return ansi_.entry<PortDialogA>(10)(nullptr, nullptr, "Ansi"); });
}

TEST_F(PortDialogs, ThroughTheChannelReadAndSendTheRecordBeforeTheDirectory) {
    BOOL result = FALSE;
    atPortDialog([&] { result = dll_.ui().entry<PortUiEntry>(2)(nullptr, nullptr, L"P"); },
                 [](const SheetDriver& sheet) {
                     sheet.page().click(IDC_PORT_SINGLE);
                     sheet.page().type(IDC_PORT_URL, "ipp://printer");
                     sheet.ok();
                 });
    EXPECT_TRUE(result);
    const Calls calls = spooler_.takeCalls();
    ASSERT_FALSE(calls.empty());
    const std::string handle = calls[0].substr(calls[0].rfind(' ') + 1);
    Calls commands;
    for (const std::string& call : calls) {
        // The sizes are tested elsewhere.
        const std::string start = "XcvDataW " + handle + " ";
        if (call.starts_with(start))
            commands.push_back(
                call.substr(start.size(), call.find(' ', start.size()) - start.size()));
    }
    EXPECT_EQ(commands,
              (Calls{"GetConfigInfo", "GetGroupsDB", "GetGroupsDB", "ConfigPort", "SetGroupsDB"}));
    EXPECT_EQ(calls.front(), "OpenPrinterA ,XcvPort P set -> " + handle);
    EXPECT_EQ(calls.back(), "ClosePrinter " + handle);
}

/// The critical sections that this thread enters and leaves inside the library.
class SectionLog {
  public:
    explicit SectionLog(HMODULE library)
        : enter_("KERNEL32.dll", "EnterCriticalSection", reinterpret_cast<void (*)()>(&enter),
                 library),
          leave_("KERNEL32.dll", "LeaveCriticalSection", reinterpret_cast<void (*)()>(&leave),
                 library) {
        thread = GetCurrentThreadId();
        steps.clear();
    }

    enum class Step { enter, leave };
    using Steps = std::vector<std::pair<Step, CRITICAL_SECTION*>>;

    /// What `entry` did.
    template <class Entry>
    Steps of(Entry entry) {
        steps.clear();
        entry();
        return std::exchange(steps, {});
    }

  private:
    static void WINAPI enter(CRITICAL_SECTION* section) {
        EnterCriticalSection(section);
        if (GetCurrentThreadId() == thread) steps.emplace_back(Step::enter, section);
    }
    static void WINAPI leave(CRITICAL_SECTION* section) {
        if (GetCurrentThreadId() == thread) steps.emplace_back(Step::leave, section);
        LeaveCriticalSection(section);
    }

    inline static DWORD thread = 0;
    inline static Steps steps;
    ImportPatch enter_;
    ImportPatch leave_;
};

TEST_F(PortDialogs, OfTheAnsiGenerationHoldItsLockAndNoOthersDo) {
    SectionLog log(dll_.module());
    using Step = SectionLog::Step;
    HANDLE port = nullptr;
    const SectionLog::Steps opening =
        log.of([&] { EXPECT_TRUE(ansi_.entry<OpenPortAEntry>(2)("P", &port)); });
    ASSERT_FALSE(opening.empty());
    CRITICAL_SECTION* const lock = opening.front().second;
    const auto countOf = [&](const SectionLog::Steps& steps) {
        return std::ranges::count(steps, std::pair{Step::enter, lock});
    };
    const auto cancelled = [](auto entry) {
        atPortDialog(entry, [](const SheetDriver& sheet) { sheet.cancel(); });
    };
    const std::pair<const char*, SectionLog::Steps> ansi[] = {
        {"add", log.of([&] {
             cancelled([&] { ansi_.entry<PortDialogA>(9)(nullptr, nullptr, "Velmora IPP"); });
         })},
        {"configure",
         log.of([&] { cancelled([&] { ansi_.entry<PortDialogA>(10)(nullptr, nullptr, "P"); }); })},
        {"configure unknown", log.of([&] { ansi_.entry<PortDialogA>(10)(nullptr, nullptr, "Q"); })},
        {"delete unknown", log.of([&] { ansi_.entry<PortDialogA>(11)(nullptr, nullptr, "Q"); })},
        {"delete", log.of([&] { ansi_.entry<PortDialogA>(11)(nullptr, nullptr, "P"); })},
    };
    for (const auto& [what, steps] : ansi) {
        SCOPED_TRACE(what);
        EXPECT_EQ(countOf(steps), 1) << "for the whole entry";
        ASSERT_FALSE(steps.empty());
        EXPECT_EQ(steps.front(), std::pair(Step::enter, lock));
        EXPECT_EQ(steps.back(), std::pair(Step::leave, lock));
    }
    const Table wide = dll_.monitorEx();
    EXPECT_EQ(countOf(log.of([&] {
                  cancelled([&] { wide.entry<PortDialogW>(9)(nullptr, nullptr, L"Velmora IPP"); });
                  wide.entry<PortDialogW>(11)(nullptr, nullptr, L"Q");
                  wide.entry<PortDialogW>(12)(nullptr, nullptr, L"Q");
              })),
              0);
}

}  // namespace
}  // namespace velmora::testing
