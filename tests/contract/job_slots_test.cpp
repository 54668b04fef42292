// A job through the tables that the library hands out, one for each generation of the contract.
#include <windows.h>

#include <winspool.h>

#include <string>
#include <vector>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "harness/peer.h"

namespace velmora::testing {
namespace {

using StartDoc = BOOL(WINAPI*)(HANDLE, void*, DWORD, DWORD, BYTE*);

std::vector<std::byte> singlePrinterRecord(const std::string& name, const std::string& url) {
    const std::vector<std::byte> defaults = defaultRecord(name);
    std::vector<std::byte> record = Bytes().text(name).u8(1).text(url).data();
    // After the name, the mode and the empty URL nothing is changed.
    record.insert(record.end(), defaults.begin() + static_cast<std::ptrdiff_t>(name.size() + 3),
                  defaults.end());
    return record;
}

class JobSlots : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        writeRegistryBinary(kDefaultMonitorKey + "\\Ports", "P",
                            singlePrinterRecord("P", printer_.url()));
    }

    void print(const Table& table, HANDLE port, void* docInfo) {
        std::string document = "%!" + std::string(1500, 'x');
        DWORD written = 0;
        ASSERT_TRUE(table.entry<StartDoc>(4)(port, nullptr, 0, 1, static_cast<BYTE*>(docInfo)));
        EXPECT_TRUE(table.entry<PortTransfer>(5)(port, reinterpret_cast<BYTE*>(document.data()),
                                                 1502, &written));
        EXPECT_EQ(written, 1502u);
        EXPECT_TRUE(table.entry<PortCall>(7)(port));
        EXPECT_TRUE(table.entry<PortCall>(8)(port));
        const auto body = printer_.file("request-2.body");
        ASSERT_TRUE(body);
        EXPECT_TRUE(body->ends_with(document));
        EXPECT_NE(body->find(std::string("job-name\0\6Report", 16)), std::string::npos);
    }

    Peer printer_{"http_sink"};
    const BuiltDll dll_;
    wchar_t wideName_[7] = L"Report";
    DOC_INFO_1W wideInfo_{wideName_, nullptr, nullptr};
    char name_[7] = "Report";
    DOC_INFO_1A info_{name_, nullptr, nullptr};
    HANDLE port_ = nullptr;
};

TEST_F(JobSlots, Monitor2DeliversAJob) {
    const Table table = dll_.monitor2();
    ASSERT_TRUE(table.entry<OpenPort2Entry>(2)(nullptr, L"P", &port_));
    print(table, port_, &wideInfo_);
}

TEST_F(JobSlots, MonitorExDeliversAJob) {
    const Table table = dll_.monitorEx();
    ASSERT_TRUE(table.entry<OpenPortWEntry>(2)(L"P", &port_));
    print(table, port_, &wideInfo_);
}

TEST_F(JobSlots, AnsiMonitorDeliversAJob) {
    const void* storage[BuiltDll::kAnsiSlots] = {};
    const Table table = dll_.monitorAnsi(storage);
    ASSERT_TRUE(table.entry<OpenPortAEntry>(2)("P", &port_));
    print(table, port_, &info_);
}

TEST_F(JobSlots, LibraryStaysForTheWorkersOfAJobThatNobodyEnded) {
    Peer second("http_sink");
    Bytes directory = Bytes().u32(3).u32(1).u32(0).text("All groups").u32(0);
    for (const auto& [id, url] : {std::pair{2u, printer_.url()}, {3u, second.url()}}) {
        directory.u32(id).u32(1).text(url).u32(1).text(url).u8(0).text("").text("");
    }
    directory.u32(0);
    const Table table = dll_.monitor2();
    const auto xcv = table.entry<XcvDataPortEntry>(16);
    ASSERT_EQ(xcv(nullptr, L"SetGroupsDB", directory.data().data(), 0, nullptr, 0, nullptr), 0u);
    // The default record of the port Q, with the root group as its one target.
    const std::vector<std::byte> defaults = defaultRecord("Q");
    std::vector<std::byte> record =
        Bytes().text("Q").u8(0).text("").u8(0).text("").text("").u32(1).u32(1).data();
    record.insert(record.end(), defaults.begin() + static_cast<std::ptrdiff_t>(record.size() - 4),
                  defaults.end());
    ASSERT_EQ(xcv(nullptr, L"AddPort", L"Q", 0, nullptr, 0, nullptr), 0u);
    ASSERT_EQ(xcv(nullptr, L"ConfigPort", record.data(), 0, nullptr, 0, nullptr), 0u);
    ASSERT_TRUE(table.entry<OpenPort2Entry>(2)(nullptr, L"Q", &port_));
    ASSERT_TRUE(
        table.entry<StartDoc>(4)(port_, nullptr, 0, 1, reinterpret_cast<BYTE*>(&wideInfo_)));

    // The spooler forgets the monitor while the workers pause before their requests.
    FreeLibrary(dll_.module());
    EXPECT_NE(GetModuleHandleA("Velmora.dll"), nullptr);
    for (Peer* printer : {&printer_, &second}) {
        while (!printer->file("request-1.body"))
            SleepEx(20, FALSE);
    }
}

}  // namespace
}  // namespace velmora::testing
