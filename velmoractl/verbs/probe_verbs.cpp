#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "ipp/print_job.h"
#include "velmoractl/internet.h"
#include "velmoractl/job_check.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct ProbeOptions {
    std::string url;
    std::string port;
    Credentials credentials;
    unsigned timeout = 30;
    bool all = false;

    std::chrono::seconds limit() const { return std::chrono::seconds(timeout); }
};

/// What is shown of a printer, in this order.
constexpr const char* kDescription[] = {"printer-name",
                                        "printer-make-and-model",
                                        "printer-location",
                                        "printer-info",
                                        "printer-state",
                                        "printer-state-reasons",
                                        "printer-state-message",
                                        "printer-is-accepting-jobs",
                                        "queued-job-count",
                                        "uri-authentication-supported",
                                        "uri-security-supported",
                                        "ipp-versions-supported",
                                        "document-format-supported",
                                        "media-supported",
                                        "sides-supported",
                                        "print-quality-supported",
                                        "printer-resolution-supported",
                                        "finishings-supported"};

/// One printer that is probed, and what is found out, for people at once and for scripts at the
/// end.
class Probe {
  public:
    Probe(const Session& session, PrintTarget target, JobTemplate job, std::chrono::seconds limit)
        : session_(session),
          limit_(limit),
          job_(std::move(job)),
          client_(std::move(target), limit),
          url_(readUrl(client_.target().url)) {}

    Json run() {
        json_["url"] = toUtf8(client_.target().url);
        if (reportUrl()) {
            // First the printer, by the same calls as a job: looking at a certificate makes WinInet
            // accept it for the rest of the process.
            const PrinterAnswer answer = client_.askAttributes();
            if (url_.secure) reportCertificate();
            reportPrinter(answer);
        }
        json_["ready"] = ready_;
        return std::move(json_);
    }

  private:
    void say(const std::string& line) const { session_.say(line); }

    bool reportUrl() {
        say("URL: " + quotedAnsi(client_.target().url));
        if (!url_.usable) {
            json_["problem"] = url_.problem;
            say("  not usable: " + url_.problem);
            return false;
        }
        say("  read as host " + quotedAnsi(url_.host) + ", port " + std::to_string(url_.port) +
            ", path " + quotedAnsi(url_.path) + (url_.secure ? ", encrypted" : ", not encrypted"));
        for (const std::string& warning : url_.warnings)
            say("  warning: " + warning);
        json_["host"] = toUtf8(url_.host);
        json_["port"] = url_.port;
        json_["path"] = toUtf8(url_.path);
        json_["encrypted"] = url_.secure;
        json_["warnings"] = url_.warnings;
        return true;
    }

    void reportCertificate() {
        const CertificateReport certificate = inspectCertificate(url_, limit_);
        if (!certificate.known) {
            say("Certificate: none could be read");
            return;
        }
        say("Certificate: for \"" + certificate.subject + "\" by \"" + certificate.issuer +
            "\", valid from " + certificate.validFrom + " until " + certificate.validUntil);
        std::string chain;
        for (const std::string& name : certificate.chain)
            chain += (chain.empty() ? "" : " < ") + ('"' + name + '"');
        say("  chain: " + chain);
        for (const std::string& problem : certificate.problems)
            say("  problem: " + problem);
        if (certificate.problems.empty()) say("  trusted");
        json_["certificate"] = {
            {"subject", certificate.subject},      {"issuer", certificate.issuer},
            {"valid-from", certificate.validFrom}, {"valid-until", certificate.validUntil},
            {"chain", certificate.chain},          {"problems", certificate.problems}};
    }

