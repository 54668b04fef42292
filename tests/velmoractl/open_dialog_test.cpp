#include <windows.h>

#include <winspool.h>

#include <gtest/gtest.h>

#include "harness/clean_state.h"
#include "harness/dialog_driver.h"
#include "harness/monitor_keys.h"
#include "harness/port_dialog.h"
#include "harness/waiting.h"
#include "platform/handle.h"
#include "port/configuration_lock.h"
#include "ui/resources/resource_ids.h"

// The built tool beside the port's dialog, both through the platform's spooler.

namespace velmora::testing {
namespace {

constexpr DWORD kDone = 0;
constexpr DWORD kConflict = 4;

class ToolBesideTheDialog : public CleanStateTest {
  protected:
    void SetUp() override {
        CleanStateTest::SetUp();
        char program[MAX_PATH] = {};
        GetModuleFileNameA(nullptr, program, MAX_PATH);
        folder_ = std::string(program);
        folder_.erase(folder_.rfind('\\') + 1);
        for (const char* file : {"Velmora.dll", "velmora_shim.dll"}) {
            DeleteFileA(installed(file).c_str());
            ASSERT_TRUE(CopyFileA((folder_ + file).c_str(), installed(file).c_str(), FALSE));
        }
        // Wine's spooler is a part of each program, which loads the monitors of this key when it
        // first needs them: here after the tool has made the port. The port's key tells it the
        // monitor.
        const std::string driver = "velmora_shim.dll";
        writeRegistryRaw(kMonitorKey, "Driver", REG_SZ,
                         std::as_bytes(std::span(driver.c_str(), driver.size() + 1)));
        HKEY key = nullptr;
        RegCreateKeyA(HKEY_LOCAL_MACHINE, (kMonitorKey + "\\Ports\\Office").c_str(), &key);
        RegCloseKey(key);
        ASSERT_EQ(tool("port add Office --url ipp://printer.example/ipp/print"), kDone) << said_;
        ASSERT_EQ(tool("group add Before"), kDone) << said_;
    }

    void TearDown() override {
        for (const char* below : {"\\Ports\\Office", "\\Ports", ""})
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, (kMonitorKey + below).c_str());
        for (const char* file : {"Velmora.dll", "velmora_shim.dll"})
            DeleteFileA(installed(file).c_str());
        CleanStateTest::TearDown();
    }

    /// Runs the tool and returns its exit code; its output is in said_.
    DWORD tool(const std::string& words) {
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        HANDLE reader = nullptr;
        HANDLE writer = nullptr;
        if (!CreatePipe(&reader, &writer, &inherited, 0)) return ~DWORD{0};
        const UniqueEvent readerOwner(reader);
        UniqueEvent writerOwner(writer);
        STARTUPINFOA start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdOutput = start.hStdError = writer;
        PROCESS_INFORMATION process{};
        std::string line = "\"" + folder_ + "velmoractl.exe\" --monitor " + kMonitor + " " + words;
        if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                            &start, &process)) {
            return ~DWORD{0};
        }
        const UniqueEvent thread(process.hThread);
        const UniqueEvent owner(process.hProcess);
        writerOwner.reset();
        said_.clear();
        char piece[512];
        for (DWORD size = 0;
             ReadFile(reader, piece, sizeof piece, &size, nullptr) != FALSE && size != 0;)
            said_.append(piece, size);
        DWORD code = ~DWORD{0};
        if (WaitForSingleObject(owner.get(), kPatience) == WAIT_OBJECT_0)
            GetExitCodeProcess(owner.get(), &code);
        return code;
    }

    /// Opens the port's dialog; `person` operates it.
    static void openDialog(const std::function<void(const SheetDriver&)>& person) {
        std::string port = "Office";
        atPortDialog([&] { EXPECT_TRUE(ConfigurePortA(nullptr, nullptr, port.data())); }, person);
    }

    std::string said_;

  private:
    static std::string installed(const std::string& file) {
        char system[MAX_PATH] = {};
        GetSystemDirectoryA(system, MAX_PATH);
        return std::string(system) + "\\" + file;
    }

    std::string folder_;
};

TEST_F(ToolBesideTheDialog, TheDirectoryIsNotChangedUnderAnOpenDialog) {
    openDialog([&](const SheetDriver& sheet) {
        for (const char* words :
             {"group add New", "printer add P --url ipp://printer.example/ipp/print"}) {
            EXPECT_EQ(tool(words), kConflict) << words << ": " << said_;
            EXPECT_NE(said_.find("a port dialog is open on this computer"), std::string::npos)
                << said_;
        }
        // Commands that do not touch the directory work.
        EXPECT_EQ(tool("group list"), kDone) << said_;
        EXPECT_EQ(tool("port show Office"), kDone) << said_;
        sheet.ok();
    });
    EXPECT_EQ(readRegistry(kGroupsKey + "\\2", "Name"),
              std::vector<std::byte>(reinterpret_cast<const std::byte*>("Before"),
                                     reinterpret_cast<const std::byte*>("Before") + 7));
    EXPECT_TRUE(readRegistry(kGroupsKey + "\\3", "Name").empty());
    EXPECT_EQ(tool("group add New"), kDone) << said_;
    EXPECT_FALSE(readRegistry(kGroupsKey + "\\3", "Name").empty());
}

TEST_F(ToolBesideTheDialog, ADialogStoresWhenTheToolHasEnded) {
    openDialog([&](const SheetDriver& sheet) {
        sheet.page().click(IDC_PORT_MULTI);
        sheet.page().checkRow(IDC_PORT_GROUPS, 0, true);
        const auto before = readRegistry(kPortsKey, "Office");
        const auto changed = [&] { return readRegistry(kPortsKey, "Office") != before; };
        // Like a command at work: the dialog waits for it, up to five seconds.
        auto lock = std::make_unique<ConfigurationLock>(std::chrono::seconds(5));
        ASSERT_TRUE(lock->held());
        sheet.ok();
        sheet.waitUntilClosed();
        for (const DWORD start = GetTickCount(); GetTickCount() - start < 300 && !changed();)
            Sleep(10);
        EXPECT_FALSE(changed());
        lock.reset();
    });
    EXPECT_EQ(tool("port show Office"), kDone);
    EXPECT_NE(said_.find("prints to groups"), std::string::npos) << said_;
}

}  // namespace
}  // namespace velmora::testing
