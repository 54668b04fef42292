#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/queue_plan.h"
#include "velmoractl/verbs/queue_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

/// The options of "queue add" and "queue set".
struct QueueOptions {
    QueueDescription queue;
    bool isDefault = false;
    bool noShare = false;
    Option port, driver, share, location, comment;
};

void addQueueOptions(Verb verb, QueueOptions& options) {
    options.port = verb.text("--port", options.queue.port, "the port that it prints to", "PORT");
    options.driver = verb.text("--driver", options.queue.driver,
                               "the printer driver, as \"driver list\" shows it", "DRIVER");
    options.share = verb.text("--share", options.queue.share,
                              "share it under this name (default: not shared)", "NAME");
    options.location =
        verb.text("--location", options.queue.location, "where the printer is", "TEXT");
    options.comment = verb.text("--comment", options.queue.comment, "a comment", "TEXT");
    verb.flag("--default", options.isDefault, "make it your default printer");
}

/// The default printer is a choice of the user, on the computer in use.
void checkDefault(const Session& session, const QueueOptions& options, const std::string& what) {
    if (!options.isDefault || session.server.empty()) return;
    throw CommandError(
        ExitCode::usage, what, "--default works on this computer only",
        "leave it out; on " + quotedAnsi(session.server) + " every user chooses a default printer");
}

void setDefault(const QueueOptions& options, const std::string& what) {
    if (!options.isDefault) return;
    try {
        makeDefault(options.queue.name, what);
    } catch (const CommandError& error) {
        throw CommandError(
            error.code(), what,
            "the queue is as it was asked for, but not the default printer: " + error.why(),
            error.remedy(), error.keyword());
    }
}

void tell(const Session& session, const std::string& name, const std::string& what) {
    if (!session.wantsJson()) return;
    const std::vector<Queue> queues = spoolerQueues(session.server, what);
    session.answer(described(requireQueue(queues, name, what)));
}

void add(const Session& session, const QueueOptions& options) {
    const std::string what = "queue add " + quotedAnsi(options.queue.name);
    checkNewQueueName(options.queue.name, what);
    checkDefault(session, options, what);
    MonitorChannel channel(session);
    const auto lock = channel.lock(what);
    checkQueueNameIsFree(spoolerQueues(session.server, what), options.queue.name, what);
    checkQueuePort(channel, options.queue.port, what);
    QueueDescription queue = options.queue;
    queue.driver = requireDriver(spoolerDrivers(session.server, what), queue.driver, what);
    addQueue(session.server, queue, what);
    setDefault(options, what);
    tell(session, options.queue.name, what);
    session.say("Queue " + quotedAnsi(options.queue.name) + " has been added.");
}

void set(const Session& session, const QueueOptions& options) {
    const std::string what = "queue set " + quotedAnsi(options.queue.name);
    const bool any = options.port.given() || options.driver.given() || options.share.given() ||
                     options.location.given() || options.comment.given() || options.noShare;
    if (!any && !options.isDefault) {
        throw CommandError(ExitCode::usage, what, "there is nothing to set",
                           "name what to change; see queue set --help");
    }
    if ((options.port.given() && options.queue.port.empty()) ||
        (options.driver.given() && options.queue.driver.empty())) {
        throw CommandError(ExitCode::usage, what, "a queue needs a port and a driver",
                           "name them, or leave the options out");
    }
    checkDefault(session, options, what);
    MonitorChannel channel(session);
    const auto lock = channel.lock(what);
    const std::vector<Queue> queues = spoolerQueues(session.server, what);
    const QueueDescription before = requireQueue(queues, options.queue.name, what).description;
    QueueDescription after = before;
    if (options.port.given()) after.port = options.queue.port;
    if (options.driver.given()) after.driver = options.queue.driver;
    if (options.share.given() || options.noShare) after.share = options.queue.share;
    if (options.location.given()) after.location = options.queue.location;
    if (options.comment.given()) after.comment = options.queue.comment;
    if (after.port != before.port) checkQueuePort(channel, after.port, what);
    if (after.driver != before.driver)
        after.driver = requireDriver(spoolerDrivers(session.server, what), after.driver, what);
    if (after != before) changeQueue(session.server, after, what);
    setDefault(options, what);
    tell(session, after.name, what);
    session.say(
        "Queue " + quotedAnsi(after.name) +
        (after == before ? " is as it should be; nothing was changed." : " has been changed:"));
    for (const Difference& one : differences(before, after, systemCodec()))
        session.say("  " + inWords(one));
}

