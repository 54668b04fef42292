#pragma once

#include <functional>
#include <string>
#include <vector>

#include "velmoractl/text/bulk_plan.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/queue_plan.h"

namespace velmora::ctl {

// Plans carried out step by step. When a step fails, the error says what is done and how to go on;
// every queue prints to a port that is there, whichever step it is.

/// How to go on after a change of many that was ended midway.
inline constexpr char kRepeatCommand[] = "run the same command again to go on with the rest";

/// What plans are carried out on: a monitor's ports and directory, and the spooler's queues. Every
/// failure is a CommandError.
class Configured {
  public:
    Configured() = default;
    Configured(const Configured&) = delete;
    Configured& operator=(const Configured&) = delete;
    virtual ~Configured() = default;

    virtual void changeDirectory(const std::function<void(CGroupsDB&)>& change) = 0;
    virtual bool hasPort(const std::string& name) = 0;
    virtual void addPort(const PortConfig& port) = 0;
    virtual void changePort(const PortConfig& port) = 0;
    virtual void removePort(const std::string& name) = 0;
    virtual void addQueue(const QueueDescription& queue) = 0;
    virtual void changeQueue(const QueueDescription& queue) = 0;
    virtual void removeQueue(const std::string& name) = 0;

    /// Gives the same text for two names that the spooler takes for one.
    using FoldName = std::string (*)(std::string name);
    virtual FoldName folding() const = 0;
    /// Whether the user has ended the command; asked between two steps.
    virtual bool ended() = 0;
    /// How many steps are done.
    virtual void progress(std::size_t done) = 0;
    /// That no step follows.
    virtual void noMoreProgress() = 0;
};

/// How many ports and queues a plan changes.
std::size_t stepsOf(const ConfigurationPlan& plan, const QueuePlan& queues);

/// Carries a plan out: first what ports may name, then the ports and the queues that print to them,
/// then what nothing names any more. `hasDirectory`: the plan has groups and printers. Between two
/// ports it may be ended; `goOn` says how the rest is done then. Throws CommandError, which begins
/// with `what`.
void carryOut(Configured& there, const ConfigurationPlan& plan, const QueuePlan& queues,
              bool hasDirectory, const std::string& what, const std::string& goOn);

/// Gives the new password to the plan's ports, and then to its printers and patterns.
void carryOut(Configured& there, const PasswordPlan& plan, const std::string& password,
              const std::string& what);

/// A port and its queues get another name for it. A monitor cannot rename: a new port is made, the
/// queues go over to it, and the old one is removed. If that fails, everything is undone; what
/// cannot be is named, and the same renaming then goes on from there.
struct PortRename {
    const PortConfig& before;
    std::string to;
    bool newIsThere = false;               ///< an earlier renaming has left it
    std::vector<QueueDescription> queues;  ///< those that print to the old port, as they are
};
void carryOut(Configured& there, const PortRename& rename, const TextCodec& codec,
              const std::string& what);

/// The queue with `to` in the place of the port `from`, which may be one of several.
QueueDescription withOtherPort(QueueDescription queue, const std::string& from,
                               const std::string& to);

}  // namespace velmora::ctl
