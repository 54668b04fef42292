#pragma once

#include <memory>
#include <string>

#include "ipp/connection.h"
#include "ipp/job_template.h"
#include "ipp/print_target.h"
#include "monitor/jobs/print_job.h"

namespace velmora {

/// A document on its way to one printer, sent on the spooler's thread.
class SingleTargetJob final : public PrintJob {
  public:
    /// Connects and sends the request at once, which takes seconds; failed() tells how it went.
    SingleTargetJob(const PrintTarget& target, const std::string& documentName,
                    const JobTemplate& jobTemplate);
    /// Leaves the connection open until the process ends.
    ~SingleTargetJob() override;

    /// A piece: true while the connection has no error. The end: true when the printer answered
    /// that it accepted the job.
    bool write(const void* data, std::size_t length) override;
    bool failed() override;

  private:
    std::unique_ptr<IppConnection> connection_;  ///< null: none came about
};

}  // namespace velmora
