#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ipp/connection_options.h"
#include "ipp/message.h"
#include "velmoractl/printer_client.h"

namespace velmora::ctl {

/// Get-Jobs: the jobs that have ended, or the others. Null when memory runs out.
std::shared_ptr<IppMessage> jobsRequest(const PrintTarget& target, bool completed);

/// Get-Job-Attributes, Cancel-Job or another request about one job. Null when memory runs out.
std::shared_ptr<IppMessage> jobRequest(IppOperation operation, const PrintTarget& target,
                                       std::uint32_t id);

/// A job as a printer's answer describes it; texts as the printer wrote them.
struct ListedJob {
    std::optional<std::int64_t> id;
    std::string name;
    std::string user;
    std::string state;  ///< keyword
    std::optional<std::int64_t> stateNumber;
    std::vector<std::string> reasons;
    std::optional<std::int64_t> kilobytes;

    bool ended() const { return stateNumber.value_or(0) >= 7; }  // RFC 2911, 4.3.7
};
std::vector<ListedJob> jobsOf(const IppMessage& answer);

/// A job at the printer that has accepted it, which is polled.
class PrinterJob {
  public:
    PrinterJob(PrintTarget target, std::chrono::seconds limit, const ConnectionOptions& options)
        : client_(std::move(target), limit), options_(options) {}

    const PrintTarget& target() const { return client_.target(); }

    /// The newest job of that name and user (UTF-8). The problem if the printer does not answer;
    /// without a problem found() says whether it has one.
    std::optional<PrinterProblem> find(const std::string& name, const std::string& user);
    bool found() const { return id_.has_value(); }
    std::optional<std::uint32_t> id() const { return id_; }

    /// Get-Job-Attributes of a job that was found.
    std::optional<PrinterProblem> ask();
    /// The keyword of job-state in the printer's last answer; empty before that.
    const std::string& state() const { return state_; }
    const std::vector<std::string>& reasons() const { return reasons_; }
    /// The job is completed, cancelled or aborted.
    bool ended() const { return ended_; }
    bool completed() const { return state_ == "completed"; }
    /// The printer no longer knows the job: it has ended, in an unknown way.
    bool forgotten() const { return state_ == kForgotten; }

  private:
    static constexpr std::string_view kForgotten = "forgotten";

    void take(const IppMessage& answer, std::uint32_t instance);

    PrinterClient client_;
    ConnectionOptions options_;
    std::optional<std::uint32_t> id_;
    std::string state_;
    std::vector<std::string> reasons_;
    bool ended_ = false;
};

}  // namespace velmora::ctl
