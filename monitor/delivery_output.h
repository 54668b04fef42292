#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "monitor/delivery_log.h"
#include "monitor/jobs/job_record.h"
#include "platform/printer_address.h"
#include "port/policy.h"

namespace velmora {

/// Appends lines to the newest file of the record in `directory`, after the older ones have moved
/// on whenever it would become larger than a quarter of `recordMiB`. Returns how many were written;
/// of the others nothing remains. Other processes may write to the same files.
std::size_t appendToRecord(const std::string& directory, std::span<const std::string> lines,
                           std::uint32_t recordMiB);
/// The same for one line: whether it was written.
inline bool appendToRecord(const std::string& directory, const std::string& line,
                           std::uint32_t recordMiB) {
    return appendToRecord(directory, std::span(&line, 1), recordMiB) == 1;
}

/// The record of one job that is about to start, kept in the files below the spooler's directory
/// and the Windows event log as the policy says; null if it asks for neither, or without memory:
/// the job does not depend on it. `port` and the printers' URLs are in the ANSI code page.
std::shared_ptr<JobRecord> newJobRecord(const Policy& policy, const std::string& port,
                                        std::uint32_t job, const std::wstring& document,
                                        const std::vector<PrintTarget>& targets) noexcept;

/// Reports what is left to report before the library is unloaded. Waits for the disk for a moment.
void flushDeliveryLog() noexcept;

}  // namespace velmora
