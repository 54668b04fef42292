#pragma once

#include <memory>

#include "ipp/connection_options.h"
#include "monitor/jobs/delivery.h"

namespace velmora {

struct JobTemplate;

/// Delivery by a Print-Job request with these attributes, over connections with these options: what
/// the monitor's jobs use as their Connect.
std::unique_ptr<Delivery> connectToPrinter(const DeliveryOrder& order,
                                           const JobTemplate& jobTemplate,
                                           const ConnectionOptions& options = {});

}  // namespace velmora
