#include "velmoractl/verbs/plan_run.h"

#include <windows.h>

#include <nlohmann/json.hpp>
#include <set>

#include "port/port_config.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/spooler_queues.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/progress_bar.h"
#include "velmoractl/text/queue_plan.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

/// First what ports may name, then the ports, then what no port names any
/// more. Between two ports it may be ended; the same file then brings the rest.
class PlanRun {
  public:
    PlanRun(const Session& session, MonitorChannel& channel, const ConfigurationPlan& plan,
            const QueuePlan& queues, bool hasDirectory, const std::string& what,
            const std::string& goOn)
        : session_(session),
          channel_(channel),
          plan_(plan),
          queues_(queues),
          hasDirectory_(hasDirectory),
          what_(what),
          goOn_(goOn),
          queueSteps_(queues_.toRemove.size() + queues_.toAdd.size() + queues_.toChange.size()),
          total_(plan_.portsToRemove.size() + plan_.portsToAdd.size() + plan_.portsToChange.size() +
                 queueSteps_),
          bar_(total_, !session.quiet && !session.wantsJson()) {}

    void run() {
        const InterruptNote note;
        if (hasDirectory_) {
            guarded("the groups and printers may not be there", [&] {
                channel_.changeDirectory(what_,
                                         [&](CGroupsDB& directory) { grow(directory, plan_); });
            });
        }
        for (const std::string& name : queues_.toRemove)
            step([&] { removeQueue(session_.server, name, what_); });
        // Names that differ in capital and small letters alone are one name to Windows.
        std::set<std::string> coming;
        for (const PortConfig& port : plan_.portsToAdd)
            coming.insert(foldedName(port.name));
        const auto removePorts = [&](bool clashing) {
            for (const std::string& name : plan_.portsToRemove) {
                if (coming.contains(foldedName(name)) != clashing) continue;
                step([&] { channel_.removePort(name); });
            }
        };
        removePorts(true);
        for (const PortConfig& port : plan_.portsToAdd)
            step([&] { channel_.addPort(port); });
        for (const PortConfig& port : plan_.portsToChange)
            step([&] { channel_.changePort(port); });
        for (const QueueDescription& queue : queues_.toAdd)
            step([&] { addQueue(session_.server, queue, what_); });
        for (const QueueDescription& queue : queues_.toChange)
            step([&] { changeQueue(session_.server, queue, what_); });
        removePorts(false);
        bar_.end();
        if (hasDirectory_) {
            guarded("groups and printers that the file lacks may still be there", [&] {
                channel_.changeDirectory(
                    what_, [&](CGroupsDB& directory) { complete(directory, plan_, foldedName); });
            });
        }
    }

  private:
    std::string progress() const {
        return std::to_string(done_) + " of " + std::to_string(total_) +
               (queueSteps_ == 0 ? " ports are done" : " ports and queues are done");
    }

    /// Runs a part of the import; an error in it says what is done, what is not, and how to go on.
    template <class Body>
    void guarded(const std::string& rest, Body&& body) {
        try {
            body();
        } catch (const CommandError& error) {
            bar_.end();
            const bool named = error.subject() == what_;
            throw CommandError(error.code(), named ? what_ : what_ + ", " + error.subject(),
                               error.why() + "; " + progress() + (rest.empty() ? "" : ", " + rest),
                               error.remedy() + "; then " + goOn_, error.keyword());
        }
    }

    template <class Body>
    void step(Body&& body) {
        if (InterruptNote::pressed()) {
            bar_.end();
            throw CommandError(ExitCode::cancelled, what_, "you have ended it; " + progress(),
                               goOn_);
        }
        guarded({}, body);
        bar_.show(++done_);
    }

    const Session& session_;
    MonitorChannel& channel_;
    const ConfigurationPlan& plan_;
    const QueuePlan& queues_;
    const bool hasDirectory_;
    const std::string what_;
    const std::string goOn_;
    const std::size_t queueSteps_;
    const std::size_t total_;
    std::size_t done_ = 0;
    ProgressBar bar_;
};

Json described(const Change& change) {
    Json details = Json::array();
    for (const Difference& one : change.details)
        details.push_back({{"key", one.key}, {"before", one.before}, {"after", one.after}});
    return {{"action", keywordOf(change.kind)},
            {"kind", change.thing},
            {"name", change.name},
            {"details", std::move(details)}};
}

}  // namespace

void carryOut(const Session& session, MonitorChannel& channel, const ConfigurationPlan& plan,
              const QueuePlan& queues, bool hasDirectory, const std::string& what,
              const std::string& goOn) {
    PlanRun(session, channel, plan, queues, hasDirectory, what, goOn).run();
}

void listPlan(const Session& session, const ChangeList& plan, const char* flag, bool value,
              const std::string& equal) {
    if (session.wantsJson()) {
        Json changes = Json::array();
        for (const Change& change : plan.changes)
            changes.push_back(described(change));
        session.answer(
            {{flag, value}, {"changes", std::move(changes)}, {"warnings", plan.warnings}});
        return;
    }
    for (const Change& change : plan.changes) {
        session.say(inWords(change));
        for (const Difference& one : change.details)
            session.say("    " + inWords(one));
    }
    if (plan.changes.empty()) session.say(equal + "; nothing to change.");
}

std::string countOf(const ChangeList& plan) {
    return std::to_string(plan.changes.size()) +
           (plan.changes.size() == 1 ? " change" : " changes");
}

void reportPlan(const Session& session, const ChangeList& plan, bool dryRun,
                const std::string& equal) {
    listPlan(session, plan, "dry-run", dryRun, equal);
    if (plan.changes.empty()) return;
    const std::string count = countOf(plan);
    session.say(dryRun ? count + " would be made; nothing has been changed."
                       : count + (plan.changes.size() == 1 ? " has" : " have") + " been made.");
}

}  // namespace velmora::ctl
