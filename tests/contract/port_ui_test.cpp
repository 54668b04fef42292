#include <atomic>
#include <cstring>
#include <thread>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/dialog_driver.h"
#include "harness/monitor_keys.h"
#include "harness/packed_record.h"
#include "harness/port_dialog.h"
#include "harness/winspool/fake_spooler.h"
#include "ui/resources/resource_ids.h"

// Adding, configuring and deleting ports through the entries of the built library, with a user at
// the dialogs. The Xcv channel is a stand-in that leads to the library's own monitor.

namespace velmora::testing {
namespace {

using AddPortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*, wchar_t**);
using PortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using PortDialogW = BOOL(WINAPI*)(wchar_t*, HWND, const wchar_t*);
using PortDialogA = BOOL(WINAPI*)(char*, HWND, const char*);
using Block = std::vector<std::byte>;
using Calls = std::vector<std::string>;

constexpr DWORD kUntouched = 0xDEAD;

Block singleRecord(const std::string& name, const std::string& url) {
    Block record = defaultRecord(name);
    const std::size_t mode = name.size() + 1;
    record[mode] = std::byte{1};
    const Block text = Bytes().text(url).data();
    record.insert(record.begin() + static_cast<long>(mode) + 1, text.begin(), text.end() - 1);
    return record;
}

/// A user who operates the sheet until it closes.
using Person = std::function<void(const SheetDriver&)>;

class PortUi : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        writeSettingsFile("[Strings]\r\nPort Monitor Name=Velmora IPP\r\nAppRegKey=AppRegKey\r\n");
        const Table monitor = dll_.monitor2();
        xcv_ = monitor.entry<XcvDataPortEntry>(16);
        spooler_->xcvRoute = monitor.entry<XcvRoute>(16);
    }

    DWORD xcv(const wchar_t* command, const Block& input, Block* output = nullptr) {
        DWORD needed = 0;
        return xcv_(nullptr, command, input.data(), static_cast<DWORD>(input.size()),
                    output == nullptr ? nullptr : output->data(),
                    output == nullptr ? 0 : static_cast<DWORD>(output->size()), &needed);
    }
    /// A port that exists and is stored.
    void makePort(const std::string& name, const Block& record) {
        const std::wstring wide(name.begin(), name.end());
        const auto* bytes = reinterpret_cast<const std::byte*>(wide.c_str());
        EXPECT_EQ(xcv(L"AddPort", Block(bytes, bytes + 2 * wide.size() + 2)), 0u);
        EXPECT_EQ(xcv(L"ConfigPort", record), 0u);
    }

    /// Runs `entry` with `person` at its sheet; last error in `lastError`.
    BOOL run(const std::function<BOOL()>& entry, const Person& person) {
        BOOL result = FALSE;
        atPortDialog(
            [&] {
                SetLastError(kUntouched);
                result = entry();
                lastError = GetLastError();
            },
            person);
        return result;
    }
    /// Runs `entry`, which shows nothing.
    BOOL run(const std::function<BOOL()>& entry) {
        SetLastError(kUntouched);
        const BOOL result = entry();
        lastError = GetLastError();
        return result;
    }

    BOOL addPortUi(const wchar_t* server = nullptr) {
        wchar_t* out = nullptr;
        const BOOL result =
            dll_.ui().entry<AddPortUiEntry>(1)(server, nullptr, L"Velmora IPP", &out);
        EXPECT_EQ(out, nullptr);
        return result;
    }
    BOOL configurePortUi(const wchar_t* port, const wchar_t* server = nullptr) {
        return dll_.ui().entry<PortUiEntry>(2)(server, nullptr, port);
    }
    BOOL deletePortUi(const wchar_t* port, const wchar_t* server = nullptr) {
        return dll_.ui().entry<PortUiEntry>(3)(server, nullptr, port);
    }

    static void fillIn(const SheetDriver& sheet, const std::string& name, const std::string& url) {
        if (!name.empty()) sheet.page().type(IDC_PORT_NAME, name);
        sheet.page().type(IDC_PORT_URL, url);
    }

    FakeSpooler spooler_;
    const BuiltDll dll_;
    XcvDataPortEntry xcv_ = nullptr;
    DWORD lastError = 0;
};

