#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "monitor/port.h"

namespace velmora {

/// What the spooler says about a document that it is about to write. All text is in the ANSI code
/// page.
struct JobOrder {
    char* printerName = nullptr;  ///< for OpenPrinterA; null is handed on as it is
    std::uint32_t jobId = 0;
    std::string documentName;
};

/// Attaches a job to the port. False when its only printer cannot be reached: the job stays
/// attached all the same, for endJob. A port without a reachable printer has no job object. What a
/// port still has from a job that was never ended is abandoned, not ended: nobody knows whether one
/// of the spooler's threads is still in it.
bool startJob(Port& port, JobOrder order);

/// Hands the data on in pieces of at most 1024 bytes and counts those that were accepted. False at
/// the first piece that is not.
bool writeJob(Port& port, std::span<const std::byte> data, std::uint32_t& accepted);

/// Ends and drops the job, tells the spooler that it was sent to the printer, whatever the printers
/// said, and closes the spooler's printer. Nothing happens on a port without a job.
void endJob(Port& port) noexcept;

}  // namespace velmora
