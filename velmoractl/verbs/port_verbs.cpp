#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "port/port_config.h"
#include "port/targets.h"
#include "port/url_text.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/template_attributes.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

/// What "port add" and "port set" were told; kept until the whole command line has been read.
struct PortOptions {
    std::string name;
    std::string url;
    std::vector<std::string> groups;
    Credentials credentials;
    std::map<std::string, std::string> attributes;
    UrlRules rules;
    bool forceValue = false;
    Option urlOption;
    Option groupOption;
    std::vector<std::pair<std::string, Option>> attributeOptions;
};

void addTargetOptions(Verb verb, PortOptions& options) {
    options.urlOption = verb.text("--url", options.url, "print to this printer", "URL");
    options.groupOption = verb.texts(
        "--group", options.groups,
        "print to all printers below this group (\"A/B\" or #ID); may be repeated", "GROUP");
    options.urlOption.excludes(options.groupOption);
    addUrlRules(verb, options.rules);
    addCredentialOptions(verb, options.credentials);
    verb.flag("--force-value", options.forceValue,
              "take keywords of the job template that only some printers know");
    for (const TemplateAttribute& attribute : templateAttributes()) {
        const std::string value = attribute.get(JobTemplate());
        Option option =
            verb.text(std::string("--") + attribute.name, options.attributes[attribute.name],
                      std::string(attribute.about) + ": " + attribute.allowed() +
                          " (default: " + (value.empty() ? "\"\"" : value) + ")",
                      attribute.value);
        option.under("Job template");
        options.attributeOptions.emplace_back(attribute.name, option);
    }
}

void applyTemplate(const PortOptions& options, JobTemplate& job, const std::string& what) {
    for (const auto& [name, option] : options.attributeOptions) {
        if (!option.given()) continue;
        const TemplateAttribute& attribute = *findTemplateAttribute(name);
        const std::string& value = options.attributes.at(name);
        if (attribute.set(job, value)) continue;
        const bool canForce = attribute.force != nullptr;
        if (canForce && options.forceValue && attribute.force(job, value)) continue;
        throw CommandError(
            ExitCode::usage, what, "--" + name + " cannot be " + quotedAnsi(value),
            "allowed: " + attribute.allowed() +
                (canForce ? "; --force-value takes what a printer has of its own" : ""),
            "bad-value");
    }
}

void applyTargets(const PortOptions& options, const Credentials& credentials,
                  MonitorChannel& channel, PortConfig& port, const std::string& what) {
    if (options.urlOption.given()) {
        checkUrl(options.url, options.rules, what);
        port.singleTarget = 1;
        port.printer.url = options.url;
        port.targetIds.clear();
    }
    if (options.groupOption.given()) {
        const CGroupsDB directory = channel.directory();
        port.singleTarget = 0;
        port.targetIds.clear();
        for (const std::string& group : options.groups) {
            const std::uint32_t id = requireGroup(directory, group, what).id;
            if (std::ranges::find(port.targetIds, id) == port.targetIds.end()) {
                port.targetIds.push_back(id);
            }
        }
    }
    if (!port.singleTarget && credentials.given()) {
        throw CommandError(ExitCode::usage, what, "the port prints to groups",
                           "give user names and passwords to the printers of the groups");
    }
    applyCredentials(credentials, port.printer.useAuthentication, port.printer.userName,
                     port.printer.password, what);
    if (!port.singleTarget) {
        // As the dialogs leave such a port.
        port.printer.url.clear();
        port.printer.useAuthentication = 0;
        port.printer.userName.clear();
        port.printer.password.clear();
    }
}

/// The printers that the port reaches now, with their paths if they are in the directory.
struct Reached {
    std::string url;
    std::string path;
};

std::vector<Reached> reachedPrinters(const PortConfig& port, const CGroupsDB& directory,
                                     const DirectoryPaths& names) {
    if (port.singleTarget) return {{port.printer.url, ""}};
    std::vector<Reached> printers;
    for (const CGroupsDBPrinter* printer : directoryPrintersOf(port, directory))
        printers.push_back({printer->address.url, names.pathOf(printer->id)});
    return printers;
}

