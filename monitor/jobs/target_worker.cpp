#include "monitor/jobs/target_worker.h"

#include <utility>

namespace velmora {
namespace {

/// A connection with an error gets nothing more, but its worker walks on through the queue, so that
/// the packets can be freed.
void sendPacket(DocumentConnection& connection, const DataPacket& packet) {
    if (!connection.hasError()) connection.send(packet.data(), packet.length);
}

}  // namespace

TargetWorker::TargetWorker(PacketQueue& queue, std::size_t slot, JobPlatform& platform,
                           PrintTarget target, std::string documentName, JobTemplate jobTemplate)
    : target_(std::move(target)),
      documentName_(std::move(documentName)),
      jobTemplate_(std::move(jobTemplate)),
      queue_(queue),
      slot_(slot),
      platform_(platform) {}

bool TargetWorker::start() {
    thread_ = platform_.startThread([this] { run(); });
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
    const auto connection = platform_.connect(target_, documentName_, jobTemplate_);
    if (connection == nullptr) return;

    const DataPacket* packet = &reader.first();
    sendPacket(*connection, *packet);
    while (packet->length != 0) {
        if (const DataPacket* const next = reader.successor()) {
            sendPacket(*connection, *next);
            reader.moveOn();
            packet = next;
        } else {
            reader.waitForData();
        }
    }
    if (!connection->hasError()) connection->discardResponse();
}

}  // namespace velmora
