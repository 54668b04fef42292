#pragma once

#include <string>

#include "ipp/message.h"

namespace velmora::testing {

/// Everything that a message holds, as text: two messages are the same when their dumps are.
/// Instances are numbered by the runs that the encoder makes of them, so that an empty group,
/// which counts when it is read but is never written, makes no difference; booleans are true or
/// false; version, code and request id come first.
std::string dumpOf(const IppMessage& message);

}  // namespace velmora::testing
