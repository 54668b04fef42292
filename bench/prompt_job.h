#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "ipp/connection_options.h"
#include "monitor/jobs/delivery.h"
#include "port/policy.h"

namespace velmora::bench {

/// Connects to a printer with the job template of a new port. Ends the program if it is not
/// reached.
std::unique_ptr<Delivery> connectOrStop(const DeliveryOrder& order,
                                        const ConnectionOptions& options);

/// One job as the spooler prints it, in calls of `callSize` bytes; recorded as the policy says.
/// Ends the program if the job fails.
void printPromptly(const std::string& url, std::size_t printers, const std::string& document,
                   std::size_t callSize, Pace pace = Pace::prompt, const Policy& policy = {});

}  // namespace velmora::bench