    void reportPrinter(const PrinterAnswer& answer) {
        const std::string problem = problemText(answer);
        if (!problem.empty()) {
            say("Printer: " + problem + "; " + remedyText(answer));
            json_["problem"] = problem;
            json_["remedy"] = remedyText(answer);
            return;
        }
        say(client_.target().useAuthentication
                ? "Printer: answers, and does not refuse the user name"
                : "Printer: answers without a user name");
        json_["authentication"] = client_.target().useAuthentication != 0;
        Json attributes = Json::object();
        for (const char* name : kDescription) {
            std::vector<std::string> values = valuesOf(*answer.message, IppGroup::printer, name);
            if (values.empty()) continue;
            for (std::string& value : values) {
                if (enumText(name, value).ends_with(")")) value = enumText(name, value);
            }
            say(std::string("  ") + name + ": " + shownValues(values));
            attributes[name] = values;
        }
        json_["attributes"] = std::move(attributes);
        reportJob(*answer.message);
    }

    void reportJob(const IppMessage& printer) {
        const JobCheck check = checkJob(client_, job_, printer);
        ready_ = check.accepted || !check.known;
        if (valueOf(printer, IppGroup::printer, "printer-is-accepting-jobs") == "false") {
            ready_ = false;
        }
        say(check.accepted ? "Job: would be accepted (" + check.words + ")"
            : check.known
                ? "Job: would be refused: " + check.words
                : "Job: the printer does not tell whether it would accept one: " + check.words);
        json_["job"] = {{"known", check.known},
                        {"accepted", check.accepted},
                        {"status", check.words},
                        {"attributes", Json::array()}};
        for (const RefusedAttribute& one : check.attributes) {
            const char* const fate = check.accepted ? " is ignored or replaced" : " is refused";
            say("  " + shown(one.name, 80) + ": " + shownValues(one.wanted) + fate +
                (one.offered.empty() ? "" : "; the printer offers " + shownValues(one.offered)));
            json_["job"]["attributes"].push_back(
                {{"name", one.name}, {"wanted", one.wanted}, {"offered", one.offered}});
        }
    }

    const Session& session_;
    const std::chrono::seconds limit_;
    const JobTemplate job_;
    const PrinterClient client_;
    const UrlReading url_;
    Json json_ = Json::object();
    bool ready_ = false;
};

struct Targets {
    std::vector<PrintTarget> printers;
    JobTemplate job;
};

/// The URL that was given, or the printers of a port with its job template.
Targets targetsOf(const Session& session, const ProbeOptions& options, const std::string& what) {
    Targets targets;
    if (options.url.empty() == options.port.empty()) {
        throw CommandError(ExitCode::usage, what, "it wants a URL or a port",
                           "give one of them: probe URL, or probe --port NAME");
    }
    if (!options.url.empty()) {
        PrintTarget target{options.url, 0, "", ""};
        applyCredentials(options.credentials, target.useAuthentication, target.userName,
                         target.password, what);
        targets.printers.push_back(std::move(target));
        return targets;
    }
    MonitorChannel channel(session);
    const PortConfig port = channel.port(options.port);
    targets.job = port.jobTemplate;
    if (port.singleTarget) {
        targets.printers.push_back(
            {port.printerUrl, port.useAuthentication, port.userName, port.password});
        return targets;
    }
    const CGroupsDB directory = channel.directory();
    std::vector<CGroupsDBPrinter*> printers;
    for (const std::uint32_t id : port.targetIds)
        directory.CollectPrinters(id, printers);
    for (const CGroupsDBPrinter* one : printers) {
        targets.printers.push_back({one->uri, one->hasAuth, one->userName, one->password});
    }
    if (printers.empty()) {
        throw CommandError(ExitCode::notFound, what, "the port's groups hold no printers",
                           "add some with \"printer add GROUP/NAME --url URL\"");
    }
    return targets;
}

void probe(const Session& session, const ProbeOptions& options) {
    const std::string what =
        "probe " + quotedAnsi(options.port.empty() ? options.url : options.port);
    const Targets targets = targetsOf(session, options, what);
    Json all = Json::array();
    bool ready = true;
    for (const PrintTarget& target : targets.printers) {
        Json one = Probe(session, target, targets.job, options.limit()).run();
        ready &= one["ready"].get<bool>();
        all.push_back(std::move(one));
    }
    if (session.json) session.answer(all);
    if (!ready) {
        throw CommandError(ExitCode::printerProblem, what, "a job would not be printed",
                           session.json    ? "the answer tells why"
                           : session.quiet ? "probe again without --quiet to read why"
                                           : "what was found stands above");
    }
}

