#include "monitor/jobs/target_worker.h"

#include <utility>

namespace velmora {
namespace {

/// A delivery that has failed gets nothing more, but its worker goes on through the queue, so that
/// the packets can be freed.
void send(Delivery& delivery, const DataPacket& packet, Pace pace) {
    if (delivery.failed()) return;
    if (packet.isEnd()) {
        delivery.end();
    } else if (pace == Pace::prompt) {
        delivery.writeChunk(packet.bytes());
    } else {
        delivery.write(packet.bytes());
    }
}

}  // namespace

TargetWorker::TargetWorker(PacketQueue& queue, std::size_t slot, Connect connect,
                           DeliveryOrder order, Pace pace)
    : queue_(queue),
      slot_(slot),
      connect_(std::move(connect)),
      order_(std::move(order)),
      pace_(pace) {}

bool TargetWorker::start() {
    thread_ = Thread::start([this] { run(); });
    return thread_ != nullptr;
}

bool TargetWorker::waitForEnd(std::uint32_t milliseconds) {
    return thread_->waitForEnd(milliseconds);
}

void TargetWorker::run() noexcept {
    try {
        deliver();
    } catch (...) {
        // Memory has run out for this printer; the others go on.
    }
}

void TargetWorker::deliver() {
    // Given up last, whatever happens below: the queue then stops counting this worker.
    PacketQueue::Reader reader(queue_, slot_);
    const auto delivery = connect_(order_);
    if (delivery == nullptr) return;

    const DataPacket* packet = pace_ == Pace::prompt ? &reader.firstAtHand() : &reader.first();
    send(*delivery, *packet, pace_);
    while (!packet->isEnd()) {
        if (const DataPacket* const next = reader.successor()) {
            send(*delivery, *next, pace_);
            reader.moveOn();
            packet = next;
        } else {
            reader.waitForData();
        }
    }
    if (!delivery->failed()) delivery->accepted();
}

}  // namespace velmora
