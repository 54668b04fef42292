#pragma once

#include <memory>

#include "monitor/jobs/delivery.h"

namespace velmora {

/// What happens to the connection of a job to one printer when the job ends.
enum class AfterJob {
    /// It stays open until the process ends: nothing here knows when the printer is done with it.
    leaveOpen,
    close,
};

/// A document on its way to one printer, sent on the spooler's thread.
class SingleTargetJob final : public PrintJob {
  public:
    /// Connects at once, which may take seconds; failed() says whether it failed.
    SingleTargetJob(const Connect& connect, const DeliveryOrder& order, AfterJob afterJob);
    ~SingleTargetJob() override;

    bool failed() const override;
    bool write(std::span<const std::byte> piece) override;
    /// True if the printer answered that it accepted the job.
    bool end() override;

  private:
    /// Null if the connection could not be made, or has failed at once and is to be closed.
    std::unique_ptr<Delivery> delivery_;
    AfterJob afterJob_;
};

}  // namespace velmora
