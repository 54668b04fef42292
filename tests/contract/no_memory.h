#pragma once

#include <windows.h>

#include <winspool.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/failing_memory.h"
#include "harness/packed_record.h"
#include "harness/wininet/import_patch.h"
#include "harness/wininet/instant_printers.h"
#include "harness/winspool/fake_spooler.h"

namespace velmora::testing {

// The built library with memory that fails: from one allocation on for good, or a few in a row, at
// every place where a call allocates, the C++ runtime inside the library included. The process
// lives, the call reports what it is documented to report, and the same call succeeds once memory
// is back.

using PortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using PortDialogW = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);
using PortDialogA = BOOL(WINAPI*)(const char*, HWND, const char*);
using StartDoc = BOOL(WINAPI*)(HANDLE, void*, DWORD, DWORD, BYTE*);
using Block = std::vector<std::byte>;

/// How many allocations in a row fail.
inline constexpr std::size_t kLengths[] = {1, 2, 3, 4, 101, FailingMemory::kForEver};

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

}  // namespace velmora::testing
