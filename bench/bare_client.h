#pragma once

#include <cstddef>
#include <string>

namespace velmora::bench {

/// How the document is sent.
struct BareManner {
    std::size_t piece = 1024;
    /// Each chunk in one call of the platform instead of three, and no pause before a body.
    bool prompt = false;
};

/// What any client on this platform must do for a job: the calls of one connection by hand, with
/// nothing around them. Two requests, each followed by the pause of a second that the monitor makes
/// too: one with a short body, then one with the document in chunks of 1,024 bytes. False when the
/// server did not answer 200 to the second.
bool printBare(int port, const std::string& document, const BareManner& manner = {});

}  // namespace velmora::bench
