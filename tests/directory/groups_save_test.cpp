// A save leaves the same as deleting everything and writing it again, and writes only the
// differences.

#include <windows.h>

#include <shlwapi.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "directory/groups_store.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "harness/registry_tool.h"
#include "harness/wininet/import_patch.h"
#include "platform/handle.h"
#include "platform/registry.h"
#include "tests/directory/directory_builders.h"

namespace velmora {
namespace {

using namespace velmora::testing;
using Block = std::vector<std::byte>;

const std::string kBase = "Software\\VelmoraTest\\Ipp\\PortMonitor\\1.1";
const std::string kGroups = kBase + "\\Printer groups";
const std::string kPrinters = kBase + "\\Printers";

Block textValue(const std::string& value) {
    return Bytes().text(value).data();
}

/// Counts the changes that this program asks the registry for. A key's time of last change would
/// not do: Wine leaves it alone if a value is set to what it is.
class RegistryWrites {
  public:
    RegistryWrites() { log.clear(); }

    /// The names of the values changed since the last call; "-" before deleted ones.
    static std::vector<std::string> take() { return std::exchange(log, {}); }

  private:
    static LSTATUS WINAPI set(HKEY key, const char* name, DWORD reserved, DWORD type,
                              const BYTE* data, DWORD size) {
        log.push_back(name);
        const auto real = reinterpret_cast<decltype(&RegSetValueExA)>(reinterpret_cast<void (*)()>(
            GetProcAddress(GetModuleHandleA("advapi32.dll"), "RegSetValueExA")));
        return real(key, name, reserved, type, data, size);
    }
    static LSTATUS WINAPI deleteValue(HKEY key, const char* name) {
        log.push_back("-" + std::string(name));
        const auto real = reinterpret_cast<decltype(&RegDeleteValueA)>(reinterpret_cast<void (*)()>(
            GetProcAddress(GetModuleHandleA("advapi32.dll"), "RegDeleteValueA")));
        return real(key, name);
    }
    static DWORD WINAPI deleteTree(HKEY key, const char* name) {
        log.push_back("-" + std::string(name));
        const auto real = reinterpret_cast<decltype(&SHDeleteKeyA)>(reinterpret_cast<void (*)()>(
            GetProcAddress(GetModuleHandleA("shlwapi.dll"), "SHDeleteKeyA")));
        return real(key, name);
    }

    inline static std::vector<std::string> log;

    const ImportPatch set_{"ADVAPI32.dll", "RegSetValueExA", reinterpret_cast<void (*)()>(&set)};
    const ImportPatch deleteValue_{"ADVAPI32.dll", "RegDeleteValueA",
                                   reinterpret_cast<void (*)()>(&deleteValue)};
    const ImportPatch deleteTree_{"SHLWAPI.dll", "SHDeleteKeyA",
                                  reinterpret_cast<void (*)()>(&deleteTree)};
};

class GroupsSave : public CleanStateTest {
  protected:
    std::vector<std::string> stored() {
        std::vector<std::string> lines = queryRegistryTool(kGroups);
        for (std::string& line : queryRegistryTool(kPrinters))
            lines.push_back(std::move(line));
        return lines;
    }
    /// What a save writes into an empty registry.
    std::vector<std::string> storedOnEmptyGround(const CGroupsDB& directory) {
        RegistryKey::deleteTree("Software\\VelmoraTest");
        directory.Save();
        return stored();
    }

