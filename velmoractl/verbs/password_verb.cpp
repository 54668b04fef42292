#include <windows.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/bulk_plan.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/plan_steps.h"
#include "velmoractl/verbs/bulk.h"
#include "velmoractl/verbs/plan_run.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct PasswordOptions {
    Selection selection;
    Credentials credentials;
    std::vector<std::string> only;
    bool dryRun = false;
};

PasswordKinds kindsOf(const PasswordOptions& options, const std::string& what) {
    if (options.only.empty()) return {};
    PasswordKinds kinds{false, false, false};
    for (const std::string& kind : options.only) {
        if (kind != "ports" && kind != "printers" && kind != "patterns") {
            throw CommandError(ExitCode::usage, what, "--only cannot be " + quotedAnsi(kind),
                               "allowed: ports, printers and patterns", "bad-value");
        }
        kinds.ports |= kind == "ports";
        kinds.printers |= kind == "printers";
        kinds.patterns |= kind == "patterns";
    }
    return kinds;
}

void set(const Session& session, const PasswordOptions& options) {
    const std::string what = "password set";
    if (!options.selection.bulk()) {
        throw CommandError(ExitCode::usage, what, "nothing is selected",
                           "give --all, --match PATTERN or --where KEY=PATTERN");
    }
    Credentials credentials = options.credentials;
    const bool given = credentials.passwordFromInput || credentials.passwordOption.given();
    if (!given) {
        throw CommandError(ExitCode::usage, what, "no password is given",
                           "give --password-stdin, and the password on the standard input");
    }
    const PasswordKinds kinds = kindsOf(options, what);
    const Selector selector(options.selection, printerKeys(), systemCodec(), what);
    readPassword(credentials, what);
    MonitorChannel channel(session);
    const auto lock = options.dryRun ? nullptr : channel.lockDirectory(what);
    PasswordPlan plan;
    channel.readAll([&](const std::vector<PortConfig>& ports, const CGroupsDB& directory) {
        plan =
            planPasswords(ports, directory, selector, kinds, credentials.password, systemCodec());
    });
    if (plan.withPassword == 0) {
        throw CommandError(ExitCode::notFound, what,
                           plan.withoutAuthentication == 0
                               ? "no port, printer or pattern fits"
                               : "none of those that fit asks for a password",
                           "\"port set\" and \"printer set\" give one a user name");
    }
    checkSizes(plan.ports.portsToChange, what);
    if (!options.dryRun && !plan.ports.changes.empty()) {
        carryOut(session, channel, plan, credentials.password, what);
    }
    reportPlan(session, plan.ports, options.dryRun, "All of them have this password");
}

}  // namespace

void addPasswordVerb(Verb app, Session& session) {
    Verb group = app.group("password", "passwords of ports, printers and patterns",
                           "password set --where user=print --password-stdin");
    const auto options = std::make_shared<PasswordOptions>();
    Verb verb = addVerb(group, session, "set",
                        "give one password to many: to ports, to printers of the directory, and "
                        "to the patterns of ports' printers; those that ask for none are left out",
                        "password set --match \"FL*\" --password-stdin",
                        [&session, options] { set(session, *options); });
    addSelectionOptions(verb, options->selection, "ports, printers and patterns", printerKeys());
    verb.texts("--only", options->only,
               "ports, printers or patterns alone; may be repeated (default: all three)", "KIND");
    addPasswordOptions(verb, options->credentials);
    addDryRun(verb, options->dryRun);
}

}  // namespace velmora::ctl
