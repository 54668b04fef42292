#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/console.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct TransferOptions {
    std::string file;
    bool passwords = false;
    bool dryRun = false;
    bool removeOthers = false;
};

void exportAll(const Session& session, const TransferOptions& options) {
    const std::string what = "export to " + quotedAnsi(options.file);
    MonitorChannel channel(session);
    const std::vector<PortConfig> ports = channel.ports();
    const std::string text =
        toJson(ports, channel.directory(), options.passwords, systemCodec()).dump(2) + "\n";
    if (options.file == "-") return writeOut(text);
    std::ofstream file(options.file, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file) {
        throw CommandError(ExitCode::failed, what, "the file cannot be written",
                           "choose a folder that you may write to");
    }
    if (session.json) session.answer({{"file", toUtf8(options.file)}, {"ports", ports.size()}});
    session.say(std::to_string(ports.size()) + " ports and the printer directory are in " +
                quotedAnsi(options.file) + ".");
    session.say(options.passwords ? "The file holds the passwords in clear: keep it safe."
                                  : "Passwords are not in it; --with-passwords adds them.");
}

std::string readFile(const std::string& path, const std::string& what) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        throw CommandError(ExitCode::usage, what, "the file cannot be read",
                           "check its name, and that you may read it");
    }
    // Windows editors put a byte order mark in front.
    return text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text;
}

Configuration readWanted(const TransferOptions& options, const CGroupsDB& directory,
                         const std::string& what) {
    try {
        return readConfiguration(readFile(options.file, what), directory, systemCodec());
    } catch (const FileError& error) {
        throw CommandError(ExitCode::usage, what, error.what(),
                           "mend the file; nothing has been changed");
    }
}

/// Before the first change: a file is taken as a whole or not at all.
void checkPlan(const Session& session, const ConfigurationPlan& plan, const Configuration& wanted,
               MonitorChannel& channel, const std::string& what) {
    for (const PortConfig& port : wanted.ports) {
        checkSize(port, what + ", port " + quotedAnsi(port.name));
        if (port.singleTarget) checkUrl(port.printerUrl, what + ", port " + quotedAnsi(port.name));
    }
    for (const PortConfig& port : plan.portsToAdd) {
        const std::string place = what + ", port " + quotedAnsi(port.name);
        checkNewPortName(port.name, place);
        if (channel.portNameTaken(port.name)) {
            throw CommandError(ExitCode::conflict, place,
                               "another monitor of the spooler has a port of that name",
                               "give the port another name in the file");
        }
    }
    for (const std::string& name : plan.portsToRemove)
        checkUnused(session, name, what);
}

void carryOut(const ConfigurationPlan& plan, const Configuration& wanted, MonitorChannel& channel) {
    for (const std::string& name : plan.portsToRemove)
        channel.removePort(name);
    for (const PortConfig& port : plan.portsToAdd)
        channel.addPort(port);
    for (const PortConfig& port : plan.portsToChange)
        channel.changePort(port);
    // Last, as the dialogs do: saving a port changes the directory's patterns.
    if (plan.directoryChanges) channel.storeDirectory(*wanted.directory);
}

const char* word(Change::Kind kind) {
    switch (kind) {
        case Change::Kind::add:
            return "add";
        case Change::Kind::change:
            return "change";
        case Change::Kind::remove:
            return "remove";
    }
    return "";
}

void report(const Session& session, const ConfigurationPlan& plan, bool dryRun) {
    for (const std::string& warning : plan.warnings)
        session.warn(warning);
    if (session.json) {
        Json changes = Json::array();
        for (const Change& change : plan.changes) {
            changes.push_back({{"action", word(change.kind)},
                               {"what", change.what},
                               {"details", change.details}});
        }
        session.answer(
            {{"dry-run", dryRun}, {"changes", std::move(changes)}, {"warnings", plan.warnings}});
        return;
    }
    for (const Change& change : plan.changes) {
        session.say(std::string(word(change.kind)) + " " + change.what);
        for (const std::string& line : change.details)
            session.say("    " + line);
    }
    const std::string count = std::to_string(plan.changes.size()) + " changes";
    if (plan.changes.empty())
        session.say("Everything is as the file says; nothing to change.");
    else
        session.say(dryRun ? count + " would be made; nothing has been changed."
                           : count + " have been made.");
}

void importAll(const Session& session, const TransferOptions& options) {
    const std::string what = "import of " + quotedAnsi(options.file);
    MonitorChannel channel(session);
    const CGroupsDB directory = channel.directory();
    Configuration wanted = readWanted(options, directory, what);
    const ConfigurationPlan plan =
        planImport(wanted, channel.ports(), directory, options.removeOthers, systemCodec());
    checkPlan(session, plan, wanted, channel, what);
    if (!options.dryRun) carryOut(plan, wanted, channel);
    report(session, plan, options.dryRun);
}

}  // namespace

void addTransferVerbs(Verb app, Session& session) {
    const auto options = std::make_shared<TransferOptions>();
    Verb out = addVerb(app, session, "export", "write ports and printer directory to a file",
                       "export fleet.json --with-passwords",
                       [&session, options] { exportAll(session, *options); });
    out.text("file", options->file, "the file; - for the standard output", "FILE").required();
    out.flag("--with-passwords", options->passwords, "the passwords too, in clear");

    Verb in = addVerb(app, session, "import", "make ports and printer directory as a file says",
                      "import fleet.json --dry-run",
                      [&session, options] { importAll(session, *options); });
    in.text("file", options->file, "a file that \"export\" wrote, or one like it", "FILE")
        .required();
    in.flag("--dry-run", options->dryRun, "only show what would be changed");
    in.flag("--remove-others", options->removeOthers, "remove ports that the file lacks");
}

}  // namespace velmora::ctl
