#pragma once

#include <memory>

#include "monitor/jobs/delivery.h"

namespace velmora {

/// Delivery by a Print-Job request: what the monitor's jobs use as their Connect.
std::unique_ptr<Delivery> connectToPrinter(const DeliveryOrder& order);

}  // namespace velmora
