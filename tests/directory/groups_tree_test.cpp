#include <gtest/gtest.h>

#include "directory/groups_db.h"
#include "tests/directory/directory_builders.h"

namespace velmora {
namespace {

using namespace velmora::testing;
using Ids = std::vector<std::uint32_t>;

/// 1 root: 2 "Hall": 3 printer "P1", 4 "Desk": 5 printer "P2"; 6 printer "P3"
class Tree : public ::testing::Test {
  protected:
    Tree() {
        db.Insert(group(1, 0, "All groups"));
        db.Insert(group(2, 1, "Hall"));
        db.Insert(printer(3, 2, "P1", "ipp://one/", 1, "joe", "secret"));
        db.Insert(group(4, 2, "Desk"));
        db.Insert(printer(5, 4, "P2", "ipp://two/"));
        db.Insert(printer(6, 1, "P3", "ipp://three/"));
    }

    bool canPlace(std::uint32_t node, std::uint32_t target) const {
        return db.CanPlace(*db.FindNode(node), target);
    }

    CGroupsDB db;
};

TEST(Directory, StartsEmptyWithTwoAsNextId) {
    const CGroupsDB db;
    EXPECT_TRUE(db.nodes().empty());
    EXPECT_TRUE(db.portPrinters().empty());
    EXPECT_EQ(db.nextId(), 2u);
}

TEST(Directory, ClearForgetsEverything) {
    CGroupsDB db;
    db.Insert(group(7, 0, "G"));
    db.SetPortPrinter("Port", {"ipp://h/", true, "u", "p"});
    db.Clear();
    EXPECT_TRUE(db.nodes().empty());
    EXPECT_TRUE(db.portPrinters().empty());
    EXPECT_EQ(db.nextId(), 2u);
}

TEST(Directory, WithoutStoreLoadAndSaveLeaveItAsItIs) {
    CGroupsDB db;
    db.Insert(group(7, 0, "G"));
    db.Save();
    db.Load();
    EXPECT_EQ(idsOf(db), Ids{7});
}

/// Counts its calls; a load brings one group.
class FakeStore : public GroupsStore {
  public:
    void load(CGroupsDB& directory) override {
        sizesAtLoad.push_back(directory.nodes().size() + directory.portPrinters().size());
        directory.Insert(group(storedId, 1, "stored"));
    }
    void save(const CGroupsDB& directory) override { saved.push_back(idsOf(directory)); }

