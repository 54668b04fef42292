#include <windows.h>

#include <winspool.h>

#include <cwchar>
#include <string_view>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/monitor_keys.h"
#include "harness/packed_record.h"
#include "harness/wininet/import_patch.h"
#include "harness/wininet/instant_printers.h"

// The built library in a process that has no spooler library and cannot load one.

namespace velmora::testing {
namespace {

using StartDoc = BOOL(WINAPI*)(HANDLE, void*, DWORD, DWORD, BYTE*);
using PortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using AddPortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*, wchar_t**);

bool isSpooler(const wchar_t* library) {
    constexpr std::wstring_view kName = L"winspool.drv";
    const std::size_t length = library == nullptr ? 0 : std::wcslen(library);
    return length >= kName.size() && _wcsicmp(library + length - kName.size(), kName.data()) == 0;
}

int asked = 0;

HMODULE WINAPI loadLibrary(const wchar_t* name, HANDLE file, DWORD flags) {
    if (!isSpooler(name)) return LoadLibraryExW(name, file, flags);
    ++asked;
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

BOOL WINAPI getModuleHandle(DWORD flags, const wchar_t* name, HMODULE* module) {
    if ((flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) != 0 || !isSpooler(name))
        return GetModuleHandleExW(flags, name, module);
    *module = nullptr;
    SetLastError(ERROR_MOD_NOT_FOUND);
    return FALSE;
}

class NoSpooler : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        const std::vector<std::byte> defaults = defaultRecord("P");
        std::vector<std::byte> record = Bytes().text("P").u8(1).text("ipp://localhost/p").data();
        record.insert(record.end(), defaults.begin() + 4, defaults.end());
        writeRegistryBinary(kPortsKey, "P", record);
    }

    InstantPrinters printers_;
    const BuiltDll dll_;
    NoPauses noPauses_{dll_.module()};
    ImportPatch load_{"KERNEL32.dll", "LoadLibraryExW", reinterpret_cast<void (*)()>(&loadLibrary),
                      dll_.module()};
    ImportPatch handle_{"KERNEL32.dll", "GetModuleHandleExW",
                        reinterpret_cast<void (*)()>(&getModuleHandle), dll_.module()};
};

TEST_F(NoSpooler, JobsArePrintedAndNobodyIsTold) {
    const Table table = dll_.monitor2();
    HANDLE port = nullptr;
    ASSERT_TRUE(table.entry<OpenPort2Entry>(2)(nullptr, L"P", &port));
    wchar_t name[] = L"Report";
    wchar_t printer[] = L"Printer X";
    DOC_INFO_1W document{name, nullptr, nullptr};
    BYTE data[1500] = {};
    DWORD written = 0;
    EXPECT_TRUE(table.entry<StartDoc>(4)(port, printer, 7, 1, reinterpret_cast<BYTE*>(&document)));
    EXPECT_TRUE(table.entry<PortTransfer>(5)(port, data, sizeof data, &written));
    EXPECT_EQ(written, sizeof data);
    EXPECT_TRUE(table.entry<PortCall>(7)(port));
    EXPECT_EQ(InstantPrinters::requests(), 2);
    EXPECT_EQ(asked, 1) << "the library was looked for, once";
}

TEST_F(NoSpooler, EntriesThatNeedTheChannelSaySo) {
    const Table ui = dll_.ui();
    SetLastError(4711);
    EXPECT_FALSE(ui.entry<AddPortUiEntry>(1)(nullptr, nullptr, L"Velmora IPP", nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
    for (const int slot : {2, 3}) {
        SetLastError(4711);
        EXPECT_FALSE(ui.entry<PortUiEntry>(slot)(nullptr, nullptr, L"P"));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
    }
}

}  // namespace
}  // namespace velmora::testing
