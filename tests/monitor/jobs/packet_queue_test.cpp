#include "monitor/jobs/packet_queue.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/threads_std.h"
#include "tests/monitor/jobs/fake_printers.h"

namespace velmora {
namespace {

using testing::bytesOf;
using testing::FakePrinters;

std::string textOf(const DataPacket& packet) {
    return {reinterpret_cast<const char*>(packet.bytes().data()), packet.length};
}

/// Events are recorded and waits return at once, so that writer and readers can take turns in one
/// thread.
class PacketQueueTest : public ::testing::Test {
  protected:
    PacketQueueTest() {
        stdThreads().permit = [this](const ThreadCall& call) {
            if (call.kind == ThreadCall::makeEvent) return events;
            static constexpr const char* kCalls[] = {"make", "set", "reset", "pulse", "wait"};
            log.push_back(std::string(kCalls[call.kind]) +
                          (call.event == EventReset::manual ? " data" : " consumed"));
            if (log.back() == "wait data") whileWaiting();
            return false;
        };
    }
    ~PacketQueueTest() override {
        queue.reset();
        stdThreads() = {};
        EXPECT_EQ(memory.liveBlocks(), 0u);
        EXPECT_EQ(memory.wrongReleases(), 0u);
    }

    void open(std::size_t slots) { queue.emplace(slots, printers_.packetMemory()); }
    /// An empty text ends the document.
    bool write(const std::string& text) {
        return text.empty() ? queue->end() : queue->write({bytesOf(text)});
    }
    /// The packets in the queue; the end packet is allocated at the beginning.
    std::size_t queued() const { return memory.liveBlocks() - (queue->ended() ? 0 : 1); }

    std::vector<std::string> log;
    std::function<void()> whileWaiting = [] {};
    bool events = true;
    std::optional<PacketQueue> queue;

  private:
    FakePrinters printers_{0};

