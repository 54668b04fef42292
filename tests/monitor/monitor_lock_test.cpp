// Which entries take the lock of the ANSI generation: each of its entries that use ports, with
// every result, and no entry of another generation.
#include "monitor/port_list.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "monitor/enum_ports.h"
#include "monitor/job_entries.h"
#include "monitor/port_entries.h"
#include "monitor/process_objects.h"

namespace velmora {
namespace {

using Entry = std::function<void()>;

class MonitorLock : public testing::CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        testing::writeRegistryBinary(testing::kDefaultMonitorKey + "\\Ports", "P",
                                     testing::defaultRecord("P"));
        createPortList();
        port_ = portList()->find("P");
        ASSERT_NE(port_, nullptr);
    }

    Port* port_ = nullptr;
    DWORD needed_ = 0;
    DWORD count_ = 0;
    HANDLE handle_ = nullptr;
    BYTE buffer_[512] = {};
    BYTE noDocInfo_[3 * sizeof(void*)] = {};
};

/// Whether `entry`, called in its own thread, returns only after this thread has released the lock.
/// An entry that did not release it would block this thread the next time.
bool waitsForTheLock(const Entry& entry) {
    std::atomic<bool> givenUp{false};
    bool waited = false;
    std::jthread caller;
    {
        const std::lock_guard lock(monitorLock());
        caller = std::jthread([&] {
            entry();
            waited = givenUp;
        });
        // Long enough for an entry that does not wait; one that waits cannot return too early.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        givenUp = true;
    }
    caller.join();
    return waited;
}

TEST_F(MonitorLock, AnsiEntriesWaitForItAndGiveItBackOnEveryWayOut) {
    char name[] = "P";
    char unknown[] = "Q";
    const std::pair<const char*, Entry> entries[] = {
        {"ports", [&] { enumPortsA(nullptr, 2, buffer_, sizeof buffer_, &needed_, &count_); }},
        {"ports, no room", [&] { enumPortsA(nullptr, 1, nullptr, 0, &needed_, &count_); }},
        {"ports, other level", [&] { enumPortsA(nullptr, 3, nullptr, 0, &needed_, &count_); }},
        {"open", [&] { openPortA(name, &handle_); }},
        {"open unknown", [&] { openPortA(unknown, &handle_); }},
        {"open nothing", [&] { openPortA(nullptr, &handle_); }},
        {"start", [&] { startDocPortA(port_, nullptr, 1, 1, noDocInfo_); }},
        {"start nothing", [&] { startDocPortA(port_, nullptr, 1, 1, nullptr); }},
        {"write", [&] { writePortA(port_, buffer_, 1, &count_); }},
        {"write nothing", [&] { writePortA(port_, buffer_, 0, &count_); }},
        {"end", [&] { endDocPortA(port_); }},
        {"end nothing", [&] { endDocPortA(nullptr); }},
    };
    for (const auto& [what, entry] : entries)
        EXPECT_TRUE(waitsForTheLock(entry)) << what;
    EXPECT_EQ(handle_, port_);
}

TEST_F(MonitorLock, OtherGenerationsDoWithoutIt) {
    wchar_t name[] = L"P";
    const std::lock_guard lock(monitorLock());
    std::jthread([&] {
        EXPECT_TRUE(enumPorts2(nullptr, nullptr, 2, buffer_, sizeof buffer_, &needed_, &count_));
        EXPECT_TRUE(enumPortsW(nullptr, 2, buffer_, sizeof buffer_, &needed_, &count_));
        EXPECT_TRUE(openPort2(nullptr, name, &handle_));
        EXPECT_TRUE(openPortExW(name, nullptr, &handle_, nullptr));
        EXPECT_FALSE(startDocPortW(port_, nullptr, 1, 1, noDocInfo_));
        EXPECT_FALSE(writePort(port_, buffer_, 1, &count_));
        EXPECT_TRUE(endDocPort(port_));
    }).join();
}

}  // namespace
}  // namespace velmora
