#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "platform/profile_file.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/setup/installed_settings.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct StatusOptions {
    bool noProbe = false;
    unsigned timeout = 15;
};

struct PrinterState {
    PrintTarget target;
    bool answers = false;
    std::string words;
};

// Each question takes more than a second, most of it waiting.
constexpr std::size_t kAtOnce = 16;

void askPrinter(PrinterState& printer, std::chrono::seconds limit) {
    const PrinterAnswer answer = PrinterClient(printer.target, limit).askAttributes();
    printer.words = problemText(answer);
    if (!printer.words.empty()) return;
    printer.answers = true;
    const auto value = [&](const char* name) {
        return valueOf(*answer.message, IppGroup::printer, name);
    };
    printer.words =
        inQuotes(value("printer-name")) + ", " + enumText("printer-state", value("printer-state"));
    if (value("printer-is-accepting-jobs") == "false") printer.words += ", takes no jobs";
}

/// Asks all printers, some at once.
void askPrinters(std::vector<PrinterState>& printers, std::chrono::seconds limit) {
    for (std::size_t begin = 0; begin < printers.size(); begin += kAtOnce) {
        std::vector<std::jthread> threads;
        for (std::size_t i = begin; i < std::min(begin + kAtOnce, printers.size()); ++i) {
            threads.emplace_back([&printer = printers[i], limit] {
                try {
                    askPrinter(printer, limit);
                } catch (const std::exception& error) {
                    printer.words = "it could not be asked: " + shown(error.what());
                }
            });
        }
    }
}

std::vector<PrintTarget> targetsOf(const PortConfig& port, const CGroupsDB& directory) {
    if (port.singleTarget) {
        return {{port.printerUrl, port.useAuthentication, port.userName, port.password}};
    }
    std::vector<CGroupsDBPrinter*> printers;
    for (const std::uint32_t id : port.targetIds)
        directory.CollectPrinters(id, printers);
    std::vector<PrintTarget> targets;
    for (const CGroupsDBPrinter* one : printers) {
        targets.push_back({one->uri, one->hasAuth, one->userName, one->password});
    }
    return targets;
}

/// Index of the target among the printers, which it joins when it is new: each is asked once.
std::size_t enter(std::vector<PrinterState>& printers, const PrintTarget& target) {
    for (std::size_t i = 0; i < printers.size(); ++i) {
        if (printers[i].target == target) return i;
    }
    printers.push_back({target, false, "not asked"});
    return printers.size() - 1;
}

std::string libraryVersion(const Session& session) {
    return session.server.empty() ? fileVersion(systemDirectory() + "\\Velmora.dll") : "";
}

void status(const Session& session, const StatusOptions& options) {
    const std::string monitor = monitorName(session);
    const std::string version = libraryVersion(session);
    Json json{{"monitor", toUtf8(monitor)},
              {"version", version},
              {"registered", monitorInstalled(session.server, monitor)}};
    if (session.server.empty()) json["key-restricted"] = isRestricted(installedKey());
    session.say("Velmora.dll " + (version.empty() ? "is not in the system directory" : version));
    std::optional<MonitorChannel> opened;
    try {
        // Fails with the right code and advice when the spooler does not know the monitor.
        opened.emplace(session);
    } catch (const CommandError&) {
        if (session.json) session.answer(json);
        throw;
    }
    MonitorChannel& channel = *opened;
    session.say("The spooler knows the monitor " + quotedAnsi(monitor) + ".");
    if (session.server.empty() && !json["key-restricted"].get<bool>()) {
        session.warn(
            "everybody may read the registry key that holds passwords; \"install\" "
            "restricts it");
    }

    const std::vector<PortConfig> ports = channel.ports();
    const CGroupsDB directory = channel.directory();
    std::vector<PrinterState> printers;
    std::vector<std::vector<std::size_t>> printersOfPorts;
    for (const PortConfig& port : ports) {
        std::vector<std::size_t>& own = printersOfPorts.emplace_back();
        for (const PrintTarget& target : targetsOf(port, directory)) {
            own.push_back(enter(printers, target));
        }
    }
    if (!options.noProbe) askPrinters(printers, std::chrono::seconds(options.timeout));

    bool allAnswer = true;
    json["ports"] = Json::array();
    for (std::size_t i = 0; i < ports.size(); ++i) {
        session.say("Port " + quotedAnsi(ports[i].name) +
                    (printersOfPorts[i].empty() ? " has no printers" : ""));
        Json targets = Json::array();
        for (const std::size_t index : printersOfPorts[i]) {
            const PrinterState& printer = printers[index];
            allAnswer &= printer.answers;
            session.say("  " + quotedAnsi(printer.target.url) + "  " +
                        (printer.answers ? "answers: " : "") + printer.words);
            targets.push_back({{"url", toUtf8(printer.target.url)},
                               {"answers", printer.answers},
                               {"state", printer.words}});
        }
        json["ports"].push_back({{"name", toUtf8(ports[i].name)}, {"printers", targets}});
    }
    if (ports.empty()) session.say("There are no ports.");
    if (session.json) session.answer(json);
    if (!allAnswer && !options.noProbe) {
        throw CommandError(ExitCode::printerProblem, "status", "not all printers answer",
                           "\"probe URL\" tells more");
    }
}

}  // namespace

void addStatusVerb(Verb app, Session& session) {
    const auto options = std::make_shared<StatusOptions>();
    Verb verb =
        addVerb(app, session, "status", "version, registration, ports, and which printers answer",
                "status --json", [&session, options] { status(session, *options); });
    verb.flag("--no-probe", options->noProbe, "do not ask the printers");
    verb.seconds("--timeout", options->timeout, 1, 600, "longest wait for a printer, in seconds");
}

}  // namespace velmora::ctl
