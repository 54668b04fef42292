#pragma once

#include <windows.h>

#include <winspool.h>

#include <cstddef>
#include <string>
#include <vector>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "harness/wininet/import_patch.h"
#include "harness/wininet/instant_printers.h"
#include "harness/winspool/fake_spooler.h"

namespace velmora::testing {

using PortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using PortDialogW = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using PortDialogA = BOOL(WINAPI*)(const char*, HWND, const char*);
using StartDoc = BOOL(WINAPI*)(HANDLE, void*, DWORD, DWORD, BYTE*);
using Block = std::vector<std::byte>;

/// The record of a port that prints to the root group's printers, or to one URL.
inline Block recordOf(const std::string& name, const std::string& url) {
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
inline Block directoryOfFour() {
    Bytes directory = Bytes().u32(5).u32(1).u32(0).text("All groups").u32(0);
    for (unsigned id = 2; id < 6; ++id) {
        const std::string url = "ipp://localhost/" + std::to_string(id);
        directory.u32(id).u32(1).text(url).u32(1).text(url).u8(0).text("").text("");
    }
    return directory.u32(0).data();
}

/// A machine with a port "One" to one printer and a port "Four" to four, and a spooler that leads
/// the Xcv channel to the library's own monitor.
class MachineOfTwoPorts : public CleanStateTest {
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
    NoPauses noPauses_{dll_.module()};
};

}  // namespace velmora::testing
