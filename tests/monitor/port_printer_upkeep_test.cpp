// The printer directory follows the ports: saving and deleting one changes its port printer there
// and nothing else.

#include <windows.h>

#include <gtest/gtest.h>

#include <array>

#include "directory/groups_db.h"
#include "directory/groups_store.h"
#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "harness/registry_tool.h"
#include "monitor/port_list.h"
#include "monitor/port_store.h"
#include "platform/registry.h"
#include "port/port_config.h"
#include "port/settings.h"

namespace velmora {
namespace {

using namespace velmora::testing;
using Lines = std::vector<std::string>;

const std::string kPorts = kDefaultMonitorKey + "\\Ports";
const std::string kPrinters = kDefaultMonitorKey + "\\Printers";
const std::string kRootOfGroups =
    "HKEY_LOCAL_MACHINE\\" + kDefaultMonitorKey + "\\Printer groups\\1";

PortConfig portOf(const std::string& name, const std::string& url, bool auth) {
    PortConfig config;
    config.name = name;
    config.singleTarget = 1;
    config.printer.url = url;
    config.printer.useAuthentication = auth ? 1 : 0;
    config.printer.userName = auth ? "joe" : "";
    config.printer.password = auth ? "secret" : "";
    return config;
}

class PortPrinterUpkeep : public CleanStateTest {
  protected:
    Lines storedPrinters() const { return queryRegistryTool(kPrinters); }

