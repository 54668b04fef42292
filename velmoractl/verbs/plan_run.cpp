#include "velmoractl/verbs/plan_run.h"

#include <windows.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "velmoractl/monitor_channel.h"
#include "velmoractl/spooler_queues.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/plan_steps.h"
#include "velmoractl/text/progress_bar.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

/// The channel and the spooler, with a bar that shows how far it is.
class ConfiguredServer : public Configured {
  public:
    ConfiguredServer(const Session& session, MonitorChannel& channel, std::size_t steps,
                     const std::string& what)
        : server_(session.server),
          channel_(channel),
          what_(what),
          bar_(steps, !session.quiet && !session.wantsJson()) {}

    void changeDirectory(const std::function<void(CGroupsDB&)>& change) override {
        channel_.changeDirectory(what_, change);
    }
    bool hasPort(const std::string& name) override {
        const std::vector<std::string> names = channel_.portNames();
        return std::ranges::find(names, name) != names.end();
    }
    void addPort(const PortConfig& port) override { channel_.addPort(port); }
    void changePort(const PortConfig& port) override { channel_.changePort(port); }
    void removePort(const std::string& name) override { channel_.removePort(name); }
    void addQueue(const QueueDescription& queue) override {
        ctl::addQueue(server_, queue, what_ + queueOf(queue.name));
    }
    void changeQueue(const QueueDescription& queue) override {
        ctl::changeQueue(server_, queue, what_ + queueOf(queue.name));
    }
    void removeQueue(const std::string& name) override {
        ctl::removeQueue(server_, name, what_ + queueOf(name));
    }
    FoldName folding() const override { return foldedName; }
    bool ended() override { return InterruptNote::pressed(); }
    void progress(std::size_t done) override { bar_.show(done); }
    void noMoreProgress() override { bar_.end(); }

  private:
    static std::string queueOf(const std::string& name) { return ", queue " + quotedAnsi(name); }

    const std::string server_;
    MonitorChannel& channel_;
    const std::string what_;
    const InterruptNote note_;
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
    ConfiguredServer there(session, channel, stepsOf(plan, queues), what);
    carryOut(there, plan, queues, hasDirectory, what, goOn);
}

void carryOut(const Session& session, MonitorChannel& channel, const PasswordPlan& plan,
              const std::string& password, const std::string& what) {
    ConfiguredServer there(session, channel, stepsOf(plan.ports, {}), what);
    carryOut(there, plan, password, what);
}

void carryOut(const Session& session, MonitorChannel& channel, const PortRename& rename,
              const std::string& what) {
    ConfiguredServer there(session, channel, 0, what);
    carryOut(there, rename, systemCodec(), what);
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