void list(const Session& session, bool all) {
    constexpr Column kColumns[] = {{"name", "QUEUE"},        {"port", "PORT"},
                                   {"driver", "DRIVER"},     {"share", "SHARE"},
                                   {"location", "LOCATION"}, {"comment", "COMMENT"},
                                   {"default", "DEFAULT"},   {"jobs", "JOBS"}};
    const std::string what = "queue list";
    std::set<std::string> ours;
    if (!all) {
        const MonitorChannel channel(session);
        const std::vector<std::string> names = channel.portNames();
        ours.insert(names.begin(), names.end());
    }
    Json rows = Json::array();
    for (const Queue& queue : spoolerQueues(session.server, what)) {
        const std::vector<std::string> ports = portsOfQueue(queue.description.port);
        const bool shownToo = all || std::ranges::any_of(ports, [&](const std::string& port) {
                                  return ours.contains(port);
                              });
        if (shownToo) rows.push_back(described(queue));
    }
    session.list({kColumns, "name",
                  all ? "There are no queues; \"queue add\" makes one."
                      : "No queue prints to a port of the monitor; \"queue add\" makes one."},
                 std::move(rows));
}

void remove(const Session& session, const std::string& name) {
    const std::string what = "queue remove " + quotedAnsi(name);
    const MonitorChannel channel(session);
    const auto lock = channel.lock(what);
    requireQueue(spoolerQueues(session.server, what), name, what);
    removeQueue(session.server, name, what);
    if (session.wantsJson()) session.answer({{"removed", toUtf8(name)}});
    session.say("Queue " + quotedAnsi(name) + " has been removed.");
}

void listDrivers(const Session& session) {
    constexpr Column kColumns[] = {
        {"name", "DRIVER"}, {"environment", "ENVIRONMENT"}, {"version", "VERSION"}};
    Json rows = Json::array();
    for (const Driver& driver : spoolerDrivers(session.server, "driver list")) {
        rows.push_back({{"name", toUtf8(driver.name)},
                        {"environment", toUtf8(driver.environment)},
                        {"version", driver.version}});
    }
    session.list({kColumns, "name", "There are no printer drivers."}, std::move(rows));
}

}  // namespace

void addQueueVerbs(Verb app, Session& session) {
    Verb group = app.group("queue", "add, change, list and remove the spooler's queues",
                           "queue add \"Office printer\" --port Office --driver \"Generic PS\"");
    const auto added = std::make_shared<QueueOptions>();
    Verb addApp = addVerb(group, session, "add", "add a queue that prints to a port",
                          "queue add \"Office printer\" --port Office --driver \"Generic PS\" "
                          "--share office --location \"Room 12\"",
                          [&session, added] { add(session, *added); });
    addApp.text("name", added->queue.name, "the queue's name", "NAME").required();
    addQueueOptions(addApp, *added);
    added->port.required();
    added->driver.required();

    const auto changed = std::make_shared<QueueOptions>();
    Verb setApp = addVerb(group, session, "set", "change a queue; what is not named stays",
                          "queue set \"Office printer\" --port \"Floor 2\"",
                          [&session, changed] { set(session, *changed); });
    setApp.text("name", changed->queue.name, "the queue's name", "NAME").required();
    addQueueOptions(setApp, *changed);
    setApp.flag("--no-share", changed->noShare, "share it no longer").excludes(changed->share);

    const auto removed = std::make_shared<std::string>();
    addVerb(group, session, "remove", "remove a queue without jobs",
            "queue remove \"Office printer\"", [&session, removed] { remove(session, *removed); })
        .text("name", *removed, "the queue's name", "NAME")
        .required();

    const auto all = std::make_shared<bool>(false);
    Verb listApp =
        addVerb(group, session, "list", "list the queues that print to the monitor's ports",
                "queue list", [&session, all] { list(session, *all); });
    listApp.flag("--all", *all, "list all of the spooler's queues");
    addOutputOption(listApp, session);

    Verb drivers = app.group("driver", "the spooler's printer drivers", "driver list");
    addOutputOption(addVerb(drivers, session, "list", "list the printer drivers", "driver list",
                            [&session] { listDrivers(session); }),
                    session);
}

}  // namespace velmora::ctl