Json described(const PortConfig& port, const CGroupsDB& directory, const DirectoryPaths& names) {
    Json json = toJson(port, false, systemCodec());
    json["url"] = toUtf8(maskedUrl(port.printer.url));
    if (!json.contains("user")) json["user"] = nullptr;
    Json printers = Json::array();
    for (const Reached& one : reachedPrinters(port, directory, names)) {
        Json printer{{"url", toUtf8(maskedUrl(one.url))}};
        if (!one.path.empty()) printer["path"] = toUtf8(one.path);
        printers.push_back(std::move(printer));
    }
    json["printers"] = std::move(printers);
    return json;
}

Json described(const PortConfig& port, const CGroupsDB& directory) {
    return described(port, directory, DirectoryPaths(directory));
}

/// Before a port is added: Windows holds every name once, whichever monitor has it.
void checkNameIsFree(const MonitorChannel& channel, const std::string& name,
                     const std::string& what) {
    for (const MonitorChannel::SpoolerPort& port : channel.spoolerPorts()) {
        if (lstrcmpiA(port.name.c_str(), name.c_str()) != 0) continue;
        const bool ours = port.monitor == channel.monitor();
        const std::string remedy =
            port.name != name ? "choose another name; " + std::string(kCaseRule)
            : ours            ? "choose another name, or change that port with \"port set\""
                              : "choose another name";
        throw CommandError(ExitCode::conflict, what,
                           ours ? "there is the port " + quotedAnsi(port.name)
                                : "the monitor " + quotedAnsi(port.monitor) + " has the port " +
                                      quotedAnsi(port.name),
                           remedy, "name-taken");
    }
}

void add(const Session& session, const PortOptions& options) {
    const std::string what = "port add " + quotedAnsi(options.name);
    checkNewPortName(options.name, what);
    if (!options.urlOption.given() && !options.groupOption.given()) {
        throw CommandError(ExitCode::usage, what, "no target is given",
                           "give --url URL for one printer, or --group GROUP for many");
    }
    PortConfig port;
    port.name = options.name;
    applyTemplate(options, port.jobTemplate, what);
    if (options.urlOption.given()) checkUrl(options.url, options.rules, what);
    Credentials credentials = options.credentials;
    readPassword(credentials, what);
    MonitorChannel channel(session);
    const auto lock = channel.lock(what);
    checkNameIsFree(channel, port.name, what);
    applyTargets(options, credentials, channel, port, what);
    checkSize(port, what);
    channel.addPort(port);
    if (session.wantsJson()) session.answer(described(port, channel.directory()));
    session.say("Port " + quotedAnsi(port.name) + " has been added.");
}

bool givesAnything(const PortOptions& options) {
    return options.urlOption.given() || options.groupOption.given() ||
           options.credentials.given() || options.credentials.none ||
           std::ranges::any_of(options.attributeOptions,
                               [](const auto& one) { return one.second.given(); });
}

void set(const Session& session, const PortOptions& options) {
    const std::string what = "port set " + quotedAnsi(options.name);
    if (!givesAnything(options)) {
        throw CommandError(ExitCode::usage, what, "there is nothing to set",
                           "name what to change; see port set --help");
    }
    JobTemplate trial;
    applyTemplate(options, trial, what);
    Credentials credentials = options.credentials;
    readPassword(credentials, what);
    MonitorChannel channel(session);
    const auto lock = channel.lock(what);
    const PortConfig before = channel.port(options.name);
    PortConfig port = before;
    applyTemplate(options, port.jobTemplate, what);
    applyTargets(options, credentials, channel, port, what);
    checkSize(port, what);
    if (port != before) channel.changePort(port);
    if (session.wantsJson()) session.answer(described(port, channel.directory()));
    session.say(
        "Port " + quotedAnsi(port.name) +
        (port == before ? " is as it should be; nothing was changed." : " has been changed:"));
    for (const Difference& one : differences(before, port, systemCodec()))
        session.say("  " + inWords(one));
}

std::string targetText(const PortConfig& port, const DirectoryPaths& names) {
    if (port.singleTarget) return quotedUrl(port.printer.url);
    std::string text;
    for (const std::uint32_t id : port.targetIds) {
        const CGroupsDBNode* const node = names.find("#" + std::to_string(id));
        const bool there = node != nullptr && node->type == NODE_GROUP;
        text += (text.empty() ? "groups " : ", ") + quotedAnsi(names.pathOf(id)) +
                (there ? "" : " (deleted)");
    }
    return text.empty() ? "no groups" : text;
}

