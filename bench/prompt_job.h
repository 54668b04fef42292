#pragma once

#include <cstddef>
#include <string>

#include "monitor/jobs/delivery.h"
#include "port/policy.h"

namespace velmora::bench {

/// One job as the spooler prints it, in calls of `callSize` bytes; recorded as the policy says.
/// Ends the program if the job fails.
void printPromptly(const std::string& url, std::size_t printers, const std::string& document,
                   std::size_t callSize, Pace pace = Pace::prompt, const Policy& policy = {});

}  // namespace velmora::bench