    RegistryGroupsStore store{kBase, "All groups"};
};

TEST_F(GroupsSave, StoringOneOf500PortsWritesOneKey) {
    CGroupsDB directory(store);
    for (int i = 0; i < 500; ++i) {
        directory.SetPortPrinter("Port " + std::to_string(i),
                                 {"ipp://p" + std::to_string(i), true, "user", "password"});
    }
    for (int i = 0; i < 20; ++i)
        directory.AddPrinter("Printer", {"ipp://p", i % 2 != 0, "user", "password"}, 1);
    const RegistryWrites writes;
    using Names = std::vector<std::string>;
    directory.Save();
    // Three values a printer of a port, five or six a node, three for the root.
    EXPECT_EQ(writes.take().size(), 500u * 3 + 10 * 4 + 10 * 6 + 3);
    directory.Save();
    EXPECT_EQ(writes.take(), Names{});

    directory.SetPortPrinter("Port 77", {"ipp://other", true, "user", "password"});
    directory.Save();
    EXPECT_EQ(writes.take(), (Names{"URI", "User name", "Password"}));

    directory.RemovePortPrinter("Port 78");
    directory.RenameNode(7, "Another");
    directory.Save();
    EXPECT_EQ(writes.take(),
              (Names{"Parent", "Name", "Type", "URI", "User name", "Password", "-Port 78"}));
    EXPECT_EQ(stored(), storedOnEmptyGround(directory));
}

/// What is already stored where a save writes, and what the directory holds.
struct GroundCase {
    const char* what;
    std::function<void()> lay;
};

TEST_F(GroupsSave, WhateverWasThereTheResultIsThatOfEmptyGround) {
    const auto fill = [](CGroupsDB& directory) {
        const std::uint32_t group = directory.AddGroup("Group", 1)->id;
        directory.AddPrinter("Printer", {"ipp://a", true, "joe", "secret"}, group);
        directory.AddPrinter("Open", {"ipp://b", false, "", ""}, group);
        directory.SetPortPrinter("P", {"ipp://p", true, "u", "pw"});
        directory.SetPortPrinter("Q", {"ipp://q", false, "", ""});
        directory.SetPortPrinter("caf\xE9", {"ipp://c", false, "", ""});
    };
    const std::string printer = kGroups + "\\3";
    const GroundCase cases[] = {
        {"nothing", [] {}},
        {"a value of the table",
         [] { writeRegistryRaw(kGroups, "stray", REG_SZ, textValue("x")); }},
        {"a value of the other table",
         [] { writeRegistryRaw(kPrinters, "", REG_SZ, textValue("x")); }},
        {"keys of no record",
         [] {
             for (const char* name : {"abc", "-1", "007", "99999999999", "1 ", "+2", "4294967295"})
                 RegistryKey::create(kGroups + "\\" + name);
             RegistryKey::create(kPrinters + "\\Gone\\deeper");
         }},
        {"a key of another case", [] { RegistryKey::create(kPrinters + "\\p"); }},
        {"a key below a record",
         [&] { writeRegistryRaw(printer + "\\deeper", "v", REG_SZ, textValue("x")); }},
        {"one value more",
         [&] { writeRegistryRaw(kGroups + "\\4", "Password", REG_SZ, textValue("old")); }},
        {"one value less", [&] { RegistryKey::create(kPrinters + "\\P").deleteValue("Password"); }},
        {"another type",
         [&] { writeRegistryRaw(printer, "URI", REG_EXPAND_SZ, textValue("ipp://a")); }},
        {"another text", [&] { writeRegistryRaw(printer, "Name", REG_SZ, textValue("Prinser")); }},
        {"a text without its terminator",
         [&] { writeRegistryRaw(printer, "Name", REG_SZ, Block(7, std::byte{'P'})); }},
        {"a name of another case",
         [&] {
             RegistryKey::create(printer).deleteValue("URI");
             writeRegistryRaw(printer, "uri", REG_SZ, textValue("ipp://a"));
         }},
    };
    CGroupsDB directory(store);
    fill(directory);
    const std::vector<std::string> lines = storedOnEmptyGround(directory);
    ASSERT_GT(lines.size(), 20u);
    for (const GroundCase& c : cases) {
        SCOPED_TRACE(c.what);
        // Over what a save has left, and over nothing.
        c.lay();
        directory.Save();
        EXPECT_EQ(stored(), lines);
        RegistryKey::deleteTree("Software\\VelmoraTest");
        c.lay();
        directory.Save();
        EXPECT_EQ(stored(), lines);
    }
}

TEST_F(GroupsSave, PortsThatShareAKeyOrHaveAPathAreWrittenAsEver) {
    for (const std::vector<std::string>& names : std::vector<std::vector<std::string>>{
             {"P", "p"}, {"a\\b", "a"}, {"\\\\host\\queue"}, {"", "P"}, {"\xC9", "\xE9"}}) {
        CGroupsDB directory(store);
        bool hasAuth = true;
        for (const std::string& name : names) {
            directory.SetPortPrinter(name, {"ipp://" + name, hasAuth, "u", "pw"});
            hasAuth = !hasAuth;
        }
        const std::vector<std::string> lines = storedOnEmptyGround(directory);
        directory.Save();
        EXPECT_EQ(stored(), lines);
        // From one way of storing to the other.
        CGroupsDB plain(store);
        for (const std::string& name : names)
            plain.RemovePortPrinter(name);
        plain.SetPortPrinter("P", {"ipp://x", false, "", ""});
        store.save(plain);
        const std::vector<std::string> after = stored();
        EXPECT_EQ(after, storedOnEmptyGround(CGroupsDB(store)));
        RegistryKey::deleteTree("Software\\VelmoraTest");
    }
}

TEST_F(GroupsSave, NobodyInTheProcessReadsHalfADirectory) {
    CGroupsDB small(store);
    for (int i = 0; i < 10; ++i)
        small.SetPortPrinter("Port " + std::to_string(i), {"ipp://small", true, "u", "small"});
    CGroupsDB large(store);
    for (int i = 0; i < 20; ++i)
        large.SetPortPrinter("Port " + std::to_string(i), {"ipp://large", true, "u", "large"});
    small.Save();
    std::atomic<bool> over = false;
    std::jthread writer([&] {
        while (!over) {
            large.Save();
            small.Save();
        }
    });
    RegistryGroupsStore other{kBase, "All groups"};
    for (int round = 0; round < 50; ++round) {
        const CGroupsDB read(other);
        const std::size_t count = read.portPrinters().size();
        EXPECT_TRUE(count == 10 || count == 20) << count;
        for (const auto& [name, printer] : read.portPrinters())
            EXPECT_EQ(printer->address.password, count == 10 ? "small" : "large");
    }
    over = true;
}

/// Ten printers and some patterns, whose texts consist of `sign`.
CGroupsDB directoryOf(const std::string& sign, int ports) {
    CGroupsDB directory;
    directory.Insert(group(kRootGroup, 0, "All groups"));
    for (int i = 0; i < 10; ++i)
        directory.AddPrinter(sign, {sign, true, sign, sign}, kRootGroup);
    for (int i = 0; i < ports; ++i)
        directory.SetPortPrinter("Port " + std::to_string(i), {sign, true, sign, sign});
    return directory;
}

constexpr char kOtherProcess[] = "VELMORA_TEST_STORES";

/// A second process of this program, which stores other directories.
class OtherProcess {
  public:
    OtherProcess() {
        std::array<char, MAX_PATH> program{};
        GetModuleFileNameA(nullptr, program.data(), MAX_PATH);
        std::string command =
            std::string("\"") + program.data() + "\" --gtest_filter=StoresOfTwoProcesses.*";
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        SetEnvironmentVariableA(kOtherProcess, "1");
        EXPECT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                   nullptr, &startup, &process));
        SetEnvironmentVariableA(kOtherProcess, nullptr);
        process_.reset(process.hProcess);
        CloseHandle(process.hThread);
    }
    bool runs() const { return WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT; }

