#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

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
    addCredentialOptions(verb, options.credentials);
    for (const TemplateAttribute& attribute : templateAttributes()) {
        Option option =
            verb.text(std::string("--") + attribute.name, options.attributes[attribute.name],
                      attribute.about, attribute.value);
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
        throw CommandError(ExitCode::usage, what, "--" + name + " cannot be " + quotedAnsi(value),
                           "allowed: " + attribute.allowed());
    }
}

void applyTargets(const PortOptions& options, MonitorChannel& channel, PortConfig& port,
                  const std::string& what) {
    if (options.urlOption.given()) {
        checkUrl(options.url, what);
        port.singleTarget = 1;
        port.printerUrl = options.url;
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
    if (!port.singleTarget && options.credentials.given()) {
        throw CommandError(ExitCode::usage, what, "the port prints to groups",
                           "give user names and passwords to the printers of the groups");
    }
    applyCredentials(options.credentials, port.useAuthentication, port.userName, port.password,
                     what);
    if (!port.singleTarget) {
        // As the dialogs leave such a port.
        port.printerUrl.clear();
        port.useAuthentication = 0;
        port.userName.clear();
        port.password.clear();
    }
}

Json described(const PortConfig& port, const CGroupsDB& directory) {
    Json json = toJson(port, false, systemCodec());
    Json printers = Json::array();
    std::vector<CGroupsDBPrinter*> found;
    for (const std::uint32_t id : port.targetIds)
        directory.CollectPrinters(id, found);
    for (const CGroupsDBPrinter* printer : found)
        printers.push_back(toUtf8(printer->uri));
    if (port.singleTarget) printers.push_back(toUtf8(port.printerUrl));
    json["printers"] = std::move(printers);
    return json;
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
    if (options.urlOption.given()) checkUrl(options.url, what);
    MonitorChannel channel(session);
    if (channel.portNameTaken(port.name)) {
        throw CommandError(ExitCode::conflict, what, "the spooler has a port of that name",
                           "choose another name, or change that port with \"port set\"");
    }
    applyTargets(options, channel, port, what);
    checkSize(port, what);
    channel.addPort(port);
    if (session.json) session.answer(described(port, channel.directory()));
    session.say("Port " + quotedAnsi(port.name) + " has been added.");
}

void set(const Session& session, const PortOptions& options) {
    const std::string what = "port set " + quotedAnsi(options.name);
    JobTemplate trial;
    applyTemplate(options, trial, what);
    MonitorChannel channel(session);
    const PortConfig before = channel.port(options.name);
    PortConfig port = before;
    applyTemplate(options, port.jobTemplate, what);
    applyTargets(options, channel, port, what);
    checkSize(port, what);
    if (port != before) channel.changePort(port);
    if (session.json) session.answer(described(port, channel.directory()));
    session.say(
        "Port " + quotedAnsi(port.name) +
        (port == before ? " is as it should be; nothing was changed." : " has been changed:"));
    for (const std::string& line : differences(before, port, systemCodec())) {
        session.say("  " + line);
    }
}

std::string targetText(const PortConfig& port, const CGroupsDB& directory) {
    if (port.singleTarget) return quotedAnsi(port.printerUrl);
    std::string text;
    for (const std::uint32_t id : port.targetIds) {
        const bool there = directory.FindGroup(id) != nullptr;
        text += (text.empty() ? "groups " : ", ") + quotedAnsi(pathOf(directory, id)) +
                (there ? "" : " (deleted)");
    }
    return text.empty() ? "no groups" : text;
}

void show(const Session& session, const std::string& name) {
    MonitorChannel channel(session);
    const PortConfig port = channel.port(name);
    const CGroupsDB directory = channel.directory();
    if (session.json) return session.answer(described(port, directory));
    writeOut("Port " + quotedAnsi(port.name) + " prints to " + targetText(port, directory) + "\n");
    if (port.useAuthentication) {
        writeOut("  user " + quotedAnsi(port.userName) + ", " +
                 (port.password.empty() ? "no password" : "with a password") + "\n");
    }
    for (const TemplateAttribute& attribute : templateAttributes()) {
        writeOut(std::string("  ") + attribute.name + ": " +
                 shown(toUtf8(attribute.get(port.jobTemplate))) + "\n");
    }
}

void list(const Session& session) {
    MonitorChannel channel(session);
    const std::vector<PortConfig> ports = channel.ports();
    const CGroupsDB directory = channel.directory();
    if (session.json) {
        Json json = Json::array();
        for (const PortConfig& port : ports)
            json.push_back(described(port, directory));
        return session.answer(json);
    }
    for (const PortConfig& port : ports) {
        writeOut(quotedAnsi(port.name) + "  " + targetText(port, directory) + "\n");
    }
    if (ports.empty()) session.say("There are no ports; \"port add\" makes one.");
}

void remove(const Session& session, const std::string& name) {
    MonitorChannel channel(session);
    channel.port(name);  // the monitor itself takes an unknown name for deleted
    checkUnused(session, name, "port remove " + quotedAnsi(name));
    channel.removePort(name);
    if (session.json) session.answer({{"removed", toUtf8(name)}});
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
    addVerb(group, session, "list", "list the ports", "port list", [&session] { list(session); });
}

}  // namespace velmora::ctl
