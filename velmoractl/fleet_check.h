#pragma once

#include <chrono>
#include <functional>
#include <vector>

#include "velmoractl/text/fleet_report.h"

namespace velmora::ctl {

struct FleetPrinter;

/// What is known about a printer before it is asked: its URL and ports.
FleetResult unasked(const FleetPrinter& printer);

/// Asks every printer what it is and whether it would take the jobs of its ports, 64 at a time;
/// each takes at most `limit`, and its connections end then. `tell` gets the results as they come,
/// one at a time. The certificates are read after all queries, since reading them makes WinInet
/// accept them; `tell` of an encrypted printer comes after that.
std::vector<FleetResult> checkFleet(const std::vector<FleetPrinter>& printers,
                                    std::chrono::seconds limit,
                                    const std::function<void(const FleetResult&)>& tell);

}  // namespace velmora::ctl
