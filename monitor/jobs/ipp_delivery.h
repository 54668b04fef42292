#pragma once

#include <memory>

#include "ipp/connection_options.h"
#include "monitor/jobs/delivery.h"

namespace velmora {

/// Delivery by a Print-Job request over connections with these options: what the monitor's jobs use
/// as their Connect.
std::unique_ptr<Delivery> connectToPrinter(const DeliveryOrder& order,
                                           const ConnectionOptions& options = {});

}  // namespace velmora
