#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "directory/directory_records.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/spooler_queues.h"
#include "velmoractl/text/completion.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/server_list.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

constexpr char kBash[] = "bash";
constexpr char kPowershell[] = "powershell";

void printScript(const Session& session, const std::string& shell) {
    const std::string script = shell == kBash ? bashCompletion() : powershellCompletion();
    if (session.wantsJson()) return session.answer({{"shell", shell}, {"script", script}});
    writeOut(script);
}

std::vector<std::string> namesOf(const Session& session, NameKind kind) {
    const std::string what = "completion";
    std::vector<std::string> names;
    switch (kind) {
        case NameKind::none:
            break;
        case NameKind::port:
            return MonitorChannel(session).portNames();
        case NameKind::group:
            return MonitorChannel(session).paths(NODE_GROUP);
        case NameKind::printer:
            return MonitorChannel(session).paths(NODE_PRINTER);
        case NameKind::queue:
            for (const Queue& queue : spoolerQueues(session.server, what))
                names.push_back(queue.description.name);
            break;
        case NameKind::driver:
            for (const Driver& driver : spoolerDrivers(session.server, what))
                names.push_back(driver.name);
            break;
    }
    return names;
}

bool beginsWith(const std::string& name, const std::string& current) {
    const int size = static_cast<int>(current.size());
    return name.size() >= current.size() &&
           CompareStringA(LOCALE_USER_DEFAULT, NORM_IGNORECASE, name.data(), size, current.data(),
                          size) == CSTR_EQUAL;
}

/// The server whose names are asked for: the words name it, or the ordinary options do.
Session sessionFor(const Session& session, const std::vector<std::string>& words) {
    Session own = session;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        if (words[i] == "--monitor") own.monitor = words[i + 1];
        if (words[i] != "--server") continue;
        const std::vector<std::string> servers = serverNames(words[i + 1]);
        if (!servers.empty()) own.server = "\\\\" + servers.front();
    }
    return own;
}

/// The last word is "=" and what there is of the word to complete: some shells lose empty words.
void completeWords(const Session& session, Verb program, std::vector<std::string> words) {
    if (words.empty() || !words.back().starts_with('=')) return;
    const std::string current = words.back().substr(1);
    words.pop_back();
    const Completion next = program.completion(words, current);
    std::vector<std::string> found = next.words;
    try {
        const std::vector<std::string> names =
            namesOf(sessionFor(session, words), nameKindOf(next.verb, next.option));
        found.insert(found.end(), names.begin(), names.end());
    } catch (const CommandError&) {
        // Without the names, since somebody is in the middle of a line.
    }
    std::ranges::sort(found);
    for (const std::string& word : found)
        if (beginsWith(word, current)) writeOut(toUtf8(word) + "\n");
}

}  // namespace

void addCompletionVerbs(Verb app, Session& session) {
    const auto shell = std::make_shared<std::string>();
    addVerb(app, session, "completion", "print a script that lets a shell complete words",
            "completion bash", [&session, shell] { printScript(session, *shell); })
        .oneOf("shell", *shell, "the shell", {kPowershell, kBash})
        .required();

    const auto words = std::make_shared<std::vector<std::string>>();
    Verb ask = addVerb(app, session, "complete-words", "what may follow, for those scripts",
                       "complete-words -- port \"=sh\"",
                       [&session, app, words] { completeWords(session, app, *words); });
    ask.words("words", *words, "the words so far, the last one after =", "WORD");
    ask.hide();
}

}  // namespace velmora::ctl
