#include <windows.h>

#include <winspool.h>

#include <algorithm>
#include <string>
#include <vector>

#include "harness/clean_state.h"
#include "harness/packed_record.h"

namespace velmora::testing {
namespace {

const std::string kSpoolerMonitor = "Velmora";
const std::string kSpoolerKey =
    "System\\CurrentControlSet\\Control\\Print\\Monitors\\" + kSpoolerMonitor;

struct ListedPort {
    std::string port;
    std::string monitor;
    std::string description;
    DWORD type;
};

std::vector<ListedPort> spoolerPorts() {
    DWORD needed = 0;
    DWORD returned = 0;
    EnumPortsA(nullptr, 2, nullptr, 0, &needed, &returned);
    std::vector<BYTE> buffer(needed);
    EXPECT_TRUE(EnumPortsA(nullptr, 2, buffer.data(), needed, &needed, &returned));
    std::vector<ListedPort> ports;
    const auto* info = reinterpret_cast<const PORT_INFO_2A*>(buffer.data());
    for (DWORD i = 0; i < returned; ++i)
        ports.push_back(
            {info[i].pPortName, info[i].pMonitorName, info[i].pDescription, info[i].fPortType});
    return ports;
}

/// The platform's spooler with the built library as a registered monitor.
class Spooler : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        writeSettingsFile("[Strings]\r\nPort Monitor Name=Velmora IPP\r\nAppRegKey=AppRegKey\r\n");
        for (const std::string port : {"IPP1", "caf\xE9"}) {
            writeRegistryBinary(kDefaultMonitorKey + "\\Ports", port, defaultRecord(port));
            // The spooler finds a monitor by its ports' names below the monitor's own key.
            HKEY key = nullptr;
            RegCreateKeyA(HKEY_LOCAL_MACHINE, (kSpoolerKey + "\\Ports\\" + port).c_str(), &key);
            RegCloseKey(key);
        }
        char system[MAX_PATH] = {};
        GetSystemDirectoryA(system, MAX_PATH);
        installed_ = std::string(system) + "\\Velmora.dll";
        DeleteFileA(installed_.c_str());
        ASSERT_TRUE(
            CopyFileA((programFolder() + "\\Velmora.dll").c_str(), installed_.c_str(), FALSE));
        std::string name = kSpoolerMonitor;
        std::string dll = "Velmora.dll";
        MONITOR_INFO_2A info{name.data(), nullptr, dll.data()};
        ASSERT_TRUE(AddMonitorA(nullptr, 2, reinterpret_cast<BYTE*>(&info))) << GetLastError();
    }

    void TearDown() override {
        std::string name = kSpoolerMonitor;
        EXPECT_TRUE(DeleteMonitorA(nullptr, nullptr, name.data()));
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, (kSpoolerKey + "\\Ports\\IPP1").c_str());
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, (kSpoolerKey + "\\Ports\\caf\xE9").c_str());
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, (kSpoolerKey + "\\Ports").c_str());
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, kSpoolerKey.c_str());
        DeleteFileA(installed_.c_str());
        CleanStateTest::TearDown();
    }

    static std::string programFolder() {
        char path[MAX_PATH] = {};
        GetModuleFileNameA(nullptr, path, MAX_PATH);
        const std::string text = path;
        return text.substr(0, text.find_last_of('\\'));
    }

  private:
    std::string installed_;
};

TEST_F(Spooler, ListsThePortsOfTheRegisteredMonitor) {
    std::vector<std::string> names;
    for (const ListedPort& port : spoolerPorts()) {
        if (port.monitor != "Velmora IPP") continue;
        EXPECT_EQ(port.description, "Velmora IPP");
        EXPECT_EQ(port.type, static_cast<DWORD>(PORT_TYPE_WRITE | PORT_TYPE_READ));
        names.push_back(port.port);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"IPP1", "caf\xE9"}));
}

TEST_F(Spooler, OpensAndClosesAPort) {
    for (const std::string port : {"IPP1", "caf\xE9"}) {
        std::string name = port + ", Port";
        HANDLE handle = nullptr;
        ASSERT_TRUE(OpenPrinterA(name.data(), &handle, nullptr)) << GetLastError();
        EXPECT_TRUE(ClosePrinter(handle));
    }
    std::string unknown = "IPP2, Port";
    HANDLE handle = nullptr;
    EXPECT_FALSE(OpenPrinterA(unknown.data(), &handle, nullptr));
}

}  // namespace
}  // namespace velmora::testing
