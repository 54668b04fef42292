#include "velmoractl/verbs/queue_checks.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/queue_plan.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/port_checks.h"

namespace velmora::ctl {
namespace {

/// The longest printer name that Windows shows, in bytes.
constexpr std::size_t kLongestQueueName = 220;

bool similar(const std::string& one, const std::string& other) {
    return lstrcmpiA(one.c_str(), other.c_str()) == 0;
}

Json textOrNull(const std::string& ansi) {
    return ansi.empty() ? Json() : Json(toUtf8(ansi));
}

}  // namespace

void checkNewQueueName(const std::string& name, const std::string& what) {
    std::string why;
    if (name.empty()) why = "the name is empty";
    if (name.size() > kLongestQueueName) why = "the name is longer than 220 bytes";
    if (hasControlCharacter(name)) why = "the name holds a control character";
    // Backslashes separate it from the server's name, commas from what else a name may say.
    if (name.find_first_of("\\,!") != std::string::npos)
        why = "the name holds a backslash, a comma or an exclamation mark";
    if (why.empty()) return;
    throw CommandError(ExitCode::usage, what, why,
                       "choose a name of 1 to 220 bytes without backslash, comma, exclamation mark "
                       "and control characters");
}

void checkQueueNameIsFree(const std::vector<Queue>& queues, const std::string& name,
                          const std::string& what) {
    for (const Queue& queue : queues) {
        if (!similar(queue.description.name, name)) continue;
        throw CommandError(
            ExitCode::conflict, what, "there is the queue " + quotedAnsi(queue.description.name),
            "choose another name, or change that queue with \"queue set\"", "name-taken");
    }
}

std::string requireDriver(const std::vector<Driver>& drivers, const std::string& driver,
                          const std::string& what) {
    for (const Driver& one : drivers)
        if (similar(one.name, driver)) return one.name;
    throw CommandError(ExitCode::notFound, what, "there is no driver " + quotedAnsi(driver),
                       "\"driver list\" shows the drivers; install it first");
}

void checkQueuePort(const MonitorChannel& channel, const std::string& port, const std::string& what,
                    const std::set<std::string>& coming) {
    const std::vector<MonitorChannel::SpoolerPort> ports = channel.spoolerPorts();
    for (const std::string& name : portsOfQueue(port)) {
        if (coming.contains(name)) continue;
        const auto same = std::ranges::find(ports, name, &MonitorChannel::SpoolerPort::name);
        if (same != ports.end()) continue;
        const auto other =
            std::ranges::find_if(ports, [&](const auto& one) { return similar(one.name, name); });
        throw CommandError(
            ExitCode::notFound, what, "there is no port " + quotedAnsi(name),
            other == ports.end()
                ? "\"port list\" shows the ports; \"port add\" makes one"
                : "there is " + quotedAnsi(other->name) + "; " + std::string(kCaseRule));
    }
}

const Queue& requireQueue(const std::vector<Queue>& queues, const std::string& name,
                          const std::string& what) {
    const auto same = std::ranges::find_if(
        queues, [&](const Queue& queue) { return queue.description.name == name; });
    if (same != queues.end()) return *same;
    const auto other = std::ranges::find_if(
        queues, [&](const Queue& queue) { return similar(queue.description.name, name); });
    throw CommandError(ExitCode::notFound, what, "there is no queue " + quotedAnsi(name),
                       other == queues.end() ? "\"queue list --all\" shows the queues"
                                             : "there is " + quotedAnsi(other->description.name) +
                                                   "; " + std::string(kCaseRule));
}

std::vector<QueueDescription> descriptionsOf(const std::vector<Queue>& queues) {
    std::vector<QueueDescription> list;
    list.reserve(queues.size());
    for (const Queue& queue : queues)
        list.push_back(queue.description);
    return list;
}

Json described(const Queue& queue) {
    const QueueDescription& texts = queue.description;
    return {{"name", toUtf8(texts.name)},         {"port", toUtf8(texts.port)},
            {"driver", toUtf8(texts.driver)},     {"share", textOrNull(texts.share)},
            {"location", toUtf8(texts.location)}, {"comment", toUtf8(texts.comment)},
            {"default", queue.isDefault},         {"jobs", queue.jobs}};
}

}  // namespace velmora::ctl