  private:
    UniqueEvent process_;
};

// Only their callers keep processes from saving at the same time. The result of two saves may be
// mixed, but every text is one that a process has stored, and the next save puts everything in
// order.
TEST(StoresOfTwoProcesses, LeaveWholeTextsAndTheNextSaveWins) {
    RegistryGroupsStore store{kBase, "All groups"};
    if (std::getenv(kOtherProcess) != nullptr) {
        for (int round = 0; round < 50; ++round) {
            store.save(directoryOf("a printer of the other", 5));
            store.save(directoryOf("b", 10));
        }
        return;
    }
    cleanState();
    const CGroupsDB mine = directoryOf("c", 7);
    const std::set<std::string> texts{"a printer of the other", "b", "c", "All groups"};
    store.save(mine);
    int rounds = 0;
    {
        const OtherProcess other;
        for (; other.runs(); ++rounds) {
            store.save(mine);
            const CGroupsDB read(store);
            for (const auto& [id, node] : read.nodes())
                EXPECT_TRUE(texts.contains(node->name)) << node->name;
        }
    }
    EXPECT_GT(rounds, 0);
    store.save(mine);
    EXPECT_EQ(nodesOf(CGroupsDB(store)), nodesOf(mine));
    EXPECT_EQ(CGroupsDB(store).portPrinters().size(), 7u);
    cleanState();
}

}  // namespace
}  // namespace velmora
