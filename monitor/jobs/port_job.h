#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "monitor/jobs/delivery.h"
#include "monitor/jobs/job_record.h"
#include "monitor/jobs/single_target_job.h"

namespace velmora {

/// The spooler's side of a job.
struct JobInfo {
    std::uint32_t jobId = 0;
    std::string documentName;       ///< ANSI
    void* printerHandle = nullptr;  ///< from OpenPrinterA; null if that failed
};

/// One job of a port, from the spooler's start to its end: owns the spooler's printer handle and
/// the delivery. The spooler calls the entries of one port one after the other.
class PortJob {
  public:
    /// Tells the spooler that the job was sent to the printer and closes the spooler's printer.
    using Report = void (*)(const JobInfo& info);

    PortJob(JobInfo info, Report report) noexcept;
    /// From now on the job reports its outcome to `record`; call it before start().
    void recordIn(std::shared_ptr<JobRecord> record) noexcept { record_ = std::move(record); }
    /// Ends the document, then reports: whatever the printers answered, and whether or not there
    /// was one.
    ~PortJob();
    PortJob(const PortJob&) = delete;
    PortJob& operator=(const PortJob&) = delete;

    JobInfo& info() noexcept { return info_; }

    /// Starts the delivery to every target, once. False if the only one cannot be reached. Without
    /// a target the job is accepted and its data refused.
    bool start(const Connect& connect, const std::vector<PrintTarget>& targets,
               AfterJob afterJob = AfterJob::leaveOpen, Pace pace = Pace::steady);

    /// The spooler will never end this job, which is about to be abandoned.
    void abandon() noexcept;
    /// The same for a job that has not started(): it is about to be destroyed, and then calls
    /// `report` instead of the function that it was made with.
    void abandon(Report report) noexcept;
    /// Whether the spooler was told that it may write; one of its threads may be doing so.
    bool started() const noexcept { return started_; }

    /// Hands the data on in pieces of at most 1024 bytes, or of 64 KiB for a prompt job, and counts
    /// those that were accepted. Nothing is held back. False at the first piece that is not taken.
    bool write(std::span<const std::byte> data, std::uint32_t& accepted);

  private:
    void endDocument() noexcept;

    JobInfo info_;
    Report report_;
    std::unique_ptr<PrintJob> delivery_;
    std::size_t pieceSize_ = 0;  ///< set by start()
    bool started_ = false;
    std::shared_ptr<JobRecord> record_;  ///< null: nobody asked for one
};

}  // namespace velmora
