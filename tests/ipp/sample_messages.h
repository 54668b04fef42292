#pragma once

#include <string>
#include <vector>

#include "harness/wire.h"

namespace velmora::testing {

struct SampleMessage {
    std::string name;
    Bytes bytes;
    std::string dump;  ///< dumpOf() of the message that it parses to
};

/// Responses that every policy reads.
std::vector<SampleMessage> goodMessages();

/// Responses that every policy refuses; each ends where the fault becomes known.
std::vector<SampleMessage> badMessages();

/// Responses that only the lenient policy reads.
std::vector<SampleMessage> toolsMessages();

}  // namespace velmora::testing
