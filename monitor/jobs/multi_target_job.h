#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "ipp/job_template.h"
#include "ipp/print_target.h"
#include "monitor/jobs/job_platform.h"
#include "monitor/jobs/packet_queue.h"
#include "monitor/jobs/print_job.h"
#include "monitor/jobs/target_worker.h"

namespace velmora {

/// A document on its way to several printers at once: one worker thread a printer, all fed from one
/// queue. How the printers answer is not reported; the spooler sees the job as sent.
class MultiTargetJob final : public PrintJob {
  public:
    /// Starts the workers. One that cannot be started is left out. Throws std::bad_alloc when not
    /// even the queue can be made. `platform` must outlive the job.
    MultiTargetJob(const std::vector<PrintTarget>& targets, const std::string& documentName,
                   const JobTemplate& jobTemplate, JobPlatform& platform);
    /// Returns when every worker has ended.
    ~MultiTargetJob() override;

    /// False only when memory for the piece has run out.
    bool write(const void* data, std::size_t length) override;

  private:
    std::unique_ptr<TargetWorker> startWorker(std::size_t slot, const PrintTarget& target,
                                              const std::string& documentName,
                                              const JobTemplate& jobTemplate,
                                              JobPlatform& platform);

    PacketQueue queue_;
    std::vector<std::unique_ptr<TargetWorker>> workers_;  ///< null: could not be made
};

}  // namespace velmora