void show(const Session& session, const std::string& name) {
    MonitorChannel channel(session);
    const PortConfig port = channel.port(name);
    const CGroupsDB directory = channel.directory();
    const DirectoryPaths names(directory);
    if (session.wantsJson()) return session.answer(described(port, directory, names));
    writeOut("Port " + quotedAnsi(port.name) + " prints to " + targetText(port, names) + "\n");
    if (port.printer.useAuthentication) {
        writeOut("  user " + quotedAnsi(port.printer.userName) + ", " +
                 (port.printer.password.empty() ? "no password" : "with a password") + "\n");
    }
    if (!port.singleTarget) {
        const std::vector<Reached> printers = reachedPrinters(port, directory, names);
        writeOut("  printers: " + std::to_string(printers.size()) + "\n");
        for (const Reached& one : printers)
            writeOut("    " + quotedAnsi(one.path) + "  " + quotedUrl(one.url) + "\n");
    }
    for (const TemplateAttribute& attribute : templateAttributes()) {
        writeOut(std::string("  ") + attribute.name + ": " +
                 shown(toUtf8(attribute.get(port.jobTemplate))) + "\n");
    }
}

void list(const Session& session) {
    constexpr Column kColumns[] = {
        {"name", "PORT"}, {"mode", "MODE"}, {"groups", "GROUPS"}, {"printers", "PRINTERS"}};
    MonitorChannel channel(session);
    const std::vector<PortConfig> ports = channel.ports();
    const CGroupsDB directory = channel.directory();
    const DirectoryPaths names(directory);
    Json rows = Json::array();
    for (const PortConfig& port : ports) {
        Json row = described(port, directory, names);
        if (!session.wantsJson()) {
            // In columns a group is its path and a printer its URL.
            row["groups"] = Json::array();
            for (const std::uint32_t id : port.targetIds)
                row["groups"].push_back(toUtf8(names.pathOf(id)));
            Json urls = Json::array();
            for (const Json& printer : row["printers"])
                urls.push_back(printer["url"]);
            row["printers"] = std::move(urls);
        }
        rows.push_back(std::move(row));
    }
    session.list({kColumns, "name", "There are no ports; \"port add\" makes one."},
                 std::move(rows));
}

void remove(const Session& session, const std::string& name) {
    MonitorChannel channel(session);
    channel.port(name);  // the monitor itself takes an unknown name for deleted
    checkUnused(session, name, "port remove " + quotedAnsi(name));
    channel.removePort(name);
    if (session.wantsJson()) session.answer({{"removed", toUtf8(name)}});
    session.say("Port " + quotedAnsi(name) + " has been removed.");
}

Verb addNamed(Verb group, Session& session, const char* verb, const char* about,
              const char* example, std::string& name, std::function<void()> action) {
    Verb app = addVerb(group, session, verb, about, example, std::move(action));
    app.text("name", name, "the port's name", "NAME").required();
    return app;
}

}  // namespace

void addPortVerbs(Verb app, Session& session) {
    Verb group = app.group("port", "add, change, show and remove ports",
                           "port add Office --url ipp://printer.example/ipp/print");

    const auto added = std::make_shared<PortOptions>();
    Verb addApp = addNamed(group, session, "add", "add a port",
                           "port add Office --url ipp://printer.example/ipp/print --media A4 "
                           "--sides two-sided-long-edge",
                           added->name, [&session, added] { add(session, *added); });
    addTargetOptions(addApp, *added);

    const auto changed = std::make_shared<PortOptions>();
    Verb setApp = addNamed(group, session, "set", "change a port; what is not named stays",
                           "port set Office --print-quality high --copies 2", changed->name,
                           [&session, changed] { set(session, *changed); });
    addTargetOptions(setApp, *changed);

    const auto name = std::make_shared<std::string>();
    addNamed(group, session, "show", "show a port", "port show Office --json", *name,
             [&session, name] { show(session, *name); });
    addNamed(group, session, "remove", "remove a port", "port remove Office", *name,
             [&session, name] { remove(session, *name); });
    addOutputOption(addVerb(group, session, "list", "list the ports", "port list",
                            [&session] { list(session); }),
                    session);
}

}  // namespace velmora::ctl
