#include "velmoractl/text/queue_plan.h"

#include <algorithm>
#include <map>
#include <string_view>

namespace velmora::ctl {
namespace {

struct Field {
    const char* key;
    std::string QueueDescription::*text;
};

constexpr Field kFields[] = {{"port", &QueueDescription::port},
                             {"driver", &QueueDescription::driver},
                             {"share", &QueueDescription::share},
                             {"location", &QueueDescription::location},
                             {"comment", &QueueDescription::comment}};

Json textOrNull(const std::string& ansi, const TextCodec& codec) {
    return ansi.empty() ? Json() : Json(codec.toUtf8(ansi));
}

using ByName = std::map<std::string, const QueueDescription*>;

ByName byName(const std::vector<QueueDescription>& queues) {
    ByName result;
    for (const QueueDescription& queue : queues)
        result.emplace(queue.name, &queue);
    return result;
}

const QueueDescription* find(const ByName& queues, const std::string& name) {
    const auto found = queues.find(name);
    return found == queues.end() ? nullptr : found->second;
}

bool printsTo(const QueueDescription& queue, const std::string& port) {
    const std::vector<std::string> ports = portsOfQueue(queue.port);
    return std::ranges::find(ports, port) != ports.end();
}

}  // namespace

QueueDescription merged(const QueueDescription& stored, const QueueDescription& wanted) {
    QueueDescription result = stored;
    for (const Field& field : kFields)
        if (!(wanted.*field.text).empty()) result.*field.text = wanted.*field.text;
    return result;
}

std::vector<Difference> differences(const QueueDescription& before, const QueueDescription& after,
                                    const TextCodec& codec) {
    std::vector<Difference> list;
    for (const Field& field : kFields) {
        const std::string& old = before.*field.text;
        const std::string& now = after.*field.text;
        if (old != now) list.push_back({field.key, textOrNull(old, codec), textOrNull(now, codec)});
    }
    return list;
}

QueuePlan planQueues(const std::vector<QueueDescription>& wanted,
                     const std::vector<QueueDescription>& stored,
                     const std::set<std::string>& ourPorts, bool removeOthers,
                     const TextCodec& codec) {
    QueuePlan plan;
    const ByName storedQueues = byName(stored);
    for (const QueueDescription& queue : wanted) {
        const std::string name = codec.toUtf8(queue.name);
        const QueueDescription* const old = find(storedQueues, queue.name);
        if (old == nullptr) {
            plan.toAdd.push_back(queue);
            plan.changes.push_back({Change::Kind::add, "queue", name, {}});
            continue;
        }
        const QueueDescription result = merged(*old, queue);
        if (result == *old) continue;
        plan.toChange.push_back(result);
        plan.changes.push_back(
            {Change::Kind::change, "queue", name, differences(*old, result, codec)});
    }
    if (!removeOthers) return plan;
    const ByName wantedQueues = byName(wanted);
    for (const QueueDescription& queue : stored) {
        if (find(wantedQueues, queue.name) != nullptr) continue;
        const std::vector<std::string> ports = portsOfQueue(queue.port);
        if (ports.empty()) continue;
        if (!std::ranges::all_of(ports, [&](const auto& port) { return ourPorts.contains(port); }))
            continue;
        plan.toRemove.push_back(queue.name);
        plan.changes.push_back({Change::Kind::remove, "queue", codec.toUtf8(queue.name), {}});
    }
    return plan;
}

std::vector<std::string> portsOfQueue(const std::string& port) {
    std::vector<std::string> ports;
    for (std::string_view rest = port; !rest.empty();) {
        const std::size_t end = std::min(rest.find(','), rest.size());
        if (end != 0) ports.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return ports;
}

std::vector<std::string> usersOfPort(const std::vector<QueueDescription>& stored,
                                     const QueuePlan& plan, const std::string& port) {
    const ByName changed = byName(plan.toChange);
    std::vector<std::string> names;
    for (const QueueDescription& queue : stored) {
        if (std::ranges::find(plan.toRemove, queue.name) != plan.toRemove.end()) continue;
        const QueueDescription* const after = find(changed, queue.name);
        if (printsTo(after == nullptr ? queue : *after, port)) names.push_back(queue.name);
    }
    for (const QueueDescription& queue : plan.toAdd)
        if (printsTo(queue, port)) names.push_back(queue.name);
    return names;
}

}  // namespace velmora::ctl