TEST_F(PortUi, AddsAPortAndSendsRecordAndDirectory) {
    EXPECT_TRUE(run([&] { return addPortUi(); },
                    [](const SheetDriver& sheet) {
                        fillIn(sheet, "New port", "ipp://printer");
                        sheet.ok();
                    }));
    EXPECT_EQ(readRegistry(kPortsKey, "New port"), singleRecord("New port", "ipp://printer"));
    EXPECT_EQ(readRegistry(kPrintersKey + "\\New port", "URI"),
              Bytes().text("ipp://printer").data());
    const Calls calls = spooler_.takeCalls();
    const std::string handle = calls.at(0).substr(calls.at(0).rfind(' ') + 1);
    EXPECT_EQ(calls, (Calls{"OpenPrinterA ,XcvMonitor Velmora IPP set -> " + handle,
                            "XcvDataW " + handle + " GetGroupsDB 0 0",
                            "XcvDataW " + handle + " GetGroupsDB 0 31", "EnumPortsA null 1",
                            "XcvDataW " + handle + " AddPort 18 0",
                            "XcvDataW " + handle + " ConfigPort 132 0",
                            "XcvDataW " + handle + " SetGroupsDB 57 0", "ClosePrinter " + handle}));
}

TEST_F(PortUi, NameOfAPortThatTheServerHasIsRefused) {
    std::memcpy(spooler_->ports, "LPT1:\0Taken\0", 13);
    EXPECT_FALSE(
        run([&] { return addPortUi(L"\\\\host"); },
            [&](const SheetDriver& sheet) {
                fillIn(sheet, "Taken", "ipp://printer");
                sheet.ok();
                HWND box = nullptr;
                EXPECT_TRUE(waitUntil([&] {
                    box = GetLastActivePopup(sheet.sheet().window());
                    return box != sheet.sheet().window() && GetDlgItem(box, 0xFFFF) != nullptr;
                }));
                EXPECT_EQ(DialogDriver(box).text(0xFFFF),
                          "Specified port name is already used. Select another one please.");
                PostMessageA(box, WM_COMMAND, IDOK, 0);
                DialogDriver(box).waitUntilClosed();
                sheet.cancel();
            }));
    EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_CANCELLED));
    const Calls calls = spooler_.takeCalls();
    EXPECT_EQ(calls.at(0).substr(0, 45), "OpenPrinterA \\\\host\\,XcvMonitor Velmora IPP s");
    EXPECT_EQ(calls.at(3), "EnumPortsA \\\\host 1");
    EXPECT_EQ(calls.at(4), "EnumPortsA \\\\host 1");
    EXPECT_EQ(calls.at(5).substr(0, 12), "ClosePrinter") << "nothing was sent";
}

TEST_F(PortUi, MonitorWithoutANameIsTheOneOfTheSettings) {
    EXPECT_FALSE(
        run([&] { return dll_.ui().entry<AddPortUiEntry>(1)(L"", nullptr, nullptr, nullptr); },
            [](const SheetDriver& sheet) { sheet.cancel(); }));
    EXPECT_EQ(spooler_.takeCalls().at(0).substr(0, 36), "OpenPrinterA ,XcvMonitor Velmora IPP");
}

TEST_F(PortUi, RefusedChannelShowsNoDialogAndKeepsTheCode) {
    spooler_->openPrinterFails = TRUE;
    EXPECT_FALSE(run([&] { return addPortUi(); }));
    EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_INVALID_PRINTER_NAME));
    EXPECT_FALSE(run([&] { return configurePortUi(L"P"); }));
    EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_INVALID_PRINTER_NAME));
    EXPECT_FALSE(run([&] { return deletePortUi(L"P"); }));
    EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_INVALID_PRINTER_NAME));
    spooler_->openPrinterFails = FALSE;
    spooler_->xcvRoute = nullptr;
    for (const auto& entry : std::initializer_list<std::function<BOOL()>>{
             [&] { return addPortUi(); }, [&] { return configurePortUi(L"P"); },
             [&] { return deletePortUi(L"P"); }}) {
        EXPECT_FALSE(run(entry));
        EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_NOT_SUPPORTED));
    }
}

DWORD WINAPI outOfMemory(HANDLE, const wchar_t*, BYTE*, DWORD, BYTE*, DWORD, DWORD*) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