std::shared_ptr<IppMessage> jobsRequest(const PrintTarget& target, bool completed) {
    std::shared_ptr<IppMessage> request = newPrinterRequest(IppOperation::getJobs, target);
    if (!request) return nullptr;
    const char* const wanted[] = {"job-id",       "job-name",
                                  "job-state",    "job-originating-user-name",
                                  "job-k-octets", "job-state-reasons"};
    addIppAttribute(*request, IppGroup::operation, 0,
                    newKeywordAttribute(ippName("requested-attributes"), wanted));
    if (completed) {
        addIppAttribute(*request, IppGroup::operation, 0,
                        newKeywordAttribute(ippName("which-jobs"), "completed"));
    }
    return request;
}

void jobs(const Session& session, const ProbeOptions& options) {
    const std::string what = "jobs " + quotedAnsi(options.url);
    checkUrl(options.url, what);
    PrintTarget target{options.url, 0, "", ""};
    applyCredentials(options.credentials, target.useAuthentication, target.userName,
                     target.password, what);
    const PrinterClient client(target, options.limit());
    const PrinterAnswer answer = client.ask(jobsRequest(target, options.all));
    const std::string problem = problemText(answer);
    if (!problem.empty()) {
        throw CommandError(ExitCode::printerProblem, what, problem, remedyText(answer));
    }
    // One group instance a job.
    std::set<std::uint32_t> instances;
    for (const IppAttribute* one = answer.message->group(IppGroup::job).head; one != nullptr;
         one = one->next) {
        instances.insert(one->groupInstance);
    }
    Json all = Json::array();
    for (const std::uint32_t instance : instances) {
        const auto value = [&](const char* name) {
            return valueOf(*answer.message, IppGroup::job, name, instance);
        };
        const std::string state = enumText("job-state", value("job-state"));
        all.push_back({{"id", value("job-id")},
                       {"name", value("job-name")},
                       {"user", value("job-originating-user-name")},
                       {"state", state},
                       {"kilobytes", value("job-k-octets")}});
        session.say(shown(value("job-id"), 20) + "  " + inQuotes(value("job-name")) + "  " + state +
                    "  by " + inQuotes(value("job-originating-user-name"), 80));
    }
    if (session.json) session.answer(all);
    if (instances.empty()) session.say("The printer has no such jobs.");
}

void addCommonOptions(Verb verb, ProbeOptions& options) {
    addCredentialOptions(verb, options.credentials);
    verb.seconds("--timeout", options.timeout, 1, 600, "longest wait for each answer, in seconds");
}

}  // namespace

void addProbeVerbs(Verb app, Session& session) {
    const auto probed = std::make_shared<ProbeOptions>();
    Verb verb = addVerb(app, session, "probe", "what a job would meet at a printer",
                        "probe ipp://printer.example/ipp/print\n  velmoractl probe --port Office",
                        [&session, probed] { probe(session, *probed); });
    verb.text("url", probed->url, "the printer's URL", "URL");
    verb.text("--port", probed->port, "the printers of this port, with its job template", "NAME");
    addCommonOptions(verb, *probed);

    const auto asked = std::make_shared<ProbeOptions>();
    Verb list = addVerb(app, session, "jobs", "list a printer's jobs",
                        "jobs ipp://printer.example/ipp/print --completed",
                        [&session, asked] { jobs(session, *asked); });
    list.text("url", asked->url, "the printer's URL", "URL").required();
    list.flag("--completed", asked->all, "the jobs that have ended");
    addCommonOptions(list, *asked);
}

}  // namespace velmora::ctl
