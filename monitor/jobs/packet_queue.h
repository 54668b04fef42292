#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/event.h"

namespace velmora {

/// What a packet queue takes from its surroundings.
class QueuePlatform {
  public:
    virtual ~QueuePlatform() = default;

    /// Throws std::bad_alloc when there is none to be had.
    virtual std::unique_ptr<Event> makeEvent(EventReset reset) = 0;
    /// Memory for a packet, aligned for a pointer; null when there is none.
    virtual void* allocate(std::size_t size) noexcept = 0;
    virtual void release(void* memory) noexcept = 0;
};

/// One piece of the document, or with length 0 its end. The bytes follow the header in the same
/// block.
struct DataPacket {
    std::uint32_t sequence;
    std::atomic<DataPacket*> next;              ///< set once, by the writer
    std::atomic<std::uint32_t> pendingReaders;  ///< readers that have not moved on from here
    std::uint32_t length;

    const void* data() const noexcept { return this + 1; }
};

/// The pieces of one document on their way to several readers, each in a thread of its own. Every
/// piece is stored once and freed when the last reader has moved on from it.
///
/// One thread writes; each slot belongs to one reader. No lock is taken. What keeps it sound:
///  - a packet counts every slot until that slot's reader has reached its successor, so a reader's
///    current packet stays, and a reader that has not begun keeps the very first packet the head;
///  - the writer alone frees, from the head, and only what nobody counts any more;
///  - a reader that is gone stops counting: the writer walks on in its place. Thus a printer that
///    is dead from the start does not keep the document in memory;
///  - links and counters are atomic: a link is published after its packet is complete, and a
///    packet is freed after its readers' last look.
class PacketQueue {
  public:
    class Reader;

    /// Throws std::bad_alloc. `platform` must outlive the queue.
    PacketQueue(std::size_t slots, QueuePlatform& platform);
    /// Frees every packet. No reader may be left.
    ~PacketQueue();
    PacketQueue(const PacketQueue&) = delete;
    PacketQueue& operator=(const PacketQueue&) = delete;

    /// Appends a copy of the bytes and wakes the readers that wait; never waits for them. Length 0
    /// ends the document, which always succeeds the first time: its packet is set aside beforehand,
    /// since readers that never see an end would never let the job end. False, with nothing
    /// changed, when memory has run out or the document has ended already.
    bool write(const void* data, std::uint32_t length);
    bool ended() const noexcept { return endPacket_ == nullptr; }

    /// Wakes the readers that wait at this moment.
    void wakeReaders() { dataEvent_->pulse(); }

    /// For the writer, in place of a reader: the slot never gets one.
    void abandonSlot(std::size_t slot) noexcept;

  private:
    struct PacketDeleter {
        QueuePlatform* platform;
        void operator()(DataPacket* packet) const noexcept;
    };
    using PacketPtr = std::unique_ptr<DataPacket, PacketDeleter>;

    struct Slot {
        /// Set last by the reader: the writer may walk on from `position`.
        std::atomic<bool> gone{false};
        /// The packet that the reader stood on when it went; null: it had not begun.
        DataPacket* position = nullptr;
        /// The writer's: every packet up to the tail has been left in the reader's place.
        bool walkedPast = false;
    };

    PacketPtr makePacket(const void* data, std::uint32_t length) noexcept;
    void append(PacketPtr packet) noexcept;
    void walkPastGoneReaders() noexcept;
    void freeLeftPackets() noexcept;
    PacketPtr takeHead() noexcept;

    QueuePlatform& platform_;
    std::vector<Slot> slots_;
    std::uint32_t walkedPastSlots_ = 0;
    std::atomic<DataPacket*> head_{nullptr};
    DataPacket* tail_ = nullptr;
    std::unique_ptr<Event> dataEvent_;      ///< manual reset, pulsed for new data
    std::unique_ptr<Event> consumedEvent_;  ///< auto reset, set when a packet has been consumed
    std::uint32_t nextSequence_ = 0;
    PacketPtr endPacket_;
};

/// One slot's way through the queue, in the reader's own thread. Destruction gives the slot up: the
/// queue then no longer waits for it, wherever it stood.
class PacketQueue::Reader {
  public:
    Reader(PacketQueue& queue, std::size_t slot) noexcept : queue_(queue), slot_(slot) {}
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Waits for data and stands on the document's first packet.
    const DataPacket& first();
    /// The packet behind the current one, or null when it has not been written yet.
    const DataPacket* successor() const noexcept;
    /// Leaves the current packet for its successor, which must be there. The packet that was left
    /// may be gone from now on.
    void moveOn() noexcept;
    /// Waits for more data. May return early.
    void waitForData() { queue_.dataEvent_->wait(); }

  private:
    PacketQueue& queue_;
    std::size_t slot_;
    DataPacket* current_ = nullptr;
};

}  // namespace velmora
