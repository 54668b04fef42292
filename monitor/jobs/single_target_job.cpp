#include "monitor/jobs/single_target_job.h"

#include "ipp/print_job.h"

namespace velmora {

SingleTargetJob::SingleTargetJob(const PrintTarget& target, const std::string& documentName,
                                 const JobTemplate& jobTemplate)
    : connection_(SendPrintJob(target, documentName, jobTemplate)) {}

SingleTargetJob::~SingleTargetJob() {
    // Given up without being closed, on purpose: nothing here knows when the printer is done with a
    // job that came over this connection, and on the spooler's thread nobody may wait for that. Its
    // handles stay until the process ends.
    static_cast<void>(connection_.release());
}

bool SingleTargetJob::write(const void* data, std::size_t length) {
    if (connection_ == nullptr) return false;
    // The end is written once, by finish().
    if (length == 0) return connection_->finish();
    connection_->writeData(data, length);
    return connection_->lastError() == 0;
}

bool SingleTargetJob::failed() {
    return connection_ == nullptr || connection_->lastError() != 0;
}

}  // namespace velmora
