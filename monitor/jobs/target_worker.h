#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "ipp/job_template.h"
#include "ipp/print_target.h"
#include "monitor/jobs/job_platform.h"
#include "monitor/jobs/packet_queue.h"
#include "platform/worker_thread.h"

namespace velmora {

/// Delivers the document of a queue to one printer, in a thread of its own. It keeps copies of all
/// that it needs: the port may be configured anew while the job runs. What becomes of the delivery
/// is not reported: one printer that fails must not disturb the others.
class TargetWorker {
  public:
    TargetWorker(PacketQueue& queue, std::size_t slot, JobPlatform& platform, PrintTarget target,
                 std::string documentName, JobTemplate jobTemplate);
    TargetWorker(const TargetWorker&) = delete;
    TargetWorker& operator=(const TargetWorker&) = delete;

    /// False when no thread could be started. At most once.
    bool start();

    /// Of a started worker: true once it has ended, which is waited for up to `milliseconds`.
    bool waitForEnd(std::uint32_t milliseconds);

  private:
    void run() noexcept;
    void deliver();

    PrintTarget target_;
    std::string documentName_;
    JobTemplate jobTemplate_;
    std::unique_ptr<WorkerThread> thread_;
    PacketQueue& queue_;
    std::size_t slot_;
    JobPlatform& platform_;
};

}  // namespace velmora