    std::uint32_t storedId = 3;
    std::vector<std::size_t> sizesAtLoad;
    std::vector<Ids> saved;
};

TEST(Directory, WithAStoreIsReadAtOnceAndSavedOnRequestOnly) {
    FakeStore store;
    CGroupsDB db(store);
    EXPECT_EQ(idsOf(db), Ids{3});
    EXPECT_TRUE(store.saved.empty());
    db.AddGroup("new", 1);
    db.Save();
    EXPECT_EQ(store.saved, (std::vector<Ids>{{3, 4}}));
    EXPECT_EQ(store.sizesAtLoad, std::vector<std::size_t>{0});
}

TEST(Directory, LoadForgetsWhatTheStoreDoesNotHave) {
    FakeStore store;
    CGroupsDB db(store);
    db.Insert(group(70, 1, "not saved"));
    db.SetPortPrinter("not saved", {"ipp://h/", 0, "", ""});
    store.storedId = 5;
    db.Load();
    EXPECT_EQ(store.sizesAtLoad, (std::vector<std::size_t>{0, 0}));
    EXPECT_EQ(idsOf(db), Ids{5});
    EXPECT_TRUE(db.portPrinters().empty());
    EXPECT_EQ(db.nextId(), 6u);
}

TEST(Directory, NextIdGoesPastEveryInsertedIdAndWraps) {
    CGroupsDB db;
    db.Insert(group(1, 0, "root"));
    EXPECT_EQ(db.nextId(), 2u);
    db.Insert(group(9, 1, "A"));
    EXPECT_EQ(db.nextId(), 10u);
    db.Insert(group(5, 1, "B"));
    EXPECT_EQ(db.nextId(), 10u);
    db.Insert(group(0xFFFFFFFF, 1, "C"));
    EXPECT_EQ(db.nextId(), 0u);
}

TEST(Directory, InsertReplacesTheRecordOfThatId) {
    CGroupsDB db;
    db.Insert(group(3, 1, "old"));
    db.Insert(printer(3, 2, "new"));
    ASSERT_EQ(db.nodes().size(), 1u);
    EXPECT_EQ(db.FindNode(3)->name, "new");
    EXPECT_EQ(db.FindGroup(3), nullptr);
}

TEST(Directory, NewRecordsTakeOverNothingWhenIdsWrap) {
    CGroupsDB db;
    db.Insert(group(1, 0, "root"));
    db.Insert(group(3, 1, "three"));
    db.Insert(group(0xFFFFFFFF, 1, "last"));
    EXPECT_EQ(db.AddGroup("a", 1)->id, 0u);
    EXPECT_EQ(db.AddGroup("b", 1)->id, 2u);
    EXPECT_EQ(db.AddPrinter("c", {"", false, "", ""}, 1)->id, 4u);
    EXPECT_EQ(db.nextId(), 5u);
    EXPECT_EQ(db.FindNode(1)->name, "root");
    EXPECT_EQ(db.FindNode(3)->name, "three");
}

TEST(PortPrinters, SetReplacesAndRemoveForgets) {
    CGroupsDB db;
    db.SetPortPrinter("Port", {"ipp://one/", true, "joe", "secret"});
    db.SetPortPrinter("Port", {"ipp://two/", false, "", ""});
    ASSERT_EQ(db.portPrinters().size(), 1u);
    EXPECT_EQ(db.portPrinters().at("Port")->address.url, "ipp://two/");
    EXPECT_EQ(db.portPrinters().at("Port")->address.useAuthentication, 0);
    db.RemovePortPrinter("Other");
    EXPECT_EQ(db.portPrinters().size(), 1u);
    db.RemovePortPrinter("Port");
    EXPECT_TRUE(db.portPrinters().empty());
    EXPECT_EQ(db.nextId(), 2u);
}

TEST(PortPrinters, TakeTheTextsOfTheRecordThatTheyReplace) {
    CGroupsDB db;
    db.SetPortPrinter("Port",
                      {"ipp://a-host-with-a-long-name/printers/one", true, "joe", "secret"});
    const CGroupsDBPrinter& old = *db.portPrinters().at("Port");
    db.SetPortPrinter(old.name,
                      {old.address.url, false, old.address.userName, old.address.password});
    EXPECT_EQ(db.portPrinters().at("Port")->address.url,
              "ipp://a-host-with-a-long-name/printers/one");
    EXPECT_EQ(db.portPrinters().at("Port")->address.userName, "joe");
}

TEST(PortPrinters, NamesDifferByCaseAndByBytesAbove127) {
    CGroupsDB db;
    for (const char* name : {"port", "Port", "\xE9", "\xC9", "Port 2", "P"})
        db.SetPortPrinter(name, {name, false, "", ""});
    std::vector<std::string> names;
    for (const auto& [name, printer] : db.portPrinters())
        names.push_back(name);
    EXPECT_EQ(names, (std::vector<std::string>{"P", "Port", "Port 2", "port", "\xC9", "\xE9"}));
}

TEST_F(Tree, AddTakesNextIdAndAcceptsAnyParentAndName) {
    CGroupsDBGroup* added = db.AddGroup("Hall", 4711);
    EXPECT_EQ(fieldsOf(*added), (NodeFields{7, 4711, 0, "Hall", "", 0, "", ""}));
    CGroupsDBPrinter* other = db.AddPrinter("P1", {"u", true, "n", "p"}, 2);
    EXPECT_EQ(fieldsOf(*other), (NodeFields{8, 2, 1, "P1", "u", 1, "n", "p"}));
    EXPECT_EQ(db.nextId(), 9u);
    EXPECT_EQ(db.FindNode(7), added);
    EXPECT_EQ(db.FindNode(8), other);
}

TEST_F(Tree, FindKeepsGroupsAndPrintersApart) {
    EXPECT_EQ(db.FindNode(99), nullptr);
    EXPECT_NE(db.FindGroup(2), nullptr);
    EXPECT_EQ(db.FindGroup(3), nullptr);
    EXPECT_EQ(db.FindGroup(99), nullptr);
    EXPECT_NE(db.FindPrinter(3), nullptr);
    EXPECT_EQ(db.FindPrinter(2), nullptr);
    EXPECT_EQ(db.FindPrinter(99), nullptr);
}

TEST_F(Tree, ChildrenAndGroupsAreAppendedInAscendingId) {
    std::vector<CGroupsDBNode*> children{db.FindNode(5)};
    db.GetChildren(1, children);
    EXPECT_EQ(idsOf(children), (Ids{5, 2, 6}));
    EXPECT_EQ(childrenOf(db, 0), Ids{1});
    EXPECT_EQ(childrenOf(db, 3), Ids{});
    std::vector<CGroupsDBGroup*> groups{db.FindGroup(4)};
    db.GetGroups(groups);
    EXPECT_EQ(idsOf(groups), (Ids{4, 1, 2, 4}));
}

TEST_F(Tree, CollectsDepthFirst) {
    EXPECT_EQ(collect(db, {1}), (Ids{3, 5, 6}));
    EXPECT_EQ(collect(db, {2}), (Ids{3, 5}));
    db.Insert(printer(10, 2, "P4"));
    EXPECT_EQ(collect(db, {2}), (Ids{3, 5, 10}));
}

TEST_F(Tree, CollectsAPrinterOnceAtItsFirstPlace) {
    db.Insert(printer(7, 4, "P4"));
    EXPECT_EQ(collect(db, {4, 2, 1, 4}), (Ids{5, 7, 3, 6}));
    EXPECT_EQ(collect(db, {2, 1}), (Ids{3, 5, 7, 6}));
}

TEST_F(Tree, CollectKeepsWhatTheListHolds) {
    std::vector<CGroupsDBPrinter*> list{db.FindPrinter(6), db.FindPrinter(6)};
    db.CollectPrinters(1, list);
    EXPECT_EQ(idsOf(list), (Ids{6, 6, 3, 5}));
}

TEST_F(Tree, CollectFindsNothingBelowAPrinterOrAMissingId) {
    db.Insert(printer(20, 3, "below a printer"));
    db.Insert(printer(21, 99, "below nothing"));
    EXPECT_EQ(collect(db, {3, 99, 0}), Ids{});
    EXPECT_EQ(collect(db, {1}), (Ids{3, 5, 6}));
}

TEST_F(Tree, RenameSetsTheNameOfAnExistingNodeOnly) {
    db.RenameNode(4, "P1");
    EXPECT_EQ(db.FindNode(4)->name, "P1");
    const auto before = nodesOf(db);
    db.RenameNode(99, "x");
    EXPECT_EQ(nodesOf(db), before);
}

TEST_F(Tree, UpdateCopiesEverythingButIdAndParent) {
    db.UpdatePrinter(*printer(3, 77, "New", "ipp://new/", 0, "u", "p"));
    EXPECT_EQ(fieldsOf(*db.FindNode(3)), (NodeFields{3, 2, 1, "New", "ipp://new/", 0, "u", "p"}));
    const auto before = nodesOf(db);
    db.UpdatePrinter(*printer(2, 0, "a group's id"));
    db.UpdatePrinter(*printer(99, 0, "no record's id"));
    db.UpdatePrinter(*db.FindPrinter(3));
    EXPECT_EQ(nodesOf(db), before);
}

TEST_F(Tree, MoveSetsTheParent) {
    SetNodeParent(*db.FindNode(4), 1);
    EXPECT_EQ(childrenOf(db, 1), (Ids{2, 4, 6}));
    EXPECT_EQ(childrenOf(db, 2), Ids{3});
}

TEST_F(Tree, PlacingComparesNamesByteByByte) {
    EXPECT_TRUE(canPlace(3, 4));
    db.Insert(printer(10, 4, "p1"));
    EXPECT_TRUE(canPlace(3, 4));
    db.Insert(printer(11, 4, "P1x"));
    db.Insert(printer(12, 4, "P"));
    EXPECT_TRUE(canPlace(3, 4));
    db.Insert(group(13, 4, "P1"));
    EXPECT_FALSE(canPlace(3, 4));
}

TEST_F(Tree, PlacingWhereTheNodeAlreadyIsIsRefusedByItsOwnName) {
    EXPECT_FALSE(canPlace(3, 2));
    EXPECT_FALSE(canPlace(4, 2));
    EXPECT_FALSE(canPlace(2, 1));
}

TEST_F(Tree, PlacingIntoItselfOrBelowItselfIsRefused) {
    db.Insert(group(10, 4, "deeper"));
    EXPECT_FALSE(canPlace(2, 2));
    EXPECT_FALSE(canPlace(2, 4));
    EXPECT_FALSE(canPlace(2, 10));
    EXPECT_FALSE(canPlace(1, 10));
    EXPECT_TRUE(canPlace(10, 2));
    EXPECT_TRUE(canPlace(4, 1));
}

TEST_F(Tree, PlacingComparesRecordsNotIds) {
    const auto stranger = group(2, 1, "stranger");
    EXPECT_TRUE(db.CanPlace(*stranger, 4));
}

TEST(CopySubtree, HandsOutIdsBreadthFirst) {
    CGroupsDB copies;
    copies.Insert(group(1, 0, "All groups"));
    copies.Insert(group(2, 1, "T"));
    copies.Insert(group(3, 1, "A"));
    copies.Insert(printer(4, 3, "P", "ipp://p/", 1, "u", "pw"));
    copies.Insert(group(5, 3, "B"));
    copies.Insert(printer(6, 5, "Q", "ipp://q/", 0, "left", "over"));
    copies.ReserveId(9);
    CGroupsDBNode* copy = copies.CopySubtree(*copies.FindNode(3), 2);
    ASSERT_EQ(copy, copies.FindNode(10));
    EXPECT_EQ(nodesOf(copies), (std::vector<NodeFields>{
                                   {1, 0, 0, "All groups", "", 0, "", ""},
                                   {2, 1, 0, "T", "", 0, "", ""},
                                   {3, 1, 0, "A", "", 0, "", ""},
                                   {4, 3, 1, "P", "ipp://p/", 1, "u", "pw"},
                                   {5, 3, 0, "B", "", 0, "", ""},
                                   {6, 5, 1, "Q", "ipp://q/", 0, "left", "over"},
                                   {10, 2, 0, "A", "", 0, "", ""},
                                   {11, 10, 1, "P", "ipp://p/", 1, "u", "pw"},
                                   {12, 10, 0, "B", "", 0, "", ""},
                                   {13, 12, 1, "Q", "ipp://q/", 0, "left", "over"},
                               }));
    EXPECT_EQ(copies.nextId(), 14u);
}

TEST_F(Tree, CopiesASinglePrinter) {
    CGroupsDBNode* copy = db.CopySubtree(*db.FindNode(3), 4);
    EXPECT_EQ(fieldsOf(*copy), (NodeFields{7, 4, 1, "P1", "ipp://one/", 1, "joe", "secret"}));
    EXPECT_EQ(db.nextId(), 8u);
}

TEST_F(Tree, DeleteTakesEverythingBelowAndLeavesPortPrinters) {
    db.SetPortPrinter("Hall", {"ipp://h/", false, "", ""});
    db.DeleteNode(2);
    EXPECT_EQ(idsOf(db), (Ids{1, 6}));
    EXPECT_EQ(db.portPrinters().size(), 1u);
    EXPECT_EQ(db.nextId(), 7u);
}

TEST(DeleteNode, ReachesDescendantsOfLowerId) {
    CGroupsDB low;
    low.Insert(group(1, 0, "root"));
    low.Insert(printer(2, 3, "P"));
    low.Insert(group(3, 5, "C"));
    low.Insert(group(4, 1, "other"));
    low.Insert(group(5, 9, "B"));
    low.Insert(group(9, 1, "A"));
    low.DeleteNode(9);
    EXPECT_EQ(idsOf(low), (Ids{1, 4}));
}

TEST_F(Tree, DeletingTheRootEmptiesTheTree) {
    db.DeleteNode(1);
    EXPECT_TRUE(db.nodes().empty());
    EXPECT_EQ(db.nextId(), 7u);
    EXPECT_EQ(db.AddGroup("new", 1)->id, 7u);
}

TEST_F(Tree, DeletingAMissingIdTakesItsOrphans) {
    const auto before = nodesOf(db);
    db.DeleteNode(99);
    EXPECT_EQ(nodesOf(db), before);
    db.Insert(group(20, 99, "orphan"));
    db.Insert(printer(21, 20, "below the orphan"));
    db.DeleteNode(99);
    EXPECT_EQ(nodesOf(db), before);
}

TEST_F(Tree, RecordsStayWhereTheyAreWhileOthersComeAndGo) {
    const CGroupsDBNode* kept = db.FindNode(5);
    for (int i = 0; i < 100; ++i)
        db.AddGroup("g", 1);
    db.DeleteNode(6);
    EXPECT_EQ(db.FindNode(5), kept);
    EXPECT_EQ(kept->name, "P2");
}

CGroupsDB smallDirectory() {
    CGroupsDB db;
    db.AddGroup("Floor", 1);
    db.AddPrinter("Laser", {"ipp://h/p", 1, "joe", "secret"}, 2);
    db.SetPortPrinter("Port", {"ipp://port/", 0, "", ""});
    return db;
}

struct Difference {
    const char* name;
    void (*make)(CGroupsDB&);
};

class DirectoriesDiffer : public ::testing::TestWithParam<Difference> {};

TEST_P(DirectoriesDiffer, InOneField) {
    CGroupsDB other = smallDirectory();
    EXPECT_EQ(other, smallDirectory());
    GetParam().make(other);
    EXPECT_NE(other, smallDirectory());
}

INSTANTIATE_TEST_SUITE_P(
    All, DirectoriesDiffer,
    ::testing::Values(
        Difference{"NodeMore", [](CGroupsDB& db) { db.AddGroup("Hall", 1); }},
        Difference{"NodeLess", [](CGroupsDB& db) { db.DeleteNode(3); }},
        Difference{"Id",
                   [](CGroupsDB& db) {
                       db.DeleteNode(3);
                       db.AddPrinter("Laser", {"ipp://h/p", 1, "joe", "secret"}, 2);
                   }},
        Difference{"Parent", [](CGroupsDB& db) { SetNodeParent(*db.FindNode(3), 1); }},
        Difference{"Name", [](CGroupsDB& db) { db.RenameNode(3, "laser"); }},
        Difference{"Type", [](CGroupsDB& db) { db.Insert(printer(2, 1, "Floor")); }},
        Difference{"Url", [](CGroupsDB& db) { db.FindPrinter(3)->address.url = "ipp://h/q"; }},
        Difference{"Authentication",
                   [](CGroupsDB& db) { db.FindPrinter(3)->address.useAuthentication = 0; }},
        Difference{"UserName", [](CGroupsDB& db) { db.FindPrinter(3)->address.userName = ""; }},
        Difference{"Password", [](CGroupsDB& db) { db.FindPrinter(3)->address.password = ""; }},
        Difference{"PortPrinterMore",
                   [](CGroupsDB& db) {
                       db.SetPortPrinter("Two", {"ipp://two/", 0, "", ""});
                   }},
        Difference{"PortPrinterLess", [](CGroupsDB& db) { db.RemovePortPrinter("Port"); }},
        Difference{"PortPrinterUrl",
                   [](CGroupsDB& db) {
                       db.SetPortPrinter("Port", {"ipp://other/", 0, "", ""});
                   }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CGroupsDBEquality, CredentialsThatNobodyUsesDoNotCount) {
    CGroupsDB other = smallDirectory();
    other.SetPortPrinter("Port", {"ipp://port/", 0, "left", "behind"});
    EXPECT_EQ(other, smallDirectory());
}

}  // namespace
}  // namespace velmora
