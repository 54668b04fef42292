#include "velmoractl/text/plan_steps.h"

#include <algorithm>
#include <optional>
#include <set>

#include "port/port_config.h"
#include "velmoractl/command_error.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/undo.h"

namespace velmora::ctl {
namespace {

/// The whole command, and its part that failed.
std::string subjectOf(const CommandError& error, const std::string& what) {
    return error.subject() == what ? what : what + ", " + error.subject();
}

class PlanRun {
  public:
    PlanRun(Configured& there, const ConfigurationPlan& plan, const QueuePlan& queues,
            bool hasDirectory, const std::string& what, const std::string& goOn)
        : there_(there),
          plan_(plan),
          queues_(queues),
          hasDirectory_(hasDirectory),
          what_(what),
          goOn_(goOn),
          total_(stepsOf(plan, queues)) {}

    void run() {
        if (hasDirectory_) {
            guarded("the groups and printers may not be there", [&] {
                there_.changeDirectory([&](CGroupsDB& directory) { grow(directory, plan_); });
            });
        }
        for (const std::string& name : queues_.toRemove)
            step([&] { there_.removeQueue(name); });
        // Names that differ in capital and small letters alone are one name to Windows.
        std::set<std::string> coming;
        for (const PortConfig& port : plan_.portsToAdd)
            coming.insert(there_.folding()(port.name));
        const auto removePorts = [&](bool clashing) {
            for (const std::string& name : plan_.portsToRemove) {
                if (coming.contains(there_.folding()(name)) != clashing) continue;
                step([&] { there_.removePort(name); });
            }
        };
        removePorts(true);
        for (const PortConfig& port : plan_.portsToAdd)
            step([&] { there_.addPort(port); });
        for (const PortConfig& port : plan_.portsToChange)
            step([&] { there_.changePort(port); });
        for (const QueueDescription& queue : queues_.toAdd)
            step([&] { there_.addQueue(queue); });
        for (const QueueDescription& queue : queues_.toChange)
            step([&] { there_.changeQueue(queue); });
        removePorts(false);
        there_.noMoreProgress();
        if (hasDirectory_) {
            guarded("groups and printers that the file lacks may still be there", [&] {
                there_.changeDirectory(
                    [&](CGroupsDB& directory) { complete(directory, plan_, there_.folding()); });
            });
        }
    }

  private:
    std::string progress() const {
        const bool ports =
            queues_.toRemove.empty() && queues_.toAdd.empty() && queues_.toChange.empty();
        return std::to_string(done_) + " of " + std::to_string(total_) +
               (ports ? " ports are done" : " ports and queues are done");
    }

    /// Runs a part of the plan; an error in it says what is done, what is not, and how to go on.
    template <class Body>
    void guarded(const std::string& rest, Body&& body) {
        try {
            body();
        } catch (const CommandError& error) {
            there_.noMoreProgress();
            throw CommandError(error.code(), subjectOf(error, what_),
                               error.why() + "; " + progress() + (rest.empty() ? "" : ", " + rest),
                               error.remedy() + "; then " + goOn_, error.keyword());
        }
    }

    template <class Body>
    void step(Body&& body) {
        if (there_.ended()) {
            there_.noMoreProgress();
            throw CommandError(ExitCode::cancelled, what_, "you have ended it; " + progress(),
                               goOn_);
        }
        guarded({}, body);
        there_.progress(++done_);
    }

    Configured& there_;
    const ConfigurationPlan& plan_;
    const QueuePlan& queues_;
    const bool hasDirectory_;
    const std::string what_;
    const std::string goOn_;
    const std::size_t total_;
    std::size_t done_ = 0;
};

/// Whether the step worked; for taking steps back.
template <class Body>
bool works(Body&& body) {
    try {
        body();
        return true;
    } catch (const CommandError&) {
        return false;
    }
}

}  // namespace

std::size_t stepsOf(const ConfigurationPlan& plan, const QueuePlan& queues) {
    return plan.portsToRemove.size() + plan.portsToAdd.size() + plan.portsToChange.size() +
           queues.toRemove.size() + queues.toAdd.size() + queues.toChange.size();
}

void carryOut(Configured& there, const ConfigurationPlan& plan, const QueuePlan& queues,
              bool hasDirectory, const std::string& what, const std::string& goOn) {
    PlanRun(there, plan, queues, hasDirectory, what, goOn).run();
}

void carryOut(Configured& there, const PasswordPlan& plan, const std::string& password,
              const std::string& what) {
    // Ports first: storing one stores its pattern too.
    carryOut(there, plan.ports, {}, false, what, kRepeatCommand);
    try {
        there.changeDirectory(
            [&](CGroupsDB& directory) { applyPasswords(directory, plan, password); });
    } catch (const CommandError& error) {
        throw CommandError(error.code(), what,
                           error.why() +
                               "; the ports have the new password, the printers and "
                               "patterns of the directory do not",
                           error.remedy() + "; then " + kRepeatCommand, error.keyword());
    }
}

void carryOut(Configured& there, const PortRename& rename, const TextCodec& codec,
              const std::string& what) {
    const std::string& from = rename.before.name;
    const auto quoted = [&](const std::string& text) { return inQuotes(codec.toUtf8(text)); };
    Undo undo;
    const auto takenBack = [&](const CommandError& error) {
        const CommandError told = undo.takeBack(error);
        return CommandError(told.code(), subjectOf(told, what), told.why(),
                            told.remedy() + "; then run the same command again", told.keyword());
    };
    // A queue that goes on printing to the new port needs it.
    bool allQueuesBack = true;
    try {
        if (!rename.newIsThere) {
            PortConfig port = rename.before;
            port.name = rename.to;
            there.addPort(port);
            undo.done("the port " + quoted(rename.to),
                      [&] { return allQueuesBack && works([&] { there.removePort(rename.to); }); });
        }
        for (const QueueDescription& queue : rename.queues) {
            // Before the change: one that reports an error may have been made.
            undo.done("the queue " + quoted(queue.name) + ", which prints to " + quoted(rename.to),
                      [&] {
                          const bool back = works([&] { there.changeQueue(queue); });
                          allQueuesBack = allQueuesBack && back;
                          return back;
                      });
            there.changeQueue(withOtherPort(queue, from, rename.to));
        }
    } catch (const CommandError& error) {
        throw takenBack(error);
    }
    try {
        there.removePort(from);
    } catch (const CommandError& error) {
        // The queues go back only to a port that is known to be there.
        std::optional<bool> stays;
        if (!works([&] { stays = there.hasPort(from); })) {
            throw CommandError(error.code(), subjectOf(error, what),
                               error.why() + "; the port " + quoted(rename.to) +
                                   " is there and has the queues; whether " + quoted(from) +
                                   " is still there cannot be told",
                               error.remedy() +
                                   "; then see \"port list\", and if it is there run "
                                   "the same command again",
                               error.keyword());
        }
        if (stays == true) throw takenBack(error);
    }
}

QueueDescription withOtherPort(QueueDescription queue, const std::string& from,
                               const std::string& to) {
    std::vector<std::string> ports = portsOfQueue(queue.port);
    std::ranges::replace(ports, from, to);
    queue.port.clear();
    for (const std::string& port : ports)
        queue.port += (queue.port.empty() ? "" : ",") + port;
    return queue;
}

}  // namespace velmora::ctl
