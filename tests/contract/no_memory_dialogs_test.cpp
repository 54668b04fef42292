// The entries that show dialogs, when memory fails. A sheet that opens all the same is operated and
// closed from a timer of the thread that shows it, so that it is closed whatever fails.
#include "harness/sheet_person.h"
#include "tests/contract/no_memory.h"

namespace velmora::testing {
namespace {

using AddPortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*, wchar_t**);

class NoMemoryDialogs : public NoMemory {
  protected:
    /// `entry` at every `step`th allocation. Whatever fails, it returns `cancelled` with the code
    /// `code` as the last error, or FALSE with one for a lack of memory.
    void dialogAtEveryAllocation(std::size_t step, const std::function<BOOL()>& entry,
                                 BOOL cancelled, DWORD code, const SheetSteps& steps = {}) {
        if (kCoarse) step *= 5;
        if (std::getenv("VELMORA_EVERY_ALLOCATION") != nullptr) step = 1;
        int shown = 0;
        int again = 0;
        atEveryAllocation(
            [&](bool memoryFails) {
                // A sheet takes its time, so that it opens as before is checked only sometimes.
                if (!memoryFails && ++again % 3 != 0) return true;
                const SheetPerson person(steps);
                SetLastError(kUntouched);
                const BOOL result = entry();
                const DWORD lastError = GetLastError();
                shown += person.sheets();
                if (!memoryFails && person.sheets() != 1) return false;
                if (result == cancelled && (code == 0 || lastError == code)) return true;
                return memoryFails && !result;
            },
            kLengths, step);
        EXPECT_GT(shown, 0);
    }

    /// The 64-bit library is built from the same source.
    static constexpr bool kCoarse = sizeof(void*) == 8;
    static constexpr DWORD kUntouched = 0xDEAD;
};

TEST_F(NoMemoryDialogs, NewPortThroughTheChannel) {
    dialogAtEveryAllocation(
        7,
        [&] {
            wchar_t* out = nullptr;
            return dll_.ui().entry<AddPortUiEntry>(1)(nullptr, nullptr, L"Velmora IPP", &out);
        },
        FALSE, ERROR_CANCELLED);
}

TEST_F(NoMemoryDialogs, PortThroughTheChannel) {
    dialogAtEveryAllocation(
        7, [&] { return dll_.ui().entry<PortUiEntry>(2)(nullptr, nullptr, L"One"); }, TRUE, 0);
}

// The dialogs of the older generations are the same ones.
TEST_F(NoMemoryDialogs, NewPortOfTheUnicodeGeneration) {
    dialogAtEveryAllocation(
        21, [&] { return monitorEx_.entry<PortDialogW>(9)(nullptr, nullptr, L"Velmora IPP"); },
        FALSE, ERROR_CANCELLED);
}

TEST_F(NoMemoryDialogs, PortOfTheUnicodeGeneration) {
    dialogAtEveryAllocation(
        21, [&] { return monitorEx_.entry<PortDialogW>(11)(nullptr, nullptr, L"One"); }, TRUE, 0);
}

TEST_F(NoMemoryDialogs, NewPortOfTheAnsiGeneration) {
    dialogAtEveryAllocation(
        21, [&] { return ansi_.entry<PortDialogA>(9)(nullptr, nullptr, "Velmora IPP"); }, FALSE,
        ERROR_CANCELLED);
}

TEST_F(NoMemoryDialogs, PortOfTheAnsiGeneration) {
    dialogAtEveryAllocation(
        21, [&] { return ansi_.entry<PortDialogA>(10)(nullptr, nullptr, "One"); }, TRUE, 0);
}

// The values that the sheet shows are stored unchanged, whatever fails on the way.
TEST_F(NoMemoryDialogs, AllPagesAreShownAndOkIsPressed) {
    const SheetSteps steps{[](HWND sheet) { openPage(sheet, 1); },
                           [](HWND sheet) { openPage(sheet, 2); },
                           [](HWND sheet) { PostMessageA(sheet, PSM_PRESSBUTTON, PSBTN_OK, 0); }};
    const Block record = recordOf("Four", "");
    dialogAtEveryAllocation(
        211,
        [&] {
            const BOOL result = dll_.ui().entry<PortUiEntry>(2)(nullptr, nullptr, L"Four");
            EXPECT_EQ(readRegistry(kDefaultMonitorKey + "\\Ports", "Four"), record);
            for (const char* printer : {"2", "3", "4", "5"})
                EXPECT_FALSE(
                    readRegistry(kDefaultMonitorKey + "\\Printer groups\\" + printer, "URI")
                        .empty())
                    << printer;
            return result;
        },
        TRUE, 0, steps);
}

}  // namespace
}  // namespace velmora::testing
