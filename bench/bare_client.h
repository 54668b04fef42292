#pragma once

#include <string>

namespace velmora::bench {

/// What any client of this platform must do for a job: the calls of one connection by hand, with
/// nothing around them. Two requests, each followed by the pause of a second that the monitor makes
/// too: one with a short body, then one with the document in chunks of 1,024 bytes. False when the
/// server did not answer 200 to the second.
bool printBare(int port, const std::string& document);

}  // namespace velmora::bench
