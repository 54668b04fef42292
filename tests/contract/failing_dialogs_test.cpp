// The entries that show dialogs, and what a person does in them. no_memory_dialogs_test.cpp lets
// each of their allocations fail, this program the other calls: some of them, since a sheet takes
// its time, or all if VELMORA_EVERY_CALL is set.
#include <cstdlib>

#include "harness/sheet_person.h"
#include "tests/contract/fault_scenarios.h"
#include "ui/resources/resource_ids.h"

namespace velmora::testing {
namespace {

using AddPortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*, wchar_t**);

HWND pageOf(HWND sheet) {
    return reinterpret_cast<HWND>(SendMessageA(sheet, PSM_GETCURRENTPAGEHWND, 0, 0));
}

/// With a policy, whatever its values, a dialog does not store a directory that was read in part.
class FailingDialogs : public FailingCallsTest {
  protected:
    void SetUp() override {
        FailingCallsTest::SetUp();
        writeRegistryRaw(kDefaultMonitorKey + "\\Policy", "StatedSizes", REG_DWORD,
                         Bytes().u32(1).data());
    }

    struct Dialog {
        const char* name;
        std::function<BOOL()> entry;
        std::string good;
        SheetSteps steps;
        unsigned kinds = kEveryFault & ~(kMemoryFault | kInternetFault);
    };

    /// `step`: a sheet takes its time, and asks the settings file for each of its texts.
    void tryDialog(const Dialog& dialog, std::size_t step) {
        const bool all = std::getenv("VELMORA_EVERY_CALL") != nullptr;
        if (sizeof(void*) == 8) step *= 4;  // of the same source
        tryEverywhere(
            {.name = dialog.name,
             .before =
                 [&] {
                     EXPECT_EQ(
                         xcv(monitor2_, L"ConfigPort", recordOf("One", "ipp://localhost/one")), 0u);
                     EXPECT_EQ(xcv(monitor2_, L"SetGroupsDB", directoryOfFour()), 0u);
                 },
             .call =
                 [&] {
                     const SheetPerson person(dialog.steps);
                     SetLastError(kUntouched);
                     const std::string result = words(dialog.entry());
                     return result + ", " + std::to_string(person.sheets()) + " sheets";
                 },
             .good = dialog.good,
             .documented = {{kSpoolerFault | kRegistryFault, "FALSE CODE, 0 sheets"},
                            {kSpoolerFault, "FALSE CODE, 1 sheets"}},
             .kinds = dialog.kinds,
             .silent = kRegistryFault | kInternetFault,
             .step = all ? 1 : step,
             .nextCalls = 3});
    }

    BOOL configure(const wchar_t* port) {
        return dll_.ui().entry<PortUiEntry>(2)(nullptr, nullptr, port);
    }
};

TEST_F(FailingDialogs, NewPort) {
    tryDialog({"AddPortUI, cancelled",
               [&] {
                   wchar_t* out = nullptr;
                   return dll_.ui().entry<AddPortUiEntry>(1)(nullptr, nullptr, L"Velmora IPP",
                                                             &out);
               },
               "FALSE 1223, 1 sheets",
               {}},
              9);
    tryDialog({"AddPort of MONITOREX, cancelled",
               [&] { return monitorEx_.entry<PortDialogW>(9)(nullptr, nullptr, L"Velmora IPP"); },
               "FALSE 1223, 1 sheets",
               {}},
              97);
    tryDialog({"AddPort of MONITOR, cancelled",
               [&] { return ansi_.entry<PortDialogA>(9)(nullptr, nullptr, "Velmora IPP"); },
               "FALSE 1223, 1 sheets",
               {}},
              97);
}

TEST_F(FailingDialogs, PortIsEdited) {
    const SheetSteps steps{
        [](HWND sheet) { SetDlgItemTextA(pageOf(sheet), IDC_PORT_URL, "ipp://localhost/else"); },
        [](HWND sheet) { openPage(sheet, 1); },
        [](HWND sheet) { SetDlgItemTextA(pageOf(sheet), IDC_JOB_COPIES, "3"); },
        [](HWND sheet) { PostMessageA(sheet, PSM_PRESSBUTTON, PSBTN_OK, 0); }};
    tryDialog(
        {"ConfigurePortUI, edited", [&] { return configure(L"One"); }, "TRUE, 1 sheets", steps},
        19);
    tryDialog({"ConfigurePort of MONITOREX, edited",
               [&] { return monitorEx_.entry<PortDialogW>(11)(nullptr, nullptr, L"One"); },
               "TRUE, 1 sheets", steps},
              97);
    tryDialog({"ConfigurePort of MONITOR, edited",
               [&] { return ansi_.entry<PortDialogA>(10)(nullptr, nullptr, "One"); },
               "TRUE, 1 sheets", steps},
              97);
}

/// A URL that cannot be checked is refused with a message, and the sheet stays open.
TEST_F(FailingDialogs, UrlIsChecked) {
    tryDialog(
        {"ConfigurePortUI, URL",
         [&] { return configure(L"One"); },
         "TRUE, 1 sheets",
         {[](HWND sheet) { SetDlgItemTextA(pageOf(sheet), IDC_PORT_URL, "ipp://localhost/else"); },
          [](HWND sheet) { PostMessageA(sheet, PSM_PRESSBUTTON, PSBTN_OK, 0); }},
         kInternetFault},
        1);
}

}  // namespace
}  // namespace velmora::testing
