#include <gtest/gtest.h>

#include "directory/groups_db.h"
#include "harness/guarded_bytes.h"
#include "harness/packed_record.h"
#include "tests/directory/directory_builders.h"

namespace velmora {
namespace {

using namespace velmora::testing;
using Block = std::vector<std::byte>;
using Ids = std::vector<std::uint32_t>;

Block payloadOf(const CGroupsDB& directory) {
    // One byte more than needed, to see that no more than GetSize() bytes are written.
    Block payload(directory.GetSize() + 1, std::byte{0xA5});
    directory.Serialize(payload.data());
    EXPECT_EQ(payload.back(), std::byte{0xA5});
    payload.pop_back();
    return payload;
}

/// One entry of each kind, in both tables.
Block samplePayload() {
    return Bytes()
        .u32(4)  // nodes
        .u32(1)  // id
        .u32(0)  // parent
        .text("All groups")
        .u32(0)  // type
        .u32(3)  // id
        .u32(1)  // parent
        .text("Printer")
        .u32(1)  // type
        .text("ipp://h/p")
        .u8(1)  // hasAuth
        .text("joe")
        .text("secret")
        .u32(0x01020304)  // id
        .u32(0xFFFFFFFE)  // parent
        .text("")
        .u32(1)  // type
        .text("")
        .u8(0)  // hasAuth
        .text("")
        .text("")
        .u32(0xFFFFFFFF)  // id
        .u32(1)           // parent
        .text("\xC4\xFF")
        .u32(0)  // type
        .u32(2)  // port printers
        .text("Port, 1")
        .text("https://h/q")
        .u8(0)  // hasAuth
        .text("kept")
        .text("too")
        .text("port")
        .text("")
        .u8(1)  // hasAuth
        .text("u")
        .text("")
        .data();
}

void fillSample(CGroupsDB& db) {
    db.Insert(printer(0x01020304, 0xFFFFFFFE, ""));
    db.Insert(group(1, 0, "All groups"));
    db.Insert(printer(3, 1, "Printer", "ipp://h/p", 1, "joe", "secret"));
    db.Insert(group(0xFFFFFFFF, 1, "\xC4\xFF"));
    db.SetPortPrinter("port", {"", true, "u", ""});
    db.SetPortPrinter("Port, 1", {"https://h/q", false, "kept", "too"});
}

TEST(Payload, OfTheRootAloneIs31Bytes) {
    CGroupsDB db;
    db.Insert(group(1, 0, "All groups"));
    const Block expected = Bytes().u32(1).u32(1).u32(0).text("All groups").u32(0).u32(0).data();
    EXPECT_EQ(expected.size(), 31u);
    EXPECT_EQ(db.GetSize(), 31u);
    EXPECT_EQ(payloadOf(db), expected);
}

TEST(Payload, OfNothingIsTwoCounts) {
    const CGroupsDB db;
    EXPECT_EQ(payloadOf(db), Block(8, std::byte{0}));
}

TEST(Payload, EmptyPrinterAdds17BytesAndItsName) {
    CGroupsDB db;
    db.Insert(printer(2, 1, "Name"));
    EXPECT_EQ(db.GetSize(), 8u + 17u + 4u);
    EXPECT_EQ(payloadOf(db).size(), db.GetSize());
}

TEST(Payload, EmptyPortPrinterAdds5BytesAndItsName) {
    CGroupsDB db;
    db.SetPortPrinter("Name", {"", false, "", ""});
    EXPECT_EQ(db.GetSize(), 8u + 5u + 4u);
}

TEST(Payload, IsWrittenByteForByte) {
    CGroupsDB db;
    fillSample(db);
    EXPECT_EQ(payloadOf(db), samplePayload());
}

TEST(Payload, IsReadIntoTheSameDirectory) {
    CGroupsDB expected;
    fillSample(expected);
    CGroupsDB db;
    ASSERT_TRUE(db.Deserialize(samplePayload()));
    EXPECT_EQ(nodesOf(db), nodesOf(expected));
    EXPECT_EQ(portPrintersOf(db), portPrintersOf(expected));
    EXPECT_EQ(db.nextId(), 0u);
    EXPECT_EQ(payloadOf(db), samplePayload());
}

TEST(Payload, ReplacesTheWholeContents) {
    CGroupsDB db;
    db.Insert(group(40, 1, "old"));
    db.SetPortPrinter("old", {"", false, "", ""});
    ASSERT_TRUE(db.Deserialize(Bytes().u32(1).u32(5).u32(1).text("G").u32(0).u32(0).data()));
    EXPECT_EQ(idsOf(db), Ids{5});
    EXPECT_TRUE(db.portPrinters().empty());
    EXPECT_EQ(db.nextId(), 6u);
}

TEST(Payload, WithoutNodesGivesADirectoryWithoutRoot) {
    CGroupsDB db;
    db.Insert(group(1, 0, "root"));
    ASSERT_TRUE(db.Deserialize(Block(8)));
    EXPECT_TRUE(db.nodes().empty());
    EXPECT_EQ(db.nextId(), 2u);
}

TEST(Payload, BytesBehindTheLastFieldAreIgnored) {
    Block payload = samplePayload();
    payload.resize(payload.size() + 100, std::byte{0xFF});
    CGroupsDB db;
    ASSERT_TRUE(db.Deserialize(payload));
    EXPECT_EQ(payloadOf(db), samplePayload());
}

TEST(Payload, EntryOfUnknownTypeEndsBehindItsType) {
    for (const std::uint32_t type : {2u, 0x100u, 0xFFFFFFFFu}) {
        CGroupsDB db;
        ASSERT_TRUE(db.Deserialize(Bytes()
                                       .u32(2)
                                       .u32(8)
                                       .u32(1)
                                       .text("?")
                                       .u32(type)
                                       .u32(3)
                                       .u32(1)
                                       .text("G")
                                       .u32(0)
                                       .u32(0)
                                       .data()));
        EXPECT_EQ(nodesOf(db), (std::vector<NodeFields>{{3, 1, 0, "G", "", 0, "", ""}}));
        EXPECT_EQ(db.nextId(), 9u);
    }
}

TEST(Payload, LaterEntryOfAnIdRemains) {
    CGroupsDB db;
    ASSERT_TRUE(db.Deserialize(Bytes()
                                   .u32(3)
                                   .u32(3)
                                   .u32(1)
                                   .text("first")
                                   .u32(0)
                                   .u32(3)
                                   .u32(2)
                                   .text("second")
                                   .u32(1)
                                   .text("u")
                                   .u8(0)
                                   .text("")
                                   .text("")
                                   .u32(3)
                                   .u32(9)
                                   .text("no record")
                                   .u32(2)
                                   .u32(0)
                                   .data()));
    EXPECT_EQ(nodesOf(db), (std::vector<NodeFields>{{3, 2, 1, "second", "u", 0, "", ""}}));
    EXPECT_EQ(db.nextId(), 4u);
}

TEST(Payload, LaterPortPrinterOfANameRemains) {
    CGroupsDB db;
    ASSERT_TRUE(db.Deserialize(Bytes()
                                   .u32(0)
                                   .u32(2)
                                   .text("P")
                                   .text("one")
                                   .u8(1)
                                   .text("u")
                                   .text("p")
                                   .text("P")
                                   .text("two")
                                   .u8(0)
                                   .text("")
                                   .text("")
                                   .data()));
    ASSERT_EQ(db.portPrinters().size(), 1u);
    EXPECT_EQ(db.portPrinters().at("P")->address.url, "two");
}

struct NextIdCase {
    Ids ids;
    std::uint32_t nextId;
};

TEST(Payload, NextIdFollowsTheOrderOfTheEntries) {
    const std::vector<NextIdCase> cases{
        {{1}, 2},
        {{0}, 2},
        {{1, 5, 9}, 10},
        {{9, 5, 1}, 10},
        {{0x7FFFFFFF, 0x80000000}, 0x80000001},
        {{0xFFFFFFFF}, 0},
        {{5, 0xFFFFFFFF}, 0},
        {{0xFFFFFFFF, 5}, 6},
        {{0xFFFFFFFF, 0, 0}, 1},
        {{0xFFFFFFFF, 0xFFFFFFFF}, 0},
    };
    for (const NextIdCase& each : cases) {
        Bytes payload;
        payload.u32(static_cast<std::uint32_t>(each.ids.size()));
        for (const std::uint32_t id : each.ids)
            payload.u32(id).u32(1).text("").u32(0);
        CGroupsDB db;
        ASSERT_TRUE(db.Deserialize(payload.u32(0).data()));
        EXPECT_EQ(db.nextId(), each.nextId) << ::testing::PrintToString(each.ids);
    }
}

TEST(Payload, AnySetFlagReadsAsOne) {
    CGroupsDB db;
    ASSERT_TRUE(db.Deserialize(
        Bytes().u32(0).u32(1).text("P").text("u").u8(0x80).text("n").text("p").data()));
    EXPECT_EQ(db.portPrinters().at("P")->address.useAuthentication, 1);
}

TEST(Payload, LongTextsTravelWhole) {
    const std::string text(64 * 1024, 'x');
    CGroupsDB db;
    db.Insert(printer(3, 1, text, text, 1, text, text));
    db.SetPortPrinter(text, {text, true, text, text});
    const Block payload = payloadOf(db);
    CGroupsDB read;
    ASSERT_TRUE(read.Deserialize(payload));
    EXPECT_EQ(nodesOf(read), nodesOf(db));
    EXPECT_EQ(portPrintersOf(read), portPrintersOf(db));
}

/// Refused with the directory unchanged, and without reading past the last readable byte.
void expectRefused(const Block& payload) {
    CGroupsDB db;
    fillSample(db);
    const GuardedBytes guarded(payload);
    EXPECT_FALSE(db.Deserialize(guarded.span()));
    EXPECT_EQ(payloadOf(db), samplePayload());
    EXPECT_EQ(db.nextId(), 0u);
}

TEST(BrokenPayload, EveryTruncationIsRefusedWhole) {
    const Block whole = samplePayload();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        expectRefused(Block(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    }
    CGroupsDB db;
    EXPECT_TRUE(db.Deserialize(GuardedBytes(whole).span()));
}

TEST(BrokenPayload, NoMemoryAtAllIsRefused) {
    CGroupsDB db;
    EXPECT_FALSE(db.Deserialize({}));
}

TEST(BrokenPayload, CountsThatCannotBeAreRefused) {
    expectRefused(Bytes().u32(0xFFFFFFFF).data());
    expectRefused(Bytes().u32(0xFFFFFFFF).u32(1).u32(0).text("G").u32(0).u32(0).data());
    expectRefused(Bytes().u32(2).u32(1).u32(0).text("G").u32(0).u32(0).data());
    expectRefused(Bytes().u32(0).u32(0xFFFFFFFF).data());
    expectRefused(Bytes().u32(0).u32(2).text("P").text("u").u8(0).text("").text("").data());
}

/// `entries` of the smallest kind in each table, and what the tables' counts say.
Block smallestEntries(std::uint32_t nodes, std::uint32_t nodeCount, std::uint32_t portPrinters,
                      std::uint32_t portPrinterCount) {
    Bytes payload;
    payload.u32(nodeCount);
    for (std::uint32_t id = 1; id <= nodes; ++id)
        payload.u32(id).u32(0).text("").u32(0);
    payload.u32(portPrinterCount);
    for (std::uint32_t i = 0; i < portPrinters; ++i)
        payload.text("").text("").u8(0).text("").text("");
    return payload.data();
}

TEST(BrokenPayload, CountsAreTakenUpToWhatTheRestHolds) {
    // The bytes after the first count include the second count, which is not an entry.
    for (const std::uint32_t count : {0u, 1u, 2u, 3u, 100u}) {
        SCOPED_TRACE(count);
        CGroupsDB db;
        ASSERT_TRUE(db.Deserialize(GuardedBytes(smallestEntries(count, count, 0, 0)).span()));
        EXPECT_EQ(db.nodes().size(), count);
        ASSERT_TRUE(db.Deserialize(GuardedBytes(smallestEntries(0, 0, count, count)).span()));
        EXPECT_EQ(db.portPrinters().size(), count == 0 ? 0u : 1u) << "all have one name";
        expectRefused(smallestEntries(count, count + 1, 0, 0));
        expectRefused(smallestEntries(0, 0, count, count + 1));
    }
}

TEST(BrokenPayload, MissingTerminatorsAreRefused) {
    const Block name(64 * 1024, std::byte{'x'});
    for (Block payload : {Bytes().u32(1).u32(1).u32(0).data(), Bytes().u32(0).u32(1).data()}) {
        payload.insert(payload.end(), name.begin(), name.end());
        expectRefused(payload);
    }
}

}  // namespace
}  // namespace velmora
