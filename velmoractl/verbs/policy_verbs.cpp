#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "velmoractl/policy_key.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/table.h"
#include "velmoractl/text/whole_number.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct PolicyOptions {
    std::vector<std::string> values;
    bool none = false;
};

constexpr Column kColumns[] = {
    {"name", "NAME"},          {"in-force", "IN FORCE"},        {"highest", "HIGHEST"},
    {"missing", "IF MISSING"}, {"installed", "INSTALL WRITES"}, {"unit", "UNIT"},
    {"meaning", "MEANING"},
};

void list(const Session& session) {
    const PolicyKey key(session.server);
    Json rows = Json::array();
    for (const PolicyValue& value : policyValues()) {
        const auto stored = key.read(value);
        rows.push_back({{"name", value.name},
                        {"in-force", stored.value_or(value.missing())},
                        {"set", stored.has_value()},
                        {"lowest", 0},
                        {"highest", value.highest},
                        {"missing", value.missing()},
                        {"installed", value.installed},
                        {"unit", value.unit},
                        {"meaning", value.meaning}});
        if (key.isInvalid(value)) {
            session.warn(std::string(value.name) +
                         " holds what is not valid, which counts as missing; \"policy set " +
                         value.name + "=NUMBER\" mends it");
        }
    }
    session.list({kColumns, "name", "There are no values."}, std::move(rows));
}

std::string knownNames() {
    std::string names;
    for (const PolicyValue& value : policyValues())
        names += (names.empty() ? "" : ", ") + std::string(value.name);
    return names;
}

std::pair<const PolicyValue*, std::uint32_t> parsed(const std::string& word) {
    const std::string what = "policy set " + quotedAnsi(word);
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const auto values = policyValues();
    const auto value = std::ranges::find_if(
        values, [&](const PolicyValue& one) { return lstrcmpiA(one.name, name.c_str()) == 0; });
    if (equals == std::string::npos || value == values.end()) {
        throw CommandError(ExitCode::usage, what, "there is no such value",
                           "write NAME=NUMBER; the names are " + knownNames());
    }
    const std::string text = word.substr(equals + 1);
    const auto number = wholeNumber<std::uint32_t>(text);
    if (!number || *number > value->highest) {
        throw CommandError(
            ExitCode::usage, what,
            quotedAnsi(text) + " is not a number from 0 to " + std::to_string(value->highest),
            value->meaning);
    }
    return {&*value, *number};
}

using PolicyValues = std::vector<std::pair<const PolicyValue*, std::uint32_t>>;

/// Writes the values; an error tells how many have been written. `before`: what has been done by
/// then, to be told too.
void writeAll(PolicyKey& key, const PolicyValues& values, const std::string& verb,
              const std::string& before = {}) {
    std::size_t written = 0;
    try {
        for (const auto& [value, number] : values) {
            key.write(*value, number);
            if (key.read(*value) != number) {
                throw CommandError(ExitCode::failed, verb + " " + value->name,
                                   "the registry holds another value", "try again");
            }
            ++written;
        }
    } catch (const CommandError& error) {
        if (written == 0 && before.empty()) throw;
        throw CommandError(error.code(), error.subject(),
                           error.why() + "; " + before + std::to_string(written) + " of " +
                               std::to_string(values.size()) + " values have been written",
                           error.remedy() + "; then run the same command again", error.keyword());
    }
}

void set(const Session& session, const PolicyOptions& options) {
    // All are checked before the first is written.
    PolicyValues changes;
    for (const std::string& word : options.values)
        changes.push_back(parsed(word));
    PolicyKey key(session.server);
    session.noteServerAnswers();
    writeAll(key, changes, "policy set");
    if (session.wantsJson()) {
        Json answer = Json::object();
        for (const auto& [value, number] : changes)
            answer[value->name] = number;
        return session.answer({{"set", answer}});
    }
    for (const auto& [value, number] : changes)
        session.say(std::string(value->name) + " is " + std::to_string(number) + " now.");
}

void reset(const Session& session, const PolicyOptions& options) {
    PolicyKey key(session.server);
    session.noteServerAnswers();
    const bool removed = key.exists();
    key.remove();
    if (!options.none) {
        PolicyValues installed;
        for (const PolicyValue& value : policyValues())
            installed.emplace_back(&value, value.installed);
        writeAll(key, installed, "policy reset",
                 removed ? "the policy before it has been removed, and " : "");
    }
    if (session.wantsJson())
        return session.answer({{"policy", options.none ? "none" : "installed"}});
    session.say(options.none ? "There is no policy now."
                             : "The policy is what \"install\" writes on a new system.");
}

}  // namespace

void addPolicyVerbs(Verb app, Session& session) {
    const auto options = std::make_shared<PolicyOptions>();
    Verb group =
        app.group("policy", "what the monitor may do beyond its own behaviour (alone: list)",
                  "policy\n  velmoractl policy set DeliveryRecord=20",
                  [&session] { session.action = [&session] { list(session); }; });
    addOutputOption(group, session);
    Verb listVerb = addVerb(group, session, "list", "the values: in force, bounds, meaning",
                            "policy list", [&session] { list(session); });
    addOutputOption(listVerb, session);
    Verb setVerb = addVerb(group, session, "set", "change values; jobs that begin later obey",
                           "policy set DeliveryRecord=20 ReceiveTimeout=60",
                           [&session, options] { set(session, *options); });
    setVerb.words("values", options->values, "values to set", "NAME=NUMBER").required();
    Verb resetVerb = addVerb(group, session, "reset", "what \"install\" writes on a new system",
                             "policy reset", [&session, options] { reset(session, *options); });
    resetVerb.flag("--none", options->none, "no policy at all");
}

}  // namespace velmora::ctl
