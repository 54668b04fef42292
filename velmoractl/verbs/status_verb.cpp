#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "platform/profile_file.h"
#include "port/url_text.h"
#include "velmoractl/at_once.h"
#include "velmoractl/delivery_files.h"
#include "velmoractl/internet.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/policy_key.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/setup/installed_settings.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/fleet_report.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct StatusOptions {
    bool noProbe = false;
    unsigned timeout = 15;
    unsigned days = 30;
};

struct PrinterState {
    PrintTarget target;
    bool asked = false;
    bool answers = false;
    std::string words;  ///< for people
    std::optional<PrinterProblem> problem;
    Json details = Json::object();  ///< what the printer says about itself
    CertificateReport certificate;
};

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
    atOnce(printers.size(), [&printers, limit](std::size_t i) {
        PrinterState& printer = printers[i];
        try {
            askPrinter(printer, limit);
        } catch (const std::exception& error) {
            printer.words = "it could not be asked: " + shown(error.what());
            printer.problem = PrinterProblem{"internal-error", printer.words, "try again"};
        }
    });
}

/// After all queries, since reading a certificate makes WinInet accept it.
void lookAtCertificates(std::vector<PrinterState>& printers, std::chrono::seconds limit) {
    std::vector<UrlReading> urls(printers.size());
    for (std::size_t i = 0; i < printers.size(); ++i) {
        const PrinterState& printer = printers[i];
        const bool shown =
            printer.answers ||
            (printer.problem && printer.problem->keyword.starts_with("certificate-"));
        if (shown) urls[i] = readUrl(printer.target.url);
    }
    std::vector<CertificateReport> reports = inspectCertificates(urls, limit);
    for (std::size_t i = 0; i < printers.size(); ++i)
        printers[i].certificate = std::move(reports[i]);
}

void reportCertificates(const Session& session, const std::vector<PrinterState>& printers,
                        unsigned days) {
    std::string list;
    for (const PrinterState& printer : printers) {
        const CertificateReport& certificate = printer.certificate;
        if (!certificate.known || certificate.daysLeft > days) continue;
        list += "\n  " + quotedUrl(printer.target.url) + "  " + certificate.validUntil;
    }
    if (list.empty()) return;
    session.say("Certificates that have ended or end within " + std::to_string(days) +
                " days:" + list);
}

/// The index of the target among the printers, to which a new one is added: each is asked once.
std::size_t enter(std::vector<PrinterState>& printers, const PrintTarget& target) {
    for (std::size_t i = 0; i < printers.size(); ++i) {
        if (printers[i].target == target) return i;
    }
    printers.push_back({target, false, false, "not asked", {}, Json::object(), {}});
    return printers.size() - 1;
}

/// The first lines, and what a script is given about this computer.
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
    if (printer.certificate.known) json["certificate"] = toJson(printer.certificate);
    if (printer.problem) {
        json["problem"] = {{"code", printer.problem->keyword},
                           {"message", printer.problem->words},
                           {"remedy", printer.problem->remedy}};
    }
    return json;
}

/// What the record says about one port.
struct PortDeliveries {
    std::optional<DeliveryLine> last;
    std::uint32_t failures = 0;  ///< copies of the last day that were not accepted
};
using DeliveriesOfPorts = std::map<std::string, PortDeliveries>;

/// By the ports' names in UTF-8; none if there is no record to read.
std::optional<DeliveriesOfPorts> readDeliveries(const Session& session) {
    constexpr std::int64_t kDay = 24 * 3600 * 1000;
    if (!recordIsOn(session.server)) {
        session.say("The record of deliveries is off.");
        return std::nullopt;
    }
    DeliveriesOfPorts ports;
    const std::int64_t since = utcNow() - kDay;
    try {
        DeliveryFiles(deliveryDirectoryOf(session.server)).read([&](DeliveryLine&& line) {
            PortDeliveries& port = ports[line.port];
            if (!line.accepted() && line.time >= since) port.failures += std::max(line.repeats, 1U);
            port.last = std::move(line);
        });
    } catch (const CommandError& error) {
        session.warn(error.what());
        return std::nullopt;
    }
    return ports;
}

void reportDeliveries(const Session& session, const PortDeliveries& port, Json& json) {
    json["failures-of-last-day"] = port.failures;
    if (!port.last) {
        session.say("  no deliveries");
        return;
    }
    const DeliveryLine& line = *port.last;
    session.say("  last delivery " + timeText(utcToLocal(line.time)) + ": " +
                shown(line.outcome, 80) +
                (line.reason.empty() ? "" : ", " + shown(line.reason, 200)) + "; " +
                std::to_string(port.failures) + (port.failures == 1 ? " failure" : " failures") +
                " in the last day");
    json["last-delivery"] = {{"time", timeText(line.time)},
                             {"document", line.document},
                             {"printer", line.printer},
                             {"outcome", line.outcome},
                             {"reason", line.reason}};
}

void status(const Session& session, const StatusOptions& options) {
    const std::string monitor = monitorName(session);
    Json json = reportInstallation(session, monitor);
    std::optional<MonitorChannel> opened;
    try {
        opened.emplace(session);
    } catch (const CommandError& error) {
        // That the spooler does not know the monitor is an answer; that it does not respond is not.
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

    const std::vector<MonitorChannel::PortTargets> ports = channel.targetsOfPorts();
    std::vector<PrinterState> printers;
    std::vector<std::vector<std::size_t>> printersOfPorts;
    for (const MonitorChannel::PortTargets& port : ports) {
        std::vector<std::size_t>& own = printersOfPorts.emplace_back();
        for (const PrintTarget& target : port.printers)
            own.push_back(enter(printers, target));
    }
    if (!options.noProbe) {
        askPrinters(printers, std::chrono::seconds(options.timeout));
        lookAtCertificates(printers, std::chrono::seconds(options.timeout));
    }

    const std::optional<DeliveriesOfPorts> deliveries = readDeliveries(session);
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
        const std::string name = toUtf8(ports[i].name);
        Json port{{"name", name},
                  {"printers", targets},
                  {"last-delivery", nullptr},
                  {"failures-of-last-day", nullptr}};
        if (deliveries) {
            const auto own = deliveries->find(name);
            reportDeliveries(session, own == deliveries->end() ? PortDeliveries() : own->second,
                             port);
        }
        json["ports"].push_back(std::move(port));
    }
    if (ports.empty()) session.say("There are no ports.");
    reportCertificates(session, printers, options.days);
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
    verb.number("--days", options->days, 0, 36500,
                "name the printers' certificates that end within so many days", "DAYS");
    verb.seconds("--timeout", options->timeout, 1, 600, "longest wait for a printer, in seconds");
}

}  // namespace velmora::ctl
