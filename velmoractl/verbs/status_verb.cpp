#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "platform/profile_file.h"
#include "port/targets.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/setup/installed_settings.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/url_text.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct StatusOptions {
    bool noProbe = false;
    unsigned timeout = 15;
};

struct PrinterState {
    PrintTarget target;
    bool asked = false;
    bool answers = false;
    std::string words;  ///< for people
    std::optional<PrinterProblem> problem;
    Json details = Json::object();  ///< what the printer says about itself
};

// Each question takes more than a second, most of it waiting.
constexpr std::size_t kAtOnce = 16;

void askPrinter(PrinterState& printer, std::chrono::seconds limit) {
    const PrinterAnswer answer = PrinterClient(printer.target, limit).askAttributes();
    printer.asked = true;
    printer.problem = problemOf(answer);
    if (printer.problem) {
        printer.words = printer.problem->words;
        return;
    }
    printer.answers = true;
    const auto value = [&](const char* name) {
        return valueOf(*answer.message, IppGroup::printer, name);
    };
    const bool accepts = value("printer-is-accepting-jobs") != "false";
    const std::string state = value("printer-state");
    printer.words = inQuotes(value("printer-name")) + ", " + enumText("printer-state", state) +
                    (accepts ? "" : ", takes no jobs");
    printer.details = {{"printer-name", value("printer-name")},
                       {"state", enumKeyword("printer-state", state)},
                       {"state-number", numberOrNull(state)},
                       {"accepting-jobs", accepts}};
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
                    printer.problem = PrinterProblem{"internal-error", printer.words, "try again"};
                }
            });
        }
    }
}

/// Index of the target among the printers, which it joins when it is new: each is asked once.
std::size_t enter(std::vector<PrinterState>& printers, const PrintTarget& target) {
    for (std::size_t i = 0; i < printers.size(); ++i) {
        if (printers[i].target == target) return i;
    }
    printers.push_back({target, false, false, "not asked", {}, Json::object()});
    return printers.size() - 1;
}

/// The first lines, and what a script is told about this computer.
Json reportInstallation(const Session& session, const std::string& monitor) {
    Json json{{"monitor", toUtf8(monitor)}};
    if (!session.server.empty()) return json;
    const std::string version = fileVersion(systemDirectory() + "\\Velmora.dll");
    session.say("Velmora.dll " + (version.empty() ? "is not in the system directory" : version));
    json["version"] = version.empty() ? Json() : Json(version);
    json["key-restricted"] = isRestricted(installedKey());
    return json;
}

Json described(const PrinterState& printer) {
    Json json{{"url", toUtf8(maskedUrl(printer.target.url))},
              {"answers", printer.asked ? Json(printer.answers) : Json()}};
    json.update(printer.details);
    if (printer.problem) {
        json["problem"] = {{"code", printer.problem->keyword},
                           {"message", printer.problem->words},
                           {"remedy", printer.problem->remedy}};
    }
    return json;
}

void status(const Session& session, const StatusOptions& options) {
    const std::string monitor = monitorName(session);
    Json json = reportInstallation(session, monitor);
    std::optional<MonitorChannel> opened;
    try {
        opened.emplace(session);
    } catch (const CommandError& error) {
        // That the spooler does not know the monitor is an answer; that it cannot be asked is none.
        json["registered"] = false;
        json["ports"] = Json::array();
        if (session.wantsJson() && error.code() == ExitCode::notInstalled) session.answer(json);
        throw;
    }
    MonitorChannel& channel = *opened;
    json["registered"] = true;
    session.say("The spooler knows the monitor " + quotedAnsi(monitor) + ".");
    if (json.contains("key-restricted") && !json["key-restricted"].get<bool>()) {
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
        for (const PrintTarget& target : targetsOf(port, directory))
            own.push_back(enter(printers, target));
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
            session.say("  " + quotedUrl(printer.target.url) + "  " +
                        (printer.answers ? "answers: " : "") + printer.words);
            targets.push_back(described(printer));
        }
        json["ports"].push_back({{"name", toUtf8(ports[i].name)}, {"printers", targets}});
    }
    if (ports.empty()) session.say("There are no ports.");
    if (session.wantsJson()) session.answer(json);
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
