#include "velmoractl/verbs/session.h"

#include <nlohmann/json.hpp>

#include "velmoractl/server_runs.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/server_list.h"

namespace velmora::ctl {

void Session::say(const std::string& utf8) const {
    if (!quiet && !wantsJson()) writeOut(utf8 + "\n");
}

void Session::warn(const std::string& utf8) const {
    writeError("velmoractl: warning: " + utf8 + "\n");
}

void Session::noteServerAnswers() const {
    noteAnswer(part);
}

void Session::answer(const Json& value) const {
    answered = true;
    // ASCII only: what a printer or a stored name holds must not reach a terminal as it is.
    writeOut(value.dump(2, ' ', true, Json::error_handler_t::replace) + "\n");
}

void Session::list(const List& form, Json rows) const {
    sortRows(rows, form.nameKey);
    if (wantsJson()) return answer(rows);
    if (!part.empty()) return writeOut(listForWhole(form.columns, form.nameKey, form.empty, rows));
    if (output == "csv") return writeOut(csvText(form.columns, rows));
    if (output == "names") return writeOut(namesText(form.nameKey, rows));
    if (rows.empty()) return say(form.empty);
    writeOut(tableText(form.columns, rows, isConsole(STD_OUTPUT_HANDLE)));
}

Verb addVerb(Verb parent, Session& session, const std::string& name, const std::string& about,
             const std::string& example, std::function<void()> action) {
    return parent.verb(name, about, example,
                       [&session, action = std::move(action)] { session.action = action; });
}

void addOutputOption(Verb verb, Session& session) {
    verb.oneOf("-o,--output", session.output, "form of the list (default: table)",
               {"table", "json", "csv", "names"});
}

}  // namespace velmora::ctl
