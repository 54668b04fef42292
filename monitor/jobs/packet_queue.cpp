#include "monitor/jobs/packet_queue.h"

#include <algorithm>
#include <new>
#include <type_traits>
#include <utility>

namespace velmora {

// Freed without a destructor call.
static_assert(std::is_trivially_destructible_v<DataPacket>);

void* PacketMemory::allocateFromHeap(void*, std::size_t size) noexcept {
    return ::operator new(size, std::nothrow);
}

void PacketMemory::releaseToHeap(void*, void* block) noexcept {
    ::operator delete(block);
}

void PacketQueue::PacketDeleter::operator()(DataPacket* packet) const noexcept {
    memory->release(memory->owner, packet);
}

PacketQueue::PacketQueue(std::size_t slots, const PacketMemory& memory)
    : memory_(memory), slots_(slots), endPacket_(makePacket({})) {
    if (endPacket_ == nullptr) throw std::bad_alloc();
    dataEvent_.reset();
}

PacketQueue::~PacketQueue() {
    while (head_.load(std::memory_order_relaxed) != nullptr)
        takeHead();
}

bool PacketQueue::write(std::initializer_list<std::span<const std::byte>> parts) {
    return !ended() && send(makePacket(parts));
}

bool PacketQueue::end() {
    return send(std::exchange(endPacket_, nullptr));
}

bool PacketQueue::send(PacketPtr packet) {
    if (packet == nullptr) return false;
    packet->sequence = nextSequence_++;

    consumedEvent_.reset();
    append(std::move(packet));
    dataEvent_.pulse();
    // The writer never waits for a reader: it sets the event itself before it waits. A slow printer
    // costs memory, but does not delay the others.
    consumedEvent_.set();
    consumedEvent_.wait();

    walkPastGoneReaders();
    freeLeftPackets();
    return true;
}

void PacketQueue::abandonSlot(std::size_t slot) noexcept {
    slots_[slot].gone.store(true, std::memory_order_release);
}

PacketQueue::PacketPtr PacketQueue::makePacket(
    std::initializer_list<std::span<const std::byte>> parts) noexcept {
    std::size_t size = 0;
    for (const auto part : parts)
        size += part.size();
    void* const block = memory_.allocate(memory_.owner, sizeof(DataPacket) + size);
    if (block == nullptr) return {};
    auto* const packet = new (block) DataPacket{
        0, nullptr, static_cast<std::uint32_t>(slots_.size()), static_cast<std::uint32_t>(size)};
    auto* place = reinterpret_cast<std::byte*>(packet + 1);
    for (const auto part : parts)
        place = std::ranges::copy(part, place).out;
    return {packet, {&memory_}};
}

void PacketQueue::append(PacketPtr packet) noexcept {
    // The links own the packets; takeHead() takes them back.
    DataPacket* const added = packet.release();
    // Readers that had ended by the previous write do not count in this packet. No other thread
    // sees it yet.
    added->pendingReaders.fetch_sub(walkedPastSlots_, std::memory_order_relaxed);
    (tail_ == nullptr ? head_ : tail_->next).store(added, std::memory_order_release);
    tail_ = added;
}

void PacketQueue::walkPastGoneReaders() noexcept {
    for (Slot& slot : slots_) {
        if (slot.walkedPast || !slot.gone.load(std::memory_order_acquire)) continue;
        slot.walkedPast = true;
        ++walkedPastSlots_;
        // A reader that had not begun counts in every packet, so the head is the first of all.
        DataPacket* packet =
            slot.position != nullptr ? slot.position : head_.load(std::memory_order_relaxed);
        for (; packet != nullptr; packet = packet->next.load(std::memory_order_relaxed)) {
            packet->pendingReaders.fetch_sub(1, std::memory_order_relaxed);
        }
    }
}

void PacketQueue::freeLeftPackets() noexcept {
    for (;;) {
        const DataPacket* const head = head_.load(std::memory_order_relaxed);
        // Acquire: what the readers did with the packet comes before its end.
        if (head == nullptr || head->pendingReaders.load(std::memory_order_acquire) != 0) return;
        takeHead();
    }
}

PacketQueue::PacketPtr PacketQueue::takeHead() noexcept {
    DataPacket* const head = head_.load(std::memory_order_relaxed);
    DataPacket* const next = head->next.load(std::memory_order_relaxed);
    head_.store(next, std::memory_order_relaxed);
    if (next == nullptr) tail_ = nullptr;
    return {head, {&memory_}};
}

PacketQueue::Reader::~Reader() {
    Slot& slot = queue_.slots_[slot_];
    slot.position = current_;
    slot.gone.store(true, std::memory_order_release);
}

const DataPacket& PacketQueue::Reader::first() {
    do {
        waitForData();
        current_ = queue_.head_.load(std::memory_order_acquire);
    } while (current_ == nullptr);
    return *current_;
}

const DataPacket& PacketQueue::Reader::firstAtHand() {
    // This slot counts in the head until it moves on, so the head stays valid while it is read.
    while ((current_ = queue_.head_.load(std::memory_order_acquire)) == nullptr)
        waitForData();
    return *current_;
}

const DataPacket* PacketQueue::Reader::successor() const noexcept {
    return current_->next.load(std::memory_order_acquire);
}

void PacketQueue::Reader::moveOn() noexcept {
    DataPacket* const left = current_;
    current_ = left->next.load(std::memory_order_acquire);
    queue_.consumedEvent_.set();
    left->pendingReaders.fetch_sub(1, std::memory_order_release);
}

}  // namespace velmora
