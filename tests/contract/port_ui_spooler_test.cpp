#include <windows.h>

#include <winspool.h>

#include "harness/clean_state.h"
#include "harness/dialog_driver.h"
#include "harness/monitor_keys.h"
#include "harness/packed_record.h"
#include "harness/port_dialog.h"
#include "ui/resources/resource_ids.h"

// The whole way: an administrator's call to the platform's spooler, which asks the monitor for its
// UI library and runs its dialog, which talks to the monitor through the spooler's channel.

namespace velmora::testing {
namespace {

class PortUiThroughSpooler : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        install("Velmora.dll");
        install("velmora_shim.dll");
        std::string name = kMonitor;
        std::string dll = "velmora_shim.dll";
        MONITOR_INFO_2A info{name.data(), nullptr, dll.data()};
        ASSERT_TRUE(AddMonitorA(nullptr, 2, reinterpret_cast<BYTE*>(&info))) << GetLastError();
        // The platform's spooler finds a port's monitor by this key, which only it would write.
        HKEY key = nullptr;
        RegCreateKeyA(HKEY_LOCAL_MACHINE, (kMonitorKey + "\\Ports\\IPP 1").c_str(), &key);
        RegCloseKey(key);
    }

    void TearDown() override {
        std::string name = kMonitor;
        EXPECT_TRUE(DeleteMonitorA(nullptr, nullptr, name.data()));
        for (const char* below : {"\\Ports\\IPP 1", "\\Ports", ""})
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, (kMonitorKey + below).c_str());
        for (const std::string& file : installed_)
            DeleteFileA(file.c_str());
        CleanStateTest::TearDown();
    }

    BOOL run(const std::function<BOOL()>& call,
             const std::function<void(const SheetDriver&)>& person) {
        BOOL result = FALSE;
        atPortDialog(
            [&] {
                result = call();
                lastError_ = GetLastError();
            },
            person);
        return result;
    }

    DWORD lastError_ = 0;

  private:
    void install(const std::string& file) {
        char program[MAX_PATH] = {};
        GetModuleFileNameA(nullptr, program, MAX_PATH);
        const std::string path = program;
        char system[MAX_PATH] = {};
        GetSystemDirectoryA(system, MAX_PATH);
        installed_.push_back(std::string(system) + "\\" + file);
        DeleteFileA(installed_.back().c_str());
        ASSERT_TRUE(CopyFileA((path.substr(0, path.rfind('\\') + 1) + file).c_str(),
                              installed_.back().c_str(), FALSE));
    }

    std::vector<std::string> installed_;
};

TEST_F(PortUiThroughSpooler, PortIsAddedConfiguredAndDeletedAndTheDirectoryTravels) {
    std::string monitor = kMonitor;
    EXPECT_TRUE(run([&] { return AddPortA(nullptr, nullptr, monitor.data()); },
                    [](const SheetDriver& sheet) {
                        sheet.page().type(IDC_PORT_NAME, "IPP 1");
                        sheet.page().type(IDC_PORT_URL, "ipp://printer");
                        sheet.ok();
                    }))
        << lastError_;
    EXPECT_EQ(readRegistry(kPortsKey, "IPP 1").size(), defaultRecord("IPP 1").size() + 13);
    EXPECT_EQ(readRegistry(kGroupsKey + "\\1", "Name"), Bytes().text("All groups").data());

    std::string port = "IPP 1";
    EXPECT_TRUE(run([&] { return ConfigurePortA(nullptr, nullptr, port.data()); },
                    [](const SheetDriver& sheet) {
                        EXPECT_EQ(sheet.page().text(IDC_PORT_NAME), "IPP 1");
                        EXPECT_EQ(sheet.page().text(IDC_PORT_URL), "ipp://printer");
                        sheet.page().click(IDC_PORT_MULTI);
                        sheet.page().checkRow(IDC_PORT_GROUPS, 0, true);
                        addGroup(sheet.openPage(2), "Office");
                        sheet.ok();
                    }))
        << lastError_;
    const auto record = readRegistry(kPortsKey, "IPP 1");
    EXPECT_EQ(record.size(), defaultRecord("IPP 1").size() + 4) << "one group, no URL";
    EXPECT_EQ(readRegistry(kGroupsKey + "\\2", "Name"), Bytes().text("Office").data());

    EXPECT_FALSE(run([&] { return AddPortA(nullptr, nullptr, monitor.data()); },
                     [](const SheetDriver& sheet) { sheet.cancel(); }));
    EXPECT_EQ(lastError_, static_cast<DWORD>(ERROR_CANCELLED));

    EXPECT_TRUE(DeletePortA(nullptr, nullptr, port.data())) << GetLastError();
    EXPECT_TRUE(readRegistry(kPortsKey, "IPP 1").empty());
}

}  // namespace
}  // namespace velmora::testing
