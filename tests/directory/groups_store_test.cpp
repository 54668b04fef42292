// What is stored where, and how it is read; the registry is inspected with the platform's own calls
// and with its registry tool.

#include "directory/groups_store.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "harness/clean_state.h"
#include "harness/packed_record.h"
#include "harness/registry_tool.h"
#include "tests/directory/directory_builders.h"

namespace velmora {
namespace {

using namespace velmora::testing;
using Block = std::vector<std::byte>;
using Lines = std::vector<std::string>;
using Ids = std::vector<std::uint32_t>;

const std::string kBase = "Software\\VelmoraTest\\Ipp\\PortMonitor\\1.1";
const std::string kGroups = kBase + "\\Printer groups";
const std::string kPrinters = kBase + "\\Printers";

Block number(std::uint32_t value) {
    return Bytes().u32(value).data();
}

Block textValue(const std::string& value) {
    return Bytes().text(value).data();
}

bool keyExists(const std::string& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

class GroupsRegistry : public CleanStateTest {
  protected:
    void storeNode(const std::string& key, const Block& parent, const Block& name,
                   const Block& type) {
        writeRegistryRaw(kGroups + "\\" + key, "Parent", REG_BINARY, parent);
        writeRegistryRaw(kGroups + "\\" + key, "Name", REG_SZ, name);
        writeRegistryRaw(kGroups + "\\" + key, "Type", REG_BINARY, type);
    }
    void storeGroup(const std::string& key, std::uint32_t parent, const std::string& name) {
        storeNode(key, number(parent), textValue(name), number(0));
    }

    RegistryGroupsStore store{kBase, "All groups"};
};

TEST_F(GroupsRegistry, EmptyRegistryGivesTheRootAloneAndSaveStoresIt) {
    const CGroupsDB db(store);
    EXPECT_EQ(nodesOf(db), (std::vector<NodeFields>{{1, 0, 0, "All groups", "", 0, "", ""}}));
    EXPECT_TRUE(db.portPrinters().empty());
    EXPECT_EQ(db.nextId(), 2u);

    db.Save();
    const std::string root = "HKEY_LOCAL_MACHINE\\" + kGroups;
    EXPECT_EQ(
        queryRegistryTool(kBase),
        (Lines{root, root + "\\1", "    Name    REG_SZ    All groups",
               "    Parent    REG_BINARY    00000000", "    Type    REG_BINARY    00000000"}));
    EXPECT_FALSE(keyExists(kPrinters));
}

TEST_F(GroupsRegistry, EveryValueIsWhereTheRegistryToolExpectsIt) {
    CGroupsDB db(store);
    db.AddPrinter("Laser", {"ipp://h/p", true, "joe", "s3cret"}, 1);
    db.AddPrinter("Open", {"ipp://h/q", false, "unused", "unused"}, 0x01020304);
    db.SetPortPrinter("IPP1", {"https://h/r", true, "ann", ""});
    db.SetPortPrinter("IPP2", {"", false, "", ""});
    db.Save();
    const std::string groups = "HKEY_LOCAL_MACHINE\\" + kGroups;
    const std::string printers = "HKEY_LOCAL_MACHINE\\" + kPrinters;
    EXPECT_EQ(queryRegistryTool(kBase), (Lines{
                                            groups,
                                            groups + "\\1",
                                            "    Name    REG_SZ    All groups",
                                            "    Parent    REG_BINARY    00000000",
                                            "    Type    REG_BINARY    00000000",
                                            groups + "\\2",
                                            "    Name    REG_SZ    Laser",
                                            "    Parent    REG_BINARY    01000000",
                                            "    Password    REG_SZ    s3cret",
                                            "    Type    REG_BINARY    01000000",
                                            "    URI    REG_SZ    ipp://h/p",
                                            "    User name    REG_SZ    joe",
                                            groups + "\\3",
                                            "    Name    REG_SZ    Open",
                                            "    Parent    REG_BINARY    04030201",
                                            "    Type    REG_BINARY    01000000",
                                            "    URI    REG_SZ    ipp://h/q",
                                            printers,
                                            printers + "\\IPP1",
                                            "    Password    REG_SZ    ",
                                            "    URI    REG_SZ    https://h/r",
                                            "    User name    REG_SZ    ann",
                                            printers + "\\IPP2",
                                            "    URI    REG_SZ    ",
                                        }));
}

TEST_F(GroupsRegistry, TextsAreStoredWithTheirTerminator) {
    CGroupsDB db(store);
    db.AddPrinter("N\xE4me", {"", true, "", "p"}, 1);
    db.SetPortPrinter("Port", {"u", true, "", ""});
    db.Save();
    const struct {
        std::string key;
        const char* value;
        unsigned long type;
        Block data;
    } expected[] = {
        {kGroups + "\\2", "Parent", REG_BINARY, number(1)},
        {kGroups + "\\2", "Name", REG_SZ, textValue("N\xE4me")},
        {kGroups + "\\2", "Type", REG_BINARY, number(1)},
        {kGroups + "\\2", "URI", REG_SZ, Block(1)},
        {kGroups + "\\2", "User name", REG_SZ, Block(1)},
        {kGroups + "\\2", "Password", REG_SZ, textValue("p")},
        {kPrinters + "\\Port", "URI", REG_SZ, textValue("u")},
        {kPrinters + "\\Port", "User name", REG_SZ, Block(1)},
        {kPrinters + "\\Port", "Password", REG_SZ, Block(1)},
    };
    for (const auto& each : expected) {
        unsigned long type = REG_NONE;
        EXPECT_EQ(readRegistry(each.key, each.value, &type), each.data) << each.key << each.value;
        EXPECT_EQ(type, each.type) << each.key << each.value;
    }
    const CGroupsDB again(store);
    EXPECT_EQ(nodesOf(again), nodesOf(db));
    EXPECT_EQ(portPrintersOf(again), portPrintersOf(db));
}

TEST_F(GroupsRegistry, NextIdIsOnePastTheLargestStoredId) {
    for (const char* id : {"1", "5", "9"})
        storeGroup(id, id[0] == '1' ? 0 : 1, id);
    CGroupsDB db(store);
    EXPECT_EQ(idsOf(db), (Ids{1, 5, 9}));
    EXPECT_EQ(db.nextId(), 10u);
    db.DeleteNode(9);
    EXPECT_EQ(db.nextId(), 10u);
    db.Save();
    db.Load();
    EXPECT_EQ(idsOf(db), (Ids{1, 5}));
    EXPECT_EQ(db.nextId(), 6u);
}

TEST_F(GroupsRegistry, StoredRootKeepsItsName) {
    storeGroup("1", 0, "Alle Gruppen");
    const CGroupsDB db(store);
    EXPECT_EQ(db.FindNode(1)->name, "Alle Gruppen");
}

TEST_F(GroupsRegistry, CredentialsOfAPrinterWithoutAuthenticationAreNotStored) {
    CGroupsDB db(store);
    db.AddPrinter("P", {"u", false, "joe", "secret"}, 1);
    db.SetPortPrinter("Port", {"u", false, "joe", "secret"});
    db.Save();
    EXPECT_TRUE(readRegistry(kGroups + "\\2", "User name").empty());
    EXPECT_TRUE(readRegistry(kPrinters + "\\Port", "User name").empty());
    db.Load();
    EXPECT_EQ(fieldsOf(*db.FindNode(2)), (NodeFields{2, 1, 1, "P", "u", 0, "", ""}));
    EXPECT_EQ(portPrintersOf(db), (std::vector<NodeFields>{{0, 0, 0, "Port", "u", 0, "", ""}}));
}

TEST_F(GroupsRegistry, AnEmptyUserNameIsAuthentication) {
    storeNode("2", number(1), textValue("P"), number(1));
    writeRegistryRaw(kGroups + "\\2", "URI", REG_SZ, textValue("u"));
    writeRegistryRaw(kGroups + "\\2", "User name", REG_SZ, Block(1));
    writeRegistryRaw(kGroups + "\\2", "Password", REG_SZ, textValue("p"));
    const CGroupsDB db(store);
    EXPECT_EQ(fieldsOf(*db.FindNode(2)), (NodeFields{2, 1, 1, "P", "u", 1, "", "p"}));
}

TEST_F(GroupsRegistry, PasswordWithoutUserNameIsNotRead) {
    storeNode("2", number(1), textValue("P"), number(1));
    writeRegistryRaw(kGroups + "\\2", "URI", REG_SZ, textValue("u"));
    writeRegistryRaw(kGroups + "\\2", "Password", REG_SZ, textValue("p"));
    const CGroupsDB db(store);
    EXPECT_EQ(fieldsOf(*db.FindNode(2)), (NodeFields{2, 1, 1, "P", "u", 0, "", ""}));
}

struct KeyName {
    const char* name;
    std::uint32_t id;
    std::uint32_t nextId;
};

TEST_F(GroupsRegistry, KeyNamesAreReadAsNumbers) {
    const KeyName cases[] = {
        {"2", 2, 3},
        {"abc", 0, 2},
        {"0", 0, 2},
        {"-1", 4294967295, 0},
        {"-2", 4294967294, 4294967295},
        {"007", 7, 8},
        {"+7", 7, 8},
        {" 7", 7, 8},
        {"7x8", 7, 8},
        {"7.9", 7, 8},
        {"0x10", 0, 2},
        {"2147483647", 2147483647, 2147483648},
        {"2147483648", 2147483648, 2147483649},
        {"4294967295", 4294967295, 0},
        {"4294967296", 0, 2},
        {"99999999999", 1215752191, 1215752192},
        {"99999999999999999999", 4294967295, 0},
        {"-99999999999999999999", 0, 2},
    };
    for (const KeyName& each : cases) {
        cleanState();
        storeGroup(each.name, 1, "G");
        const CGroupsDB db(store);
        EXPECT_EQ(idsOf(db), (each.id == 0 ? Ids{0, 1} : Ids{1, each.id})) << each.name;
        EXPECT_EQ(db.nextId(), each.nextId) << each.name;
        EXPECT_EQ(nodeIdOfKey(each.name), each.id);
    }
}

TEST_F(GroupsRegistry, LargeIdsSurviveSaveAndLoad) {
    CGroupsDB db(store);
    for (const std::uint32_t id : {0u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu})
        db.Insert(group(id, 0x80000000, "G"));
    db.Save();
    EXPECT_TRUE(keyExists(kGroups + "\\4294967295"));
    EXPECT_TRUE(keyExists(kGroups + "\\2147483648"));
    const CGroupsDB again(store);
    EXPECT_EQ(nodesOf(again), nodesOf(db));
}

TEST_F(GroupsRegistry, KeysOfOneIdLeaveTheRecordThatIsReadLast) {
    storeGroup("5", 1, "first");
    storeGroup("5b", 1, "second");
    const CGroupsDB db(store);
    EXPECT_EQ(idsOf(db), (Ids{1, 5}));
    // The registry lists its keys by name.
    EXPECT_EQ(db.FindNode(5)->name, "second");
}

TEST_F(GroupsRegistry, OtherTypesMakeNoRecordButUseTheirId) {
    storeNode("8", number(1), textValue("?"), number(2));
    storeNode("9", number(1), textValue("?"), number(0xFFFFFFFF));
    const CGroupsDB db(store);
    EXPECT_EQ(idsOf(db), Ids{1});
    EXPECT_EQ(db.nextId(), 10u);
}

TEST_F(GroupsRegistry, AKeyThatCannotBeOpenedIsSkippedButUsesItsId) {
    storeGroup("3", 1, "G");
    HKEY link = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, (kGroups + "\\7").c_str(), 0, nullptr,
                              REG_OPTION_CREATE_LINK | REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                              &link, nullptr),
              ERROR_SUCCESS);
    static constexpr wchar_t kNowhere[] = L"\\Registry\\Machine\\Software\\VelmoraTest\\Nowhere";
    RegSetValueExW(link, L"SymbolicLinkValue", 0, REG_LINK, reinterpret_cast<const BYTE*>(kNowhere),
                   sizeof kNowhere - sizeof(wchar_t));
    const CGroupsDB db(store);
    // A link is deleted through its own handle; by name it would be followed.
    using DeleteKey = LONG(WINAPI*)(HANDLE);
    const auto deleteKey = reinterpret_cast<DeleteKey>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtDeleteKey")));
    EXPECT_EQ(deleteKey(link), 0);
    RegCloseKey(link);
    EXPECT_EQ(idsOf(db), (Ids{1, 3}));
    EXPECT_EQ(db.nextId(), 8u);
}

TEST_F(GroupsRegistry, SaveRewritesEverything) {
    storeGroup("77", 1, "stale");
    writeRegistryRaw(kGroups + "\\77\\deeper", "stray", REG_SZ, textValue("x"));
    writeRegistryRaw(kPrinters + "\\Gone", "URI", REG_SZ, textValue("u"));
    writeRegistryRaw(kBase + "\\Ports", "Port", REG_BINARY, number(1));
    CGroupsDB db(store);
    db.DeleteNode(77);
    db.RemovePortPrinter("Gone");
    db.Save();
    EXPECT_EQ(
        queryRegistryTool(kGroups),
        (Lines{"HKEY_LOCAL_MACHINE\\" + kGroups + "\\1", "    Name    REG_SZ    All groups",
               "    Parent    REG_BINARY    00000000", "    Type    REG_BINARY    00000000"}));
    EXPECT_FALSE(keyExists(kPrinters));
    EXPECT_EQ(readRegistry(kBase + "\\Ports", "Port"), number(1)) << "not ours to delete";
}

TEST_F(GroupsRegistry, WithoutRecordsTheKeyStandsAndTheNextLoadHasARoot) {
    CGroupsDB db(store);
    db.DeleteNode(1);
    db.Save();
    EXPECT_TRUE(keyExists(kGroups));
    EXPECT_FALSE(keyExists(kGroups + "\\1"));
    db.Load();
    EXPECT_EQ(idsOf(db), Ids{1});
}

TEST_F(GroupsRegistry, LoadForgetsWhatWasThereBefore) {
    CGroupsDB db(store);
    db.Save();
    db.AddGroup("G", 1);
    db.SetPortPrinter("P", {"u", false, "", ""});
    db.Load();
    EXPECT_EQ(idsOf(db), Ids{1});
    EXPECT_TRUE(db.portPrinters().empty());
    EXPECT_EQ(db.nextId(), 2u);
}

TEST_F(GroupsRegistry, PortPrintersDoNotMoveNextId) {
    writeRegistryRaw(kPrinters + "\\99", "URI", REG_SZ, textValue("u"));
    const CGroupsDB db(store);
    EXPECT_EQ(db.portPrinters().at("99")->address.url, "u");
    EXPECT_EQ(db.nextId(), 2u);
}

TEST_F(GroupsRegistry, PortNamesThatDifferByCaseShareAKey) {
    CGroupsDB db(store);
    db.SetPortPrinter("PORT", {"first", false, "", ""});
    db.SetPortPrinter("port", {"second", false, "", ""});
    EXPECT_EQ(db.portPrinters().size(), 2u);
    db.Save();
    db.Load();
    EXPECT_EQ(portPrintersOf(db),
              (std::vector<NodeFields>{{0, 0, 0, "PORT", "second", 0, "", ""}}));
}

TEST_F(GroupsRegistry, PortNamesOfAnyCharacters) {
    const Lines names{"P", "Port", "Port 2", "a,b \"c\"", "\xE4\xF6\xFF", std::string(255, 'n')};
    CGroupsDB db(store);
    for (const std::string& name : names)
        db.SetPortPrinter(name, {"ipp://" + name, true, name, name});
    const auto expected = portPrintersOf(db);
    // A key cannot have this name, which must not lose the others.
    db.SetPortPrinter(std::string(2000, 'x'), {"u", false, "", ""});
    db.Save();
    db.Load();
    EXPECT_EQ(portPrintersOf(db), expected);
}

TEST_F(GroupsRegistry, PortNameWithBackslashMakesAKeyBelowAKey) {
    CGroupsDB db(store);
    db.SetPortPrinter("a\\b", {"inner", true, "joe", "pw"});
    db.SetPortPrinter("z", {"outer", false, "", ""});
    db.Save();
    EXPECT_EQ(readRegistry(kPrinters + "\\a\\b", "URI"), textValue("inner"));
    db.Load();
    ASSERT_EQ(db.portPrinters().size(), 2u);
    EXPECT_EQ(db.portPrinters().count("a"), 1u) << "the outer key reads as a port of its own";
    EXPECT_EQ(db.portPrinters().at("z")->address.url, "outer");
}

TEST_F(GroupsRegistry, PortNameWithLeadingBackslashesIsStoredBehindThem) {
    CGroupsDB db(store);
    db.SetPortPrinter("\\\\host\\port", {"u", false, "", ""});
    db.SetPortPrinter("\\", {"v", false, "", ""});
    db.Save();
    EXPECT_EQ(readRegistry(kPrinters + "\\host\\port", "URI"), textValue("u"));
    EXPECT_EQ(readRegistry(kPrinters, "URI"), textValue("v"));
}

TEST_F(GroupsRegistry, DamagedTreesAreReadAsTheyStand) {
    storeGroup("1", 1, "own parent");
    storeGroup("2", 3, "A");
    storeGroup("3", 2, "B");
    storeGroup("4", 99, "lost");
    CGroupsDB db(store);
    EXPECT_EQ(idsOf(db), (Ids{1, 2, 3, 4}));
    EXPECT_EQ(db.FindNode(1)->parent, 1u);
    db.Save();
    const CGroupsDB again(store);
    EXPECT_EQ(nodesOf(again), nodesOf(db));
}

TEST_F(GroupsRegistry, LargerDirectorySurvives) {
    CGroupsDB db(store);
    for (std::uint32_t i = 0; i < 300; ++i) {
        const std::string name = std::to_string(i);
        db.AddGroup(name, i / 3 + 1);
        db.AddPrinter(name, {"ipp://host/" + name, i % 2 == 0, i % 2 == 0 ? name : "", ""},
                      i / 2 + 1);
        db.SetPortPrinter(name, {name, i % 3 == 0, i % 3 == 0 ? name : "", ""});
    }
    db.Save();
    const CGroupsDB again(store);
    EXPECT_EQ(nodesOf(again), nodesOf(db));
    EXPECT_EQ(portPrintersOf(again), portPrintersOf(db));
    EXPECT_EQ(again.nextId(), db.nextId());
}

/// A value that cannot be read becomes what the query buffer holds. The buffer is filled in the
/// order "Parent", "Name", "Type", "URI", "User name", "Password".
using UnreadableValue = GroupsRegistry;

TEST_F(UnreadableValue, AreaStartsZeroedAtEachLoad) {
    writeRegistryRaw(kGroups + "\\5", "stray", REG_SZ, textValue("x"));
    const std::vector<NodeFields> expected{{1, 0, 0, "All groups", "", 0, "", ""},
                                           {5, 0, 0, "", "", 0, "", ""}};
    CGroupsDB db(store);
    EXPECT_EQ(nodesOf(db), expected);
    // Leaves text in the buffer after the last query of the first load.
    writeRegistryRaw(kPrinters + "\\P", "URI", REG_SZ, textValue("left over"));
    db.Load();
    EXPECT_EQ(nodesOf(db), expected);
    db.Load();
    EXPECT_EQ(nodesOf(db), expected);
}

TEST_F(UnreadableValue, MissingTypeIsTakenFromTheName) {
    writeRegistryRaw(kGroups + "\\5", "Parent", REG_BINARY, number(1));
    writeRegistryRaw(kGroups + "\\5", "Name", REG_SZ, textValue("Office"));
    writeRegistryRaw(kGroups + "\\6", "Parent", REG_BINARY, number(0));
    writeRegistryRaw(kGroups + "\\6", "Name", REG_SZ, Block(1));
    const CGroupsDB db(store);
    EXPECT_EQ(nodesOf(db), (std::vector<NodeFields>{{1, 0, 0, "All groups", "", 0, "", ""},
                                                    {6, 0, 0, "", "", 0, "", ""}}))
        << "no type begins with the bytes of \"Offi\"; four zero bytes are a group";
    EXPECT_EQ(db.nextId(), 7u);
}

TEST_F(UnreadableValue, MissingNameAndTypeAreTakenFromTheParent) {
    writeRegistryRaw(kGroups + "\\5", "Parent", REG_BINARY, number(1));
    const CGroupsDB db(store);
    EXPECT_EQ(fieldsOf(*db.FindNode(5)), (NodeFields{5, 1, 1, "\1", "\1", 0, "", ""}));
}

TEST_F(UnreadableValue, MissingParentIsTakenFromTheRecordBefore) {
    storeGroup("3", 7, "three");
    writeRegistryRaw(kGroups + "\\4", "Name", REG_SZ, textValue("four"));
    writeRegistryRaw(kGroups + "\\4", "Type", REG_BINARY, number(0));
    storeNode("5", number(0x01020304), textValue("five"), number(1));
    writeRegistryRaw(kGroups + "\\5", "URI", REG_SZ, textValue("abcd"));
    writeRegistryRaw(kGroups + "\\6", "Name", REG_SZ, textValue("six"));
    writeRegistryRaw(kGroups + "\\6", "Type", REG_BINARY, number(0));
    const CGroupsDB db(store);
    EXPECT_EQ(db.FindNode(4)->parent, 0u) << "the Type before";
    EXPECT_EQ(db.FindNode(6)->parent, 0x64636261u) << "the URI before";
}

TEST_F(UnreadableValue, ShortParentKeepsTheBytesBehindIt) {
    storeNode("2", number(0), textValue("zero"), number(1));
    writeRegistryRaw(kGroups + "\\2", "URI", REG_SZ, textValue("ABCDE"));
    for (std::size_t size = 0; size < 4; ++size) {
        storeNode("3", Block(size, std::byte{9}), textValue("G"), number(0));
        const CGroupsDB db(store);
        Block expected = textValue("ABC");
        expected[3] = std::byte{'D'};
        std::fill_n(expected.begin(), size, std::byte{9});
        EXPECT_EQ(number(db.FindNode(3)->parent), expected) << size;
    }
}

TEST_F(UnreadableValue, TypesOfValuesAreNotLookedAt) {
    writeRegistryRaw(kGroups + "\\2", "Parent", REG_DWORD, number(1));
    writeRegistryRaw(kGroups + "\\2", "Name", REG_BINARY, textValue("binary"));
    writeRegistryRaw(kGroups + "\\2", "Type", REG_NONE, number(1));
    writeRegistryRaw(kGroups + "\\2", "URI", REG_EXPAND_SZ, textValue("%u%"));
    const CGroupsDB db(store);
    EXPECT_EQ(fieldsOf(*db.FindNode(2)), (NodeFields{2, 1, 1, "binary", "%u%", 0, "", ""}));
}

TEST_F(UnreadableValue, TextWithoutTerminatorEndsAtTheNextZeroOfTheArea) {
    writeRegistryRaw(kGroups + "\\2", "Parent", REG_BINARY,
                     Bytes().u32(1).text("0123456789").data());
    writeRegistryRaw(kGroups + "\\2", "Name", REG_BINARY, Block(6, std::byte{'n'}));
    writeRegistryRaw(kGroups + "\\2", "Type", REG_BINARY, number(0));
    const CGroupsDB db(store);
    EXPECT_EQ(fieldsOf(*db.FindNode(2)), (NodeFields{2, 1, 0, "nnnnnn23456789", "", 0, "", ""}));
}

TEST_F(UnreadableValue, TextThatFillsTheAreaEndsWithIt) {
    // The platform counts a terminator after a text that is stored without one; here it has none.
    const Block text(1025, std::byte{'n'});
    for (const unsigned long type : {REG_SZ, REG_BINARY}) {
        writeRegistryRaw(kGroups + "\\2", "Parent", REG_BINARY, number(1));
        writeRegistryRaw(kGroups + "\\2", "Name", type, std::span(text).first(1024));
        writeRegistryRaw(kGroups + "\\2", "Type", REG_BINARY, number(0));
        const CGroupsDB db(store);
        EXPECT_EQ(db.FindNode(2)->name, std::string(1024, 'n')) << type;
    }
}

TEST_F(UnreadableValue, ValueOfMoreThan1024BytesIsNotRead) {
    for (const unsigned long type : {REG_SZ, REG_BINARY}) {
        writeRegistryRaw(kGroups + "\\2", "Parent", REG_BINARY, number(0x00434241));
        writeRegistryRaw(kGroups + "\\2", "Type", REG_BINARY, number(0));
        Block text(1025, std::byte{'n'});
        text.back() = std::byte{0};
        writeRegistryRaw(kGroups + "\\2", "Name", type, text);
        CGroupsDB db(store);
        EXPECT_EQ(db.FindNode(2)->name, "ABC") << type;
        text.erase(text.begin());
        writeRegistryRaw(kGroups + "\\2", "Name", type, text);
        db.Load();
        EXPECT_EQ(db.FindNode(2)->name, std::string(1023, 'n')) << type;
    }
}

TEST_F(UnreadableValue, UserNameThatIsTooLongIsNoAuthentication) {
    writeRegistryRaw(kPrinters + "\\P", "URI", REG_SZ, textValue("u"));
    writeRegistryRaw(kPrinters + "\\P", "User name", REG_SZ, textValue(std::string(1024, 'n')));
    writeRegistryRaw(kPrinters + "\\P", "Password", REG_SZ, textValue("p"));
    const CGroupsDB db(store);
    EXPECT_EQ(portPrintersOf(db), (std::vector<NodeFields>{{0, 0, 0, "P", "u", 0, "", ""}}));
}

/// The password of one printer must never show up as something else of another.
TEST_F(UnreadableValue, BehindAPasswordItReadsAsEmpty) {
    const auto storeSecret = [](const std::string& key) {
        writeRegistryRaw(key, "URI", REG_SZ, textValue("u"));
        writeRegistryRaw(key, "User name", REG_SZ, textValue("joe"));
        writeRegistryRaw(key, "Password", REG_SZ, textValue("secret"));
    };
    storeNode("2", number(1), textValue("A"), number(1));
    storeSecret(kGroups + "\\2");
    writeRegistryRaw(kGroups + "\\3", "Name", REG_SZ, textValue("B"));
    storeSecret(kPrinters + "\\A");
    // A port's name with a backslash; a URL that does not fit.
    writeRegistryRaw(kPrinters + "\\B\\C", "URI", REG_SZ, textValue("v"));
    storeSecret(kPrinters + "\\C");
    writeRegistryRaw(kPrinters + "\\D", "URI", REG_SZ, textValue(std::string(1024, 'u')));
    const CGroupsDB db(store);
    EXPECT_EQ(nodesOf(db)[1], (NodeFields{2, 1, 1, "A", "u", 1, "joe", "secret"}));
    const std::vector<NodeFields> printers = portPrintersOf(db);
    ASSERT_EQ(printers.size(), 4u);
    EXPECT_EQ(printers[0], (NodeFields{0, 0, 0, "A", "u", 1, "joe", "secret"}));
    EXPECT_EQ(printers[1], (NodeFields{0, 0, 0, "B", "", 0, "", ""}));
    EXPECT_EQ(printers[3], (NodeFields{0, 0, 0, "D", "", 0, "", ""}));
    for (const auto& [id, node] : db.nodes())
        EXPECT_NE(node->parent, 0x72636573u) << "the first letters of the password";
}

TEST_F(UnreadableValue, MissingTextsOfAPortPrinterAreThoseBefore) {
    writeRegistryRaw(kPrinters + "\\A", "URI", REG_SZ, textValue("first"));
    writeRegistryRaw(kPrinters + "\\B", "User name", REG_SZ, textValue("joe"));
    const CGroupsDB db(store);
    EXPECT_EQ(portPrintersOf(db),
              (std::vector<NodeFields>{{0, 0, 0, "A", "first", 0, "", ""},
                                       {0, 0, 0, "B", "first", 1, "joe", "joe"}}));
}

}  // namespace
}  // namespace velmora
