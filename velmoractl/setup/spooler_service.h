#pragma once

#include <windows.h>
// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <winspool.h>

#include <string>
#include <vector>

namespace velmora::ctl {

/// A document in the queue of one of a computer's printers. Texts are stored ones (ANSI).
struct WaitingJob {
    std::string printer;
    DWORD id;
    std::string document;
};

/// The spooler functions that are used.
struct QueueFunctions {
    decltype(&EnumPrintersA) enumPrinters = EnumPrintersA;
    decltype(&OpenPrinterA) openPrinter = OpenPrinterA;
    decltype(&EnumJobsA) enumJobs = EnumJobsA;
    decltype(&ClosePrinter) closePrinter = ClosePrinter;
};

/// The documents that are waiting or being printed on the computer, "\\NAME" or empty for this one.
/// A printer whose queue cannot be read is left out, as its documents are not lost by a restart.
/// EnumJobsA.
std::vector<WaitingJob> waitingJobs(const std::string& server, const QueueFunctions& spooler = {});

/// Stops the spooler's service, with the services that depend on it, and starts them again. Waits
/// at most 60 seconds for each of them. Throws CommandError: with ExitCode::restartNeeded if the
/// spooler could not be stopped and runs on, with another code if it is stopped now.
void restartSpooler(const std::string& server);

}  // namespace velmora::ctl
