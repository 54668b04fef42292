#pragma once

#include "monitor/jobs/job_platform.h"

namespace velmora {

/// Delivery to IPP printers with Windows events and threads: what the monitor's jobs run on.
JobPlatform& ippJobPlatform();

}  // namespace velmora
