#include "monitor/jobs/single_target_job.h"

namespace velmora {

SingleTargetJob::SingleTargetJob(const Connect& connect, const DeliveryOrder& order)
    : delivery_(connect(order)) {}

SingleTargetJob::~SingleTargetJob() {
    // Given up without being closed, on purpose: nothing here knows when the printer is done with a
    // job that came over this connection, and on the spooler's thread nobody may wait for that. Its
    // handles stay until the process ends.
    if (delivery_ != nullptr) delivery_->leaveOpen();
}

bool SingleTargetJob::failed() const {
    return delivery_ == nullptr || delivery_->failed();
}

bool SingleTargetJob::write(std::span<const std::byte> piece) {
    return delivery_ != nullptr && delivery_->write(piece);
}

bool SingleTargetJob::end() {
    if (failed()) return false;
    // A printer that refuses a document may answer while it is still being sent, so the answer is
    // asked for even when the end could not be sent.
    delivery_->end();
    return delivery_->accepted();
}

}  // namespace velmora