    RegistryPortStore store;
};

TEST_F(PortPrinterUpkeep, SavedPortIsRecordedUnderItsName) {
    PortList list(store);
    list.update(*list.add(portOf("IPP1", "", false)), portOf("IPP1", "ipp://h/p", true));
    EXPECT_EQ(
        storedPrinters(),
        (Lines{"HKEY_LOCAL_MACHINE\\" + kPrinters + "\\IPP1", "    Password    REG_SZ    secret",
               "    URI    REG_SZ    ipp://h/p", "    User name    REG_SZ    joe"}));
    EXPECT_EQ(
        queryRegistryTool(kDefaultMonitorKey + "\\Printer groups"),
        (Lines{kRootOfGroups, "    Name    REG_SZ    All groups",
               "    Parent    REG_BINARY    00000000", "    Type    REG_BINARY    00000000"}));
}

TEST_F(PortPrinterUpkeep, SavedAgainItIsReplaced) {
    PortList list(store);
    Port& port = *list.add(portOf("IPP1", "", false));
    list.update(port, portOf("IPP1", "ipp://h/p", true));
    list.update(port, portOf("IPP1", "ipp://h/q", false));
    EXPECT_EQ(storedPrinters(), (Lines{"HKEY_LOCAL_MACHINE\\" + kPrinters + "\\IPP1",
                                       "    URI    REG_SZ    ipp://h/q"}));
}

TEST_F(PortPrinterUpkeep, AddedPortIsNotRecorded) {
    PortList list(store);
    list.add(portOf("IPP1", "ipp://h/p", true));
    EXPECT_EQ(storedPrinters(), Lines{});
    EXPECT_EQ(queryRegistryTool(kDefaultMonitorKey), Lines{});
}

TEST_F(PortPrinterUpkeep, DeletedPortIsForgotten) {
    PortList list(store);
    Port& one = *list.add(portOf("IPP1", "", false));
    Port& two = *list.add(portOf("IPP2", "", false));
    list.update(one, portOf("IPP1", "ipp://h/p", true));
    list.update(two, portOf("IPP2", "ipp://h/q", false));
    list.remove(one);
    EXPECT_EQ(storedPrinters(), (Lines{"HKEY_LOCAL_MACHINE\\" + kPrinters + "\\IPP2",
                                       "    URI    REG_SZ    ipp://h/q"}));
    EXPECT_TRUE(readRegistry(kPorts, "IPP1").empty());
    EXPECT_FALSE(readRegistry(kPorts, "IPP2").empty());
}

TEST_F(PortPrinterUpkeep, DeletingAPortThatWasNeverSavedLeavesTheOthers) {
    PortList list(store);
    Port& one = *list.add(portOf("IPP1", "", false));
    Port& two = *list.add(portOf("IPP2", "", false));
    list.update(two, portOf("IPP2", "ipp://h/q", false));
    list.remove(one);
    EXPECT_EQ(list.size(), 1u);
    EXPECT_EQ(storedPrinters().size(), 2u);
}

TEST_F(PortPrinterUpkeep, TheTreeIsKept) {
    RegistryGroupsStore directory = directoryStore();
    CGroupsDB before(directory);
    CGroupsDBGroup* hall = before.AddGroup("Hall", 1);
    before.AddPrinter("P", {"ipp://h/p", true, "ann", "pw"}, hall->id);
    before.RenameNode(1, "Everything");
    before.Save();

    PortList list(store);
    Port& port = *list.add(portOf("IPP1", "", false));
    list.update(port, portOf("IPP1", "ipp://h/p", true));
    list.remove(port);

    const CGroupsDB after(directory);
    ASSERT_EQ(after.nodes().size(), 3u);
    EXPECT_EQ(after.FindNode(1)->name, "Everything");
    EXPECT_EQ(after.FindGroup(2)->parent, 1u);
    EXPECT_EQ(after.FindPrinter(3)->address.password, "pw");
    EXPECT_TRUE(after.portPrinters().empty());
}

/// Saving the whole directory would delete this value.
void mark(const std::string& key) {
    RegistryKey::create(key).setText("Mark", "x");
}

bool isMarked(const std::string& key) {
    std::array<std::byte, 16> area{};
    return RegistryKey::open(key).query("Mark", area).has_value();
}

TEST_F(PortPrinterUpkeep, ADirectoryThatIsAsItWasLeftIsNotRewritten) {
    PortList list(store);
    list.update(*list.add(portOf("IPP1", "", false)), portOf("IPP1", "ipp://h/p", false));
    mark(kPrinters + "\\IPP1");
    Port& two = *list.add(portOf("IPP2", "", false));
    list.update(two, portOf("IPP2", "ipp://h/q", true));
    list.update(two, portOf("IPP2", "ipp://h/r", false));
    EXPECT_TRUE(isMarked(kPrinters + "\\IPP1"));
    RegistryGroupsStore directory = directoryStore();
    const CGroupsDB db(directory);
    EXPECT_EQ(db.portPrinters().at("IPP2")->address.url, "ipp://h/r");
    EXPECT_EQ(db.portPrinters().at("IPP2")->address.useAuthentication, 0);
    list.remove(two);
    EXPECT_TRUE(isMarked(kPrinters + "\\IPP1"));
    EXPECT_TRUE(queryRegistryTool(kPrinters + "\\IPP2").empty());
}

TEST_F(PortPrinterUpkeep, ADirectoryThatSomebodyElseHasStoredIsRewritten) {
    PortList list(store);
    Port& one = *list.add(portOf("IPP1", "", false));
    list.update(one, portOf("IPP1", "ipp://h/p", false));
    mark(kPrinters + "\\IPP1");
    RegistryKey::create(kDefaultMonitorKey + "\\Printer groups\\abc");
    list.update(*list.add(portOf("IPP2", "", false)), portOf("IPP2", "ipp://h/q", false));
    EXPECT_FALSE(isMarked(kPrinters + "\\IPP1"));
}

TEST_F(PortPrinterUpkeep, TheLastPortsPrinterTakesItsKeyAlong) {
    PortList list(store);
    Port& one = *list.add(portOf("IPP1", "", false));
    list.update(one, portOf("IPP1", "ipp://h/p", false));
    list.remove(one);
    EXPECT_FALSE(RegistryKey::open(kPrinters));
}

TEST_F(PortPrinterUpkeep, NamesThatTheRegistryTakesForOneAreRewrittenAsEver) {
    PortList list(store);
    list.update(*list.add(portOf("ipp1", "", false)), portOf("ipp1", "ipp://h/p", false));
    mark(kPrinters + "\\ipp1");
    list.update(*list.add(portOf("IPP1", "", false)), portOf("IPP1", "ipp://h/q", false));
    EXPECT_FALSE(isMarked(kPrinters + "\\IPP1"));
    list.update(*list.add(portOf("a\\b", "", false)), portOf("a\\b", "ipp://h/r", false));
    EXPECT_TRUE(RegistryKey::open(kPrinters + "\\a\\b"));
}

TEST_F(PortPrinterUpkeep, TheRootIsNamedByTheInterfacesText) {
    writeSettingsFile("[PagePrinterGroups]\r\nAll groups=Alle Gruppen\r\n");
    RegistryGroupsStore directory = directoryStore();
    const CGroupsDB db(directory);
    EXPECT_EQ(db.FindNode(1)->name, "Alle Gruppen");
}

}  // namespace
}  // namespace velmora
