#include "velmoractl/verbs/session.h"

#include <nlohmann/json.hpp>

#include "velmoractl/text/console.h"

namespace velmora::ctl {

void Session::say(const std::string& utf8) const {
    if (!quiet && !json) writeOut(utf8 + "\n");
}

void Session::warn(const std::string& utf8) const {
    writeError("velmoractl: warning: " + utf8 + "\n");
}

void Session::answer(const Json& value) const {
    // In ASCII alone: what a printer or a stored name holds may do nothing to a terminal.
    writeOut(value.dump(2, ' ', true, Json::error_handler_t::replace) + "\n");
}

Verb addVerb(Verb parent, Session& session, const std::string& name, const std::string& about,
             const std::string& example, std::function<void()> action) {
    return parent.verb(name, about, example,
                       [&session, action = std::move(action)] { session.action = action; });
}

}  // namespace velmora::ctl
