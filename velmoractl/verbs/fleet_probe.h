#pragma once

#include <string>
#include <vector>

#include "velmoractl/verbs/fleet_files.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {

/// Which printers "probe" asks, and how.
struct ProbeOptions {
    std::vector<std::string> urls;
    std::vector<std::string> ports;
    std::vector<std::string> groups;
    FleetFiles files;
    bool all = false;
    Credentials credentials;  ///< for the URLs
    unsigned timeout = 30;
    Option timeoutOption;
    unsigned days = 30;
    bool allowUnknown = false;
    bool prompt = false;
};

/// Asks many printers and answers with one list. ExitCode::printerProblem if one is not ready.
void probeFleet(const Session& session, const ProbeOptions& options, const std::string& what);

}  // namespace velmora::ctl
