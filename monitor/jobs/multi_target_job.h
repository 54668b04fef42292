#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "monitor/jobs/delivery.h"
#include "monitor/jobs/packet_queue.h"

namespace velmora {

class TargetWorker;

/// A document on its way to several printers at once: one worker thread for each printer, all fed
/// from one queue. How the printers answer is not reported; the spooler sees the job as sent.
class MultiTargetJob final : public PrintJob {
  public:
    /// Starts the workers. One that cannot be started is left out. Throws std::bad_alloc when not
    /// even the queue can be made.
    MultiTargetJob(const Connect& connect, const std::vector<PrintTarget>& targets,
                   const std::string& documentName, const PacketMemory& memory = {},
                   Pace pace = Pace::steady);
    /// Returns when every worker has ended.
    ~MultiTargetJob() override;

    /// With prompt delivery the queue holds whole chunks, so that no worker copies the document
    /// for its printer. False only when memory for the piece has run out.
    bool write(std::span<const std::byte> piece) override;
    bool end() override;

  private:
    std::unique_ptr<TargetWorker> startWorker(std::size_t slot, const Connect& connect,
                                              const PrintTarget& target,
                                              const std::string& documentName);

    const Pace pace_;
    PacketQueue queue_;
    std::vector<std::unique_ptr<TargetWorker>> workers_;  ///< null: could not be made
};

}  // namespace velmora
