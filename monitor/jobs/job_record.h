#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "monitor/jobs/delivery.h"
#include "platform/mutex.h"
#include "port/delivery_record.h"

namespace velmora {

/// The outcome of one job, printer by printer. It watches the job's deliveries from outside: no
/// call is added, no result changed. Every printer is reported exactly once, when its part ends.
/// Shared by the job and its workers; safe to use from several threads.
class JobRecord : public std::enable_shared_from_this<JobRecord> {
  public:
    /// Takes an entry; `startFailed`: the spooler is told that the job cannot start.
    using Write = std::function<void(DeliveryEntry entry, bool startFailed)>;
    /// Milliseconds since 1970 in UTC.
    using Clock = std::int64_t (*)();

    /// `job` holds what is the same for every printer.
    JobRecord(DeliveryEntry job, Write write, Clock clock);

    /// Before the job starts: the URLs that it goes to, in order.
    void setPrinters(const std::vector<std::string>& utf8Urls);

    /// The same connecting, watched.
    Connect watch(Connect connect);

    /// The job has ended: the parts without an outcome ended now.
    void finish() noexcept;
    /// The spooler will never end the job.
    void abandon() noexcept;

  private:
    class Watched;

    struct Printer {
        std::uint32_t number = 0;  ///< among the job's printers, from 1
        std::string url;
        std::string user;
        std::int64_t begin = 0;
        std::atomic<std::uint64_t> bytes{0};
        DeliveryReason reason;  ///< as known last
        bool begun = false;
        bool failed = false;
        bool told = false;
    };

    std::unique_ptr<Delivery> connect(const Connect& connect, const DeliveryOrder& order);
    Printer* printer(std::size_t position) noexcept;
    void begin(Printer& printer) noexcept;
    void fail(Printer& printer, const DeliveryReason& reason) noexcept;
    void tell(Printer& printer, DeliveryOutcome outcome, const DeliveryReason& reason,
              bool startFailed = false) noexcept;
    void endWithoutAnswer(Printer& printer) noexcept;
    void tellRest(bool abandoned) noexcept;

    const DeliveryEntry job_;
    const Write write_;
    const Clock clock_;
    Mutex mutex_;
    std::vector<std::unique_ptr<Printer>> printers_;
};

}  // namespace velmora