TEST_F(PortUi, DirectoryThatDoesNotComeIsNotReplacedByAnEmptyOne) {
    EXPECT_EQ(xcv(L"SetGroupsDB", Bytes().u32(1).u32(1).u32(0).text("R").u32(0).u32(0).data()), 0u);
    spooler_->xcvRoute = outOfMemory;
    EXPECT_FALSE(run([&] { return addPortUi(); }));
    EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_FALSE(run([&] { return configurePortUi(L"P"); }));
    EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(readRegistry(kGroupsKey + "\\1", "Name"), Bytes().text("R").data());
}

TEST_F(PortUi, ConfiguresAPort) {
    makePort("P", singleRecord("P", "ipp://old"));
    EXPECT_TRUE(run([&] { return configurePortUi(L"P", L"\\\\host"); },
                    [](const SheetDriver& sheet) {
                        EXPECT_EQ(sheet.page().text(IDC_PORT_URL), "ipp://old");
                        EXPECT_FALSE(sheet.page().enabled(IDC_PORT_NAME));
                        fillIn(sheet, "", "ipp://new");
                        sheet.ok();
                    }));
    EXPECT_EQ(readRegistry(kPortsKey, "P"), singleRecord("P", "ipp://new"));
    EXPECT_EQ(spooler_.takeCalls().at(0).substr(0, 34), "OpenPrinterA \\\\host\\,XcvPort P set");
}

TEST_F(PortUi, OfTwoSheetsForOnePortTheLastToBeConfirmedWins) {
    makePort("P", singleRecord("P", "ipp://old"));
    drive([&] { EXPECT_TRUE(configurePortUi(L"P")); },
          [&, thread = GetCurrentThreadId()] {
              const SheetDriver last(waitForDialogOf(thread, "Configure Port Monitor").window());
              std::atomic<DWORD> otherThread = 0;
              std::thread other([&] {
                  otherThread = GetCurrentThreadId();
                  EXPECT_TRUE(configurePortUi(L"P"));
              });
              EXPECT_TRUE(waitUntil([&] { return otherThread != 0; }));
              const SheetDriver first(
                  waitForDialogOf(otherThread, "Configure Port Monitor").window());
              EXPECT_EQ(last.page().text(IDC_PORT_URL), "ipp://old");
              fillIn(last, "", "ipp://last");
              fillIn(first, "", "ipp://first");
              first.ok();
              first.waitUntilClosed();
              other.join();
              EXPECT_EQ(readRegistry(kPortsKey, "P"), singleRecord("P", "ipp://first"));
              last.ok();
              last.waitUntilClosed();
          });
    EXPECT_EQ(readRegistry(kPortsKey, "P"), singleRecord("P", "ipp://last"));
}

TEST_F(PortUi, CancelledConfigurationSucceedsAndSendsNothing) {
    makePort("P", singleRecord("P", "ipp://old"));
    EXPECT_TRUE(run([&] { return configurePortUi(L"P"); },
                    [](const SheetDriver& sheet) {
                        fillIn(sheet, "", "ipp://new");
                        sheet.cancel();
                    }));
    EXPECT_EQ(readRegistry(kPortsKey, "P"), singleRecord("P", "ipp://old"));
    EXPECT_EQ(spooler_.takeCalls().size(), 5u) << "open, three questions, close";
}

TEST_F(PortUi, RecordTooLongForTheChannelIsNotLost) {
    const Block record = singleRecord("P", std::string(1000, 'u'));
    makePort("P", record);
    EXPECT_TRUE(run([&] { return configurePortUi(L"P"); },
                    [](const SheetDriver& sheet) {
                        EXPECT_EQ(sheet.page().text(IDC_PORT_NAME), "");
                        sheet.ok();
                    }));
    EXPECT_EQ(readRegistry(kPortsKey, "P"), record);
}

TEST_F(PortUi, PortNamesOfEveryLengthCanBeAdded) {
    for (const std::size_t length : {1u, 255u, 1024u, 2000u}) {
        const std::string name(length, 'n');
        EXPECT_TRUE(run([&] { return addPortUi(); },
                        [&](const SheetDriver& sheet) {
                            fillIn(sheet, name, "ipp://printer");
                            sheet.ok();
                        }));
        const std::string kept = name.substr(0, 1024);
        EXPECT_EQ(readRegistry(kPortsKey, kept), singleRecord(kept, "ipp://printer")) << length;
    }
}

