// A save leaves what deleting everything and writing it anew would leave, and writes no more than
// what differs.

#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <thread>

#include "directory/groups_store.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "harness/registry_tool.h"
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

/// When each key below `path` was written last, by its name.
std::map<std::string, std::uint64_t> writeTimes(const std::string& path) {
    std::map<std::string, std::uint64_t> times;
    const RegistryKey key = RegistryKey::open(path);
    std::string name;
    for (DWORD index = 0; key.enumSubkey(index, name) == ERROR_SUCCESS; ++index) {
        UniqueRegKey subkey;
        FILETIME time{};
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, (path + "\\" + name).c_str(), 0, KEY_READ, subkey.put());
        EXPECT_EQ(RegQueryInfoKeyA(subkey.get(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr, &time),
                  ERROR_SUCCESS);
        times[name] = (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
    }
    return times;
}

std::vector<std::string> changedKeys(const std::map<std::string, std::uint64_t>& before,
                                     const std::string& path) {
    std::vector<std::string> changed;
    for (const auto& [name, time] : writeTimes(path)) {
        const auto old = before.find(name);
        if (old == before.end() || old->second != time) changed.push_back(name);
    }
    return changed;
}

class GroupsSave : public CleanStateTest {
  protected:
    std::vector<std::string> stored() {
        std::vector<std::string> lines = queryRegistryTool(kGroups);
        for (std::string& line : queryRegistryTool(kPrinters))
            lines.push_back(std::move(line));
        return lines;
    }
    /// What a save writes where nothing is.
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
        directory.AddPrinter("Printer", {"ipp://p", i % 2 == 0, "user", "password"}, 1);
    directory.Save();
    const auto printers = writeTimes(kPrinters);
    const auto groups = writeTimes(kGroups);
    ASSERT_EQ(printers.size(), 500u);
    ASSERT_EQ(groups.size(), 21u);
    directory.Save();
    EXPECT_EQ(changedKeys(printers, kPrinters), std::vector<std::string>{});

    directory.SetPortPrinter("Port 77", {"ipp://other", true, "user", "password"});
    directory.Save();
    EXPECT_EQ(changedKeys(printers, kPrinters), std::vector<std::string>{"Port 77"});
    EXPECT_EQ(changedKeys(groups, kGroups), std::vector<std::string>{});

    directory.RemovePortPrinter("Port 78");
    directory.RenameNode(7, "Another");
    directory.Save();
    EXPECT_EQ(changedKeys(groups, kGroups), std::vector<std::string>{"7"});
    EXPECT_EQ(writeTimes(kPrinters).size(), 499u);
    EXPECT_EQ(stored(), storedOnEmptyGround(directory));
}

/// Something that lies where a save writes, and what the directory is about to hold.
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
        // From one way of writing to the other.
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

}  // namespace
}  // namespace velmora
