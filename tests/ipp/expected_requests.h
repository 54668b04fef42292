#pragma once

#include <string>
#include <utility>
#include <vector>

namespace velmora {
struct JobTemplate;
}

namespace velmora::testing {

// The requests that a job sends, put together field by field from RFC 2910 and without the encoder.

/// Get-Printer-Attributes with its four operation attributes.
std::string expectedProbe(const std::string& url, const std::string& userUtf8);

/// Print-Job up to the end tag; page-ranges only when there are `ranges` (lower, upper).
std::string expectedPrintJob(const std::string& url, const std::string& userUtf8,
                             const std::string& nameUtf8, const JobTemplate& values,
                             const std::vector<std::pair<unsigned, unsigned>>& ranges = {});

/// The same with the template of a new port.
std::string expectedPrintJob(const std::string& url, const std::string& userUtf8,
                             const std::string& nameUtf8);

/// One chunk of HTTP/1.1's chunked coding (RFC 2616, 3.6.1).
std::string chunk(const std::string& bytes);

/// A well-formed answer with this IPP status.
std::string goodAnswer(unsigned status = 0);

/// A template whose every field differs from the default of a new port.
const JobTemplate& changedTemplate();

/// The user of this process, as requests name it.
std::string userName();

}  // namespace velmora::testing
