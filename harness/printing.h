#pragma once

#include <string>

#include "ipp/print_job.h"

namespace velmora::testing {

/// A document of `size` bytes that differs from place to place, holds every byte value and begins
/// as PostScript does: a printer that is not told a document's type looks at its first bytes.
std::string testDocument(std::size_t size);

/// A target without credentials.
PrintTarget targetOf(const std::string& url);

/// The template of a new port.
const JobTemplate& newPortTemplate();

/// What the tests of this program ask of their connections; the program decides.
ConnectionOptions& connectionOptions();

/// Sends the document in the spooler's pieces, or in those of prompt delivery; whether the printer
/// accepted it.
bool sendDocument(IppConnection& connection, const std::string& document);

/// SendPrintJob with the template of a new port.
std::unique_ptr<IppConnection> startJob(const PrintTarget& target,
                                        const std::string& name = "Document",
                                        const ConnectionOptions& options = {});

/// A whole job; whether the printer accepted it.
bool printDocument(const PrintTarget& target, const std::string& document, const std::string& name,
                   const JobTemplate& values);
/// The same with the template of a new port.
bool printDocument(const PrintTarget& target, const std::string& document,
                   const std::string& name = "Document");

}  // namespace velmora::testing
