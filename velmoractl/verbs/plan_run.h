#pragma once

#include <string>

#include "velmoractl/verbs/session.h"

namespace velmora::ctl {

class MonitorChannel;
struct ChangeList;
struct ConfigurationPlan;
struct QueuePlan;

/// Carries a plan out: first what ports may name, then the ports and the queues that print to them,
/// then what nothing names any more. `hasDirectory`: the plan has groups and printers. Between two
/// ports it may be ended; `goOn` says how the rest is done then. Throws CommandError, which begins
/// with `what`, and says what is done.
void carryOut(const Session& session, MonitorChannel& channel, const ConfigurationPlan& plan,
              const QueuePlan& queues, bool hasDirectory, const std::string& what,
              const std::string& goOn);

/// The changes: in JSON beside the answer's flag of that name, or as lines; `equal` says that there
/// are none.
void listPlan(const Session& session, const ChangeList& plan, const char* flag, bool value,
              const std::string& equal);
/// The same, and how many have been made, or would be.
void reportPlan(const Session& session, const ChangeList& plan, bool dryRun,
                const std::string& equal);
std::string countOf(const ChangeList& plan);

}  // namespace velmora::ctl