  protected:
    testing::CountedMemory& memory = printers_.memory;
};

TEST_F(PacketQueueTest, WriterSetsTheConsumedEventItselfAndSoNeverWaitsForReaders) {
    open(2);
    EXPECT_EQ(log, std::vector<std::string>{"reset data"});
    log.clear();
    ASSERT_TRUE(write("a"));
    EXPECT_EQ(log, (std::vector<std::string>{"reset consumed", "pulse data", "set consumed",
                                             "wait consumed"}));
}

TEST_F(PacketQueueTest, PacketsCarryTheirNumberTheirBytesAndAllSlots) {
    open(3);
    ASSERT_TRUE(write("first"));
    ASSERT_TRUE(write(std::string("se\0cond", 7)));
    ASSERT_TRUE(write(""));
    PacketQueue::Reader reader(*queue, 0);
    const DataPacket* packet = &reader.first();
    EXPECT_EQ(packet->sequence, 0u);
    EXPECT_EQ(packet->pendingReaders.load(), 3u);
    EXPECT_EQ(textOf(*packet), "first");
    packet = reader.successor();
    EXPECT_EQ(packet->sequence, 1u);
    EXPECT_EQ(textOf(*packet), std::string("se\0cond", 7));
    reader.moveOn();
    packet = reader.successor();
    EXPECT_EQ(packet->sequence, 2u);
    EXPECT_EQ(packet->length, 0u);
    reader.moveOn();
    EXPECT_EQ(reader.successor(), nullptr);
}

TEST_F(PacketQueueTest, PartsBecomeOnePacket) {
    open(1);
    ASSERT_TRUE(queue->write({bytesOf("a"), {}, bytesOf("document"), bytesOf("!")}));
    PacketQueue::Reader reader(*queue, 0);
    EXPECT_EQ(textOf(reader.first()), "adocument!");
    EXPECT_EQ(queued(), 1u);
}

TEST_F(PacketQueueTest, ReaderWaitsForAPulseBeforeItsFirstPacketUnlessItLooksForOneAtHand) {
    open(2);
    ASSERT_TRUE(write("a"));
    log.clear();
    PacketQueue::Reader looking(*queue, 0);
    EXPECT_EQ(textOf(looking.firstAtHand()), "a");
    EXPECT_EQ(log, std::vector<std::string>{});
    PacketQueue::Reader waiting(*queue, 1);
    EXPECT_EQ(textOf(waiting.first()), "a");
    EXPECT_EQ(log, std::vector<std::string>{"wait data"});
}

TEST_F(PacketQueueTest, ReaderThatFindsNothingAtHandWaitsForIt) {
    open(1);
    int waits = 0;
    bool written = false;
    whileWaiting = [&] { written = ++waits == 3 && write("a"); };
    PacketQueue::Reader reader(*queue, 0);
    EXPECT_EQ(textOf(reader.firstAtHand()), "a");
    EXPECT_EQ(waits, 3);
    EXPECT_TRUE(written);
}

TEST_F(PacketQueueTest, ReaderLeavesAPacketOnlyForItsSuccessor) {
    open(1);
    ASSERT_TRUE(write("a"));
    PacketQueue::Reader reader(*queue, 0);
    const DataPacket& a = reader.first();
    ASSERT_TRUE(write("b"));
    EXPECT_EQ(a.pendingReaders.load(), 1u);
    log.clear();
    reader.moveOn();
    EXPECT_EQ(log, std::vector<std::string>{"set consumed"});
    EXPECT_EQ(a.pendingReaders.load(), 0u);
    EXPECT_EQ(queued(), 2u) << "only the writer frees";
    ASSERT_TRUE(write("c"));
    EXPECT_EQ(queued(), 2u);
}

TEST_F(PacketQueueTest, PacketsAreFreedFromTheHeadWhenTheSlowestReaderHasLeftThem) {
    open(2);
    PacketQueue::Reader fast(*queue, 0);
    PacketQueue::Reader slow(*queue, 1);
    ASSERT_TRUE(write("0"));
    fast.first();
    for (int i = 1; i <= 5; ++i) {
        ASSERT_TRUE(write(std::to_string(i)));
        fast.moveOn();
    }
    EXPECT_EQ(queued(), 6u);
    EXPECT_EQ(textOf(slow.first()), "0")
        << "a reader that begins late starts with the first packet";
    slow.moveOn();
    slow.moveOn();
    ASSERT_TRUE(write("6"));
    EXPECT_EQ(queued(), 5u);
}

TEST_F(PacketQueueTest, ReaderThatNeverBeganIsWalkedPast) {
    open(2);
    PacketQueue::Reader healthy(*queue, 0);
    ASSERT_TRUE(write("0"));
    healthy.first();
    for (int i = 1; i < 10; ++i) {
        ASSERT_TRUE(write(std::to_string(i)));
        healthy.moveOn();
    }
    EXPECT_EQ(queued(), 10u);
    { PacketQueue::Reader refused(*queue, 1); }
    ASSERT_TRUE(write("10"));
    EXPECT_EQ(queued(), 2u) << "where the healthy reader is, and the new one";
    for (int i = 11; i < 20; ++i) {
        healthy.moveOn();
        ASSERT_TRUE(write(std::to_string(i)));
        EXPECT_EQ(queued(), 2u);
    }
}

TEST_F(PacketQueueTest, ReaderThatFailsMidwayIsWalkedPastFromWhereItStood) {
    open(2);
    PacketQueue::Reader healthy(*queue, 0);
    std::optional<PacketQueue::Reader> failing(std::in_place, *queue, 1);
    for (int i = 0; i < 4; ++i)
        ASSERT_TRUE(write(std::to_string(i)));
    failing->first();
    failing->moveOn();
    failing.reset();
    EXPECT_EQ(textOf(healthy.first()), "0");
    EXPECT_EQ(healthy.first().pendingReaders.load(), 1u);
    ASSERT_TRUE(write("4"));
    EXPECT_EQ(queued(), 5u);
    for (int i = 1; i <= 4; ++i) {
        EXPECT_EQ(textOf(*healthy.successor()), std::to_string(i));
        healthy.moveOn();
    }
    ASSERT_TRUE(write("5"));
    EXPECT_EQ(queued(), 2u);
}

TEST_F(PacketQueueTest, SlotWithoutAReaderDoesNotKeepTheDocument) {
    open(3);
    queue->abandonSlot(0);
    queue->abandonSlot(2);
    PacketQueue::Reader healthy(*queue, 1);
    ASSERT_TRUE(write("0"));
    EXPECT_EQ(healthy.first().pendingReaders.load(), 1u);
    for (int i = 1; i < 10; ++i) {
        ASSERT_TRUE(write(std::to_string(i)));
        healthy.moveOn();
        EXPECT_LE(queued(), 3u);
    }
}

TEST_F(PacketQueueTest, WithoutAnyReaderNothingStays) {
    open(2);
    ASSERT_TRUE(write("kept until somebody is known to be gone"));
    EXPECT_EQ(queued(), 1u);
    { PacketQueue::Reader refused(*queue, 0); }
    queue->abandonSlot(1);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(write("x"));
        EXPECT_EQ(queued(), 0u);
    }
    ASSERT_TRUE(write(""));
    EXPECT_EQ(queued(), 0u);
}

TEST_F(PacketQueueTest, OutOfMemoryRefusesThePieceAndChangesNothingElse) {
    open(1);
    ASSERT_TRUE(write("a"));
    log.clear();
    memory.allow(0);
    EXPECT_FALSE(write("lost"));
    EXPECT_TRUE(log.empty());
    memory.allowAll();
    ASSERT_TRUE(write("b"));
    PacketQueue::Reader reader(*queue, 0);
    reader.first();
    EXPECT_EQ(textOf(*reader.successor()), "b");
    EXPECT_EQ(reader.successor()->sequence, 1u);
}

TEST_F(PacketQueueTest, DocumentEndsEvenWithoutMemory) {
    open(1);
    memory.allow(0);
    EXPECT_TRUE(write(""));
    PacketQueue::Reader reader(*queue, 0);
    EXPECT_EQ(reader.first().length, 0u);
}

TEST_F(PacketQueueTest, NothingFollowsTheEnd) {
    open(1);
    ASSERT_TRUE(write(""));
    EXPECT_FALSE(write("x"));
    EXPECT_FALSE(write(""));
    EXPECT_EQ(queued(), 1u);
}

TEST_F(PacketQueueTest, CannotBeMadeWithoutAnEventOrItsEndPacket) {
    events = false;
    EXPECT_THROW(open(1), std::bad_alloc);
    events = true;
    memory.allow(0);
    EXPECT_THROW(open(1), std::bad_alloc);
    memory.allowAll();
}

TEST_F(PacketQueueTest, HeaderCostsNoMoreThanFourPercentOfAFullPiece) {
    // 32-bit header: 16 bytes; what the heap adds comes on top.
    EXPECT_LE(sizeof(DataPacket), 4 * sizeof(void*));
}

}  // namespace
}  // namespace velmora
