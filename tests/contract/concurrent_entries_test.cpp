#include <windows.h>

#include <winspool.h>

#include <atomic>
#include <cwchar>
#include <string>
#include <thread>
#include <vector>

#include "harness/built_dll.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"

namespace velmora::testing {
namespace {

constexpr int kRounds = 60;

using ConcurrentEntries = CleanStateTest;

/// Ports that the first enumeration finds and every later one must find too, complete.
int countStayingPorts(EnumPorts2Entry enumerate, std::vector<BYTE>& buffer) {
    DWORD needed = 0;
    DWORD returned = 0;
    while (!enumerate(nullptr, nullptr, 2, buffer.data(), static_cast<DWORD>(buffer.size()),
                      &needed, &returned)) {
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
        buffer.resize(needed);
    }
    int staying = 0;
    const auto* info = reinterpret_cast<const PORT_INFO_2W*>(buffer.data());
    for (DWORD i = 0; i < returned; ++i) {
        const std::wstring name = info[i].pPortName;
        EXPECT_TRUE(name.starts_with(L"stays") || name.starts_with(L"moves")) << name;
        EXPECT_STREQ(info[i].pMonitorName, L"Port Monitor Name");
        if (name.starts_with(L"stays")) ++staying;
    }
    return staying;
}

TEST_F(ConcurrentEntries, EnumerationAndOpeningGoOnWhilePortsComeChangeAndGo) {
    const std::string key = kDefaultMonitorKey + "\\Ports";
    constexpr int kStaying = 5;
    for (int i = 0; i < kStaying; ++i) {
        const std::string name = "stays" + std::to_string(i);
        writeRegistryBinary(key, name, defaultRecord(name));
    }
    const Table table = BuiltDll().monitor2();
    const auto enumerate = table.entry<EnumPorts2Entry>(1);
    const auto open = table.entry<OpenPort2Entry>(2);
    const auto xcv = table.entry<XcvDataPortEntry>(16);

    std::atomic<bool> stop{false};
    std::atomic<int> looks{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
        readers.emplace_back([&] {
            std::vector<BYTE> buffer(16);
            while (!stop.load()) {
                EXPECT_EQ(countStayingPorts(enumerate, buffer), kStaying);
                HANDLE handle = nullptr;
                EXPECT_TRUE(open(nullptr, L"stays3", &handle));
                ++looks;
            }
        });
    }
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i) {
        writers.emplace_back([&, i] {
            const std::wstring wide = L"moves" + std::to_wstring(i);
            const std::vector<std::byte> record = defaultRecord("moves" + std::to_string(i));
            DWORD needed = 0;
            for (int round = 0; round < kRounds; ++round) {
                EXPECT_EQ(xcv(nullptr, L"AddPort", wide.c_str(), 0, nullptr, 0, &needed), 0u);
                EXPECT_EQ(xcv(nullptr, L"ConfigPort", record.data(), 0, nullptr, 0, &needed), 0u);
                EXPECT_EQ(xcv(nullptr, L"DeletePort", wide.c_str(), 0, nullptr, 0, &needed), 0u);
            }
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    // However the threads were scheduled, at least one enumeration has run.
    while (looks.load() < 2)
        std::this_thread::yield();
    stop = true;
    for (std::thread& reader : readers)
        reader.join();

    std::vector<BYTE> buffer(16);
    EXPECT_EQ(countStayingPorts(enumerate, buffer), kStaying);
    EXPECT_TRUE(readRegistry(key, "moves0").empty());
}

}  // namespace
}  // namespace velmora::testing