TEST_F(PortUi, DeletesAPortWithoutAsking) {
    makePort("P", singleRecord("P", "ipp://old"));
    EXPECT_TRUE(run([&] { return deletePortUi(L"P"); }));
    EXPECT_TRUE(readRegistry(kPortsKey, "P").empty());
    EXPECT_TRUE(run([&] { return deletePortUi(L"P"); })) << "an unknown port is no failure";
}

TEST_F(PortUi, OlderGenerationsWorkInProcess) {
    const Table wide = dll_.monitorEx();
    EXPECT_TRUE(run([&] { return wide.entry<PortDialogW>(9)(nullptr, nullptr, L"Velmora IPP"); },
                    [](const SheetDriver& sheet) {
                        fillIn(sheet, "Wide", "ipp://wide");
                        sheet.ok();
                    }));
    EXPECT_EQ(readRegistry(kPortsKey, "Wide"), singleRecord("Wide", "ipp://wide"));
    EXPECT_TRUE(run([&] { return wide.entry<PortDialogW>(11)(nullptr, nullptr, L"Wide"); },
                    [](const SheetDriver& sheet) {
                        EXPECT_EQ(sheet.page().text(IDC_PORT_NAME), "Wide");
                        fillIn(sheet, "", "ipp://changed");
                        sheet.ok();
                    }));
    EXPECT_EQ(readRegistry(kPortsKey, "Wide"), singleRecord("Wide", "ipp://changed"));
    EXPECT_TRUE(readRegistry(kGroupsKey + "\\1", "Name").size() > 1) << "the directory was saved";
    EXPECT_TRUE(run([&] { return wide.entry<PortDialogW>(12)(nullptr, nullptr, L"Wide"); }));
    EXPECT_TRUE(readRegistry(kPortsKey, "Wide").empty());
    for (const int slot : {11, 12}) {
        EXPECT_FALSE(run([&] { return wide.entry<PortDialogW>(slot)(nullptr, nullptr, L"Wide"); }));
        EXPECT_EQ(lastError, kUntouched) << "an unknown port sets no code";
    }
    EXPECT_FALSE(run([&] { return wide.entry<PortDialogW>(9)(nullptr, nullptr, nullptr); },
                     [](const SheetDriver& sheet) { sheet.cancel(); }));
    EXPECT_EQ(lastError, static_cast<DWORD>(ERROR_CANCELLED));
    for (const std::string& call : spooler_.takeCalls())
        EXPECT_EQ(call.substr(0, 10), "EnumPortsA") << "no channel is used";
}

TEST_F(PortUi, AnsiGenerationWorksInProcess) {
    const void* slots[BuiltDll::kAnsiSlots] = {};
    const Table ansi = dll_.monitorAnsi(slots);
    EXPECT_TRUE(run([&] { return ansi.entry<PortDialogA>(9)(nullptr, nullptr, "Velmora IPP"); },
                    [](const SheetDriver& sheet) {
                        fillIn(sheet, "caf\xE9", "ipp://ansi");
                        sheet.ok();
                    }));
    EXPECT_EQ(readRegistry(kPortsKey, "caf\xE9"), singleRecord("caf\xE9", "ipp://ansi"));
    EXPECT_TRUE(run([&] { return ansi.entry<PortDialogA>(10)(nullptr, nullptr, "caf\xE9"); },
                    [](const SheetDriver& sheet) {
                        sheet.page().type(IDC_PORT_URL, "ipp://lost");
                        sheet.cancel();
                    }));
    EXPECT_EQ(readRegistry(kPortsKey, "caf\xE9"), singleRecord("caf\xE9", "ipp://ansi"));
    EXPECT_TRUE(run([&] { return ansi.entry<PortDialogA>(11)(nullptr, nullptr, "caf\xE9"); }));
    EXPECT_TRUE(readRegistry(kPortsKey, "caf\xE9").empty());
    EXPECT_FALSE(run([&] { return ansi.entry<PortDialogA>(11)(nullptr, nullptr, "caf\xE9"); }));
    EXPECT_EQ(lastError, kUntouched);
}

}  // namespace
}  // namespace velmora::testing
