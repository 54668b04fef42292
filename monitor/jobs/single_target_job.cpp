#include "monitor/jobs/single_target_job.h"

namespace velmora {

SingleTargetJob::SingleTargetJob(const Connect& connect, const DeliveryOrder& order,
                                 AfterJob afterJob)
    : delivery_(connect(order)), afterJob_(afterJob) {
    // The spooler need not end a job that could not start.
    if (failed() && afterJob_ == AfterJob::close) delivery_.reset();
}

SingleTargetJob::~SingleTargetJob() {
    // Given up without being closed, on purpose: closing may wait for the printer, and what
    // deployed printers do with a job whose connection is gone is not known.
    if (delivery_ != nullptr && afterJob_ == AfterJob::leaveOpen) delivery_->leaveOpen();
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
