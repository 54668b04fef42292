#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ipp/connection.h"
#include "platform/printer_address.h"

namespace velmora {

struct JobTemplate;

/// A request with the operation attributes that every request of ours begins with: character set,
/// language, printer-uri and requesting-user-name. Null when memory runs out.
UniqueIppMessage newPrinterRequest(IppOperation operation, const PrintTarget& target);

/// The same about one job of the printer, such as Cancel-Job. Null when memory runs out.
UniqueIppMessage newRequestAboutJob(IppOperation operation, const PrintTarget& target,
                                    std::uint32_t job);

/// The request that begins a print job; with IppOperation::validateJob the query whether the
/// printer would accept it. Texts are in the ANSI code page. Null when memory runs out.
UniqueIppMessage newJobRequest(IppOperation operation, const PrintTarget& target,
                               const std::string& documentName, const JobTemplate& jobTemplate);

/// How far the start of a job has come.
enum class JobStep { connect, probe, authenticate, send };

/// What the start of a job reports besides its result.
struct JobStart {
    std::string userName;             ///< as sent in requesting-user-name, in UTF-8
    JobStep step = JobStep::connect;  ///< the last one
    std::uint32_t error = 0;          ///< of that step
    std::uint32_t httpStatus = 0;     ///< that stopped it; 0: none did
};

/// Starts one job at one printer: asks the printer for its attributes first (which is where
/// passwords and certificates are settled, with dialogs of the platform where needed), then posts
/// the Print-Job request with its attributes and leaves the body open for the document.
///
/// Null when the printer could not be reached or the user gave up. Otherwise the caller tests the
/// connection's lastError() before it writes data; finish() ends the job.
/// `start`, if not null, is filled in either case.
/// Texts are in the ANSI code page. Safe to call from several threads at once.
std::unique_ptr<IppConnection> SendPrintJob(const PrintTarget& target,
                                            const std::string& documentName,
                                            const JobTemplate& jobTemplate,
                                            const ConnectionOptions& options = {},
                                            JobStart* start = nullptr);

}  // namespace velmora
