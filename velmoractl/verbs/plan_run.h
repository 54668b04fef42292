#pragma once

#include <string>

#include "velmoractl/verbs/session.h"

namespace velmora::ctl {

class MonitorChannel;
struct ChangeList;
struct ConfigurationPlan;
struct PasswordPlan;
struct PortRename;
struct QueuePlan;

// Plans carried out on a monitor and its spooler, see plan_steps.h.

void carryOut(const Session& session, MonitorChannel& channel, const ConfigurationPlan& plan,
              const QueuePlan& queues, bool hasDirectory, const std::string& what,
              const std::string& goOn);
void carryOut(const Session& session, MonitorChannel& channel, const PasswordPlan& plan,
              const std::string& password, const std::string& what);
void carryOut(const Session& session, MonitorChannel& channel, const PortRename& rename,
              const std::string& what);

/// The changes: in JSON beside the answer's flag of that name, or as lines; `equal` says that there
/// are none.
void listPlan(const Session& session, const ChangeList& plan, const char* flag, bool value,
              const std::string& equal);
/// The same, and how many have been made, or would be.
void reportPlan(const Session& session, const ChangeList& plan, bool dryRun,
                const std::string& equal);
std::string countOf(const ChangeList& plan);

}  // namespace velmora::ctl
