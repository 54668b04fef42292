#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

#include "platform/threads.h"

namespace velmora {

/// Where the packets of a queue are kept. Used by the writer's thread alone.
struct PacketMemory {
    /// Memory aligned for a pointer; null if there is none.
    void* (*allocate)(void* owner, std::size_t size) noexcept = allocateFromHeap;
    void (*release)(void* owner, void* block) noexcept = releaseToHeap;
    void* owner = nullptr;

    static void* allocateFromHeap(void*, std::size_t size) noexcept;
    static void releaseToHeap(void*, void* block) noexcept;
};

/// One piece of the document, or with length 0 its end. The bytes follow the header in the same
/// block.
struct DataPacket {
    std::uint32_t sequence;
    std::atomic<DataPacket*> next;              ///< set once, by the writer
    std::atomic<std::uint32_t> pendingReaders;  ///< readers that have not moved on from here
    std::uint32_t length;

    bool isEnd() const noexcept { return length == 0; }
    std::span<const std::byte> bytes() const noexcept {
        return {reinterpret_cast<const std::byte*>(this + 1), length};
    }
};

/// The pieces of one document for several readers, each in a thread of its own. Every piece is
/// stored once and freed when the last reader has moved on from it.
///
/// One thread writes; each slot belongs to one reader. No lock is taken. What keeps it sound:
///  - a packet counts every slot until that slot's reader has reached its successor, so a reader's
///    current packet stays, and a reader that has not begun keeps the very first packet the head;
///  - only the writer frees, from the head, and only packets that no slot counts in any more;
///  - a reader that has ended stops counting: the writer moves on for it. Thus a printer that is
///    dead from the start does not keep the document in memory;
///  - links and counters are atomic: a link is published after its packet is complete, and a
///    packet is freed after its readers' last look.
class PacketQueue {
  public:
    class Reader;

    /// Throws std::bad_alloc. The owner of `memory` must outlive the queue.
    explicit PacketQueue(std::size_t slots, const PacketMemory& memory = {});
    /// Frees every packet. No reader may be left.
    ~PacketQueue();
    PacketQueue(const PacketQueue&) = delete;
    PacketQueue& operator=(const PacketQueue&) = delete;

    /// Appends a packet with a copy of the parts, one after the other (at least one byte), and
    /// wakes the readers that wait; never waits for them. False, with nothing changed, if memory
    /// has run out or the document has ended.
    bool write(std::initializer_list<std::span<const std::byte>> parts);
    /// Ends the document. Always succeeds the first time: the packet for it is set aside
    /// beforehand, since readers that never see an end would never let the job end. False if the
    /// document has ended already.
    bool end();
    bool ended() const noexcept { return endPacket_ == nullptr; }

    /// Wakes the readers that wait at this moment.
    void wakeReaders() { dataEvent_.pulse(); }

    /// For the writer, in place of a reader: the slot never gets one.
    void abandonSlot(std::size_t slot) noexcept;

  private:
    struct PacketDeleter {
        const PacketMemory* memory;
        void operator()(DataPacket* packet) const noexcept;
    };
    using PacketPtr = std::unique_ptr<DataPacket, PacketDeleter>;

    struct Slot {
        /// Set last by the reader: the writer may walk on from `position`.
        std::atomic<bool> gone{false};
        /// The reader's packet when it ended; null if it had not begun.
        DataPacket* position = nullptr;
        /// The writer's: every packet up to the tail has been left in the reader's place.
        bool walkedPast = false;
    };

    PacketPtr makePacket(std::initializer_list<std::span<const std::byte>> parts) noexcept;
    bool send(PacketPtr packet);
    void append(PacketPtr packet) noexcept;
    void walkPastGoneReaders() noexcept;
    void freeLeftPackets() noexcept;
    PacketPtr takeHead() noexcept;

    const PacketMemory memory_;
    std::vector<Slot> slots_;
    std::uint32_t walkedPastSlots_ = 0;
    std::atomic<DataPacket*> head_{nullptr};
    DataPacket* tail_ = nullptr;
    Event dataEvent_{EventReset::manual};         ///< pulsed for new data
    Event consumedEvent_{EventReset::automatic};  ///< set when a packet has been consumed
    std::uint32_t nextSequence_ = 0;
    PacketPtr endPacket_;
};

/// One slot's way through the queue, in the reader's own thread. Destruction gives the slot up: the
/// queue then no longer waits for it, wherever it was.
class PacketQueue::Reader {
  public:
    Reader(PacketQueue& queue, std::size_t slot) noexcept : queue_(queue), slot_(slot) {}
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Waits for a pulse, even if there is data, and moves to the document's first packet.
    const DataPacket& first();
    /// The same without a wait if there is data already.
    const DataPacket& firstAtHand();
    /// The packet after the current one, or null if it has not been written yet.
    const DataPacket* successor() const noexcept;
    /// Leaves the current packet for its successor, which must be there. The packet that was left
    /// may be gone from now on.
    void moveOn() noexcept;
    /// Waits for more data. May return early.
    void waitForData() { queue_.dataEvent_.wait(); }

  private:
    PacketQueue& queue_;
    std::size_t slot_;
    DataPacket* current_ = nullptr;
};

}  // namespace velmora
