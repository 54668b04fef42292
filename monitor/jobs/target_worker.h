#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "monitor/jobs/delivery.h"
#include "monitor/jobs/packet_queue.h"
#include "platform/threads.h"

namespace velmora {

/// Delivers the document of a queue to one printer, in a thread of its own. It keeps copies of
/// everything that it needs: the port may be reconfigured while the job runs. The outcome of the
/// delivery is not reported: one printer that fails must not disturb the others.
class TargetWorker {
  public:
    TargetWorker(PacketQueue& queue, std::size_t slot, Connect connect, DeliveryOrder order,
                 Pace pace);
    TargetWorker(const TargetWorker&) = delete;
    TargetWorker& operator=(const TargetWorker&) = delete;

    /// False when no thread could be started. At most once.
    bool start();

    /// For a started worker: waits up to `milliseconds` for its end; true once it has ended.
    bool waitForEnd(std::uint32_t milliseconds);

  private:
    void run() noexcept;
    void deliver();

    PacketQueue& queue_;
    std::size_t slot_;
    Connect connect_;
    DeliveryOrder order_;
    const Pace pace_;
    std::unique_ptr<Thread> thread_;
};

}  // namespace velmora
