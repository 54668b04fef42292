#include <memory>
#include <nlohmann/json.hpp>

#include "ipp/job_template.h"
#include "ipp/print_job.h"
#include "port/url_text.h"
#include "velmoractl/internet.h"
#include "velmoractl/job_check.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/fleet_report.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/fleet_probe.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

/// Paths of printers at the usual places.
constexpr const char* kUsualPaths[] = {"/ipp/print", "/ipp", "/ipp/printer", "/printers"};

Json described(const PrinterProblem& problem) {
    return {{"code", problem.keyword}, {"message", problem.words}, {"remedy", problem.remedy}};
}

/// One printer that is probed, and what is found out, for people at once and for scripts at the
/// end.
class Probe {
  public:
    Probe(const Session& session, PrintTarget target, JobTemplate job, const ProbeOptions& options)
        : session_(session),
          limit_(options.timeout),
          allowUnknown_(options.allowUnknown),
          prompt_(options.prompt),
          job_(std::move(job)),
          client_(std::move(target), limit_),
          url_(readUrl(client_.target().url)) {}

    Json run() {
        json_["url"] = toUtf8(maskedUrl(client_.target().url));
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
        say("URL: " + quotedUrl(client_.target().url));
        if (!url_.usable) {
            json_["problem"] = described(
                {"bad-url", url_.problem, "give one such as ipp://printer.example/ipp/print"});
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
            "\", valid from " + certificate.validFrom + " until " + certificate.validUntil +
            (certificate.daysLeft < 0
                 ? ""
                 : ", " + std::to_string(certificate.daysLeft) + " days left"));
        std::string chain;
        for (const std::string& name : certificate.chain)
            chain += (chain.empty() ? "" : " < ") + ('"' + name + '"');
        say("  chain: " + chain);
        for (const std::string& problem : certificate.problems)
            say("  problem: " + problem);
        if (certificate.problems.empty()) say("  trusted");
        json_["certificate"] = toJson(certificate);
    }

    /// If something answers there, one of the usual paths may be the printer's.
    void suggestPath(PrinterProblem& problem) const {
        const std::string& url = client_.target().url;
        const std::size_t scheme = url.find("://");
        const std::size_t path =
            url.find_first_of("/?#", scheme == std::string::npos ? 0 : scheme + 3);
        const std::string base = url.substr(0, path);
        for (const char* usual : kUsualPaths) {
            PrintTarget target = client_.target();
            target.url = base + usual;
            if (target.url == url) continue;
            if (problemOf(PrinterClient(target, limit_).askAttributes())) continue;
            problem.remedy = "a printer answers at " + quotedUrl(target.url);
            return;
        }
    }

    void reportPrinter(const PrinterAnswer& answer) {
        if (std::optional<PrinterProblem> problem = problemOf(answer)) {
            if (problem->keyword == "wrong-path" || problem->keyword == "not-ipp") {
                suggestPath(*problem);
            }
            say("Printer: " + problem->words + "; " + problem->remedy);
            json_["problem"] = described(*problem);
            return;
        }
        say(client_.target().useAuthentication
                ? "Printer: answers, and does not refuse the user name"
                : "Printer: answers without a user name");
        json_["authentication"] = client_.target().useAuthentication != 0;
        Json attributes = Json::object();
        for (const ShownAttribute& one : printerDescription(*answer.message)) {
            say("  " + std::string(one.name) + ": " + one.values);
            attributes[std::string(one.name)] = jsonValues(*one.attribute);
        }
        json_["attributes"] = std::move(attributes);
        reportJob(*answer.message);
        if (prompt_) reportPromptDelivery();
    }

    /// Whether the printer answers at all to a body that follows its headers at once; the answer
    /// itself does not matter here. The attempt with the pause distinguishes a printer that needs
    /// it from one that fails.
    void reportPromptDelivery() {
        ConnectionOptions prompt;
        prompt.promptDelivery = true;
        const bool works = asksWell(prompt);
        const bool worksWithPause = works || asksWell({});
        say(works ? "Prompt delivery: works"
            : worksWithPause
                ? "Prompt delivery: this printer needs a pause before a body; set the policy value "
                  "PromptDelivery to 0 on computers that print to it"
                : "Prompt delivery: not known; the printer does not answer after a pause either");
        json_["prompt-delivery"] = {{"known", worksWithPause}, {"works", works}};
    }

    bool asksWell(const ConnectionOptions& options) const {
        return client_
                   .ask(newJobRequest(IppOperation::validateJob, client_.target(), "Velmora probe",
                                      job_),
                        options)
                   .message != nullptr;
    }

    void reportJob(const IppMessage& printer) {
        using Outcome = JobCheck::Outcome;
        const JobCheck check = checkJob(client_, job_, printer);
        const bool accepting =
            valueOf(printer, IppGroup::printer, "printer-is-accepting-jobs") != "false";
        ready_ = accepting && (check.outcome == Outcome::accepted ||
                               (check.outcome == Outcome::unknown && allowUnknown_));
        if (!accepting) say("Job: the printer takes no jobs now");
        switch (check.outcome) {
            case Outcome::accepted:
                say("Job: would be accepted (" + check.words + ")");
                break;
            case Outcome::refused:
                say("Job: would be refused: " + check.words);
                break;
            case Outcome::unknown:
                say("Job: not known; the printer cannot say whether it would take one (" +
                    check.words + "); --allow-unknown takes that for ready");
                break;
            case Outcome::failed:
                say("Job: the question whether it would be accepted failed: " + check.words +
                    (check.problem ? "; " + check.problem->remedy : ""));
                break;
        }
        Json job{{"state", keywordOf(check.outcome)},
                 {"status", check.status ? Json(*check.status) : Json()},
                 {"message", check.words},
                 {"attributes", Json::array()}};
        if (check.problem) job["problem"] = described(*check.problem);
        for (const RefusedAttribute& one : check.attributes) {
            const char* const fate =
                check.outcome == Outcome::accepted ? " is ignored or replaced" : " is refused";
            say("  " + shown(one.name, 80) + ": " + shownValues(one.wanted) + fate +
                (one.offered.empty() ? "" : "; the printer offers " + shownValues(one.offered)));
            job["attributes"].push_back(
                {{"name", one.name}, {"wanted", one.wanted}, {"offered", one.offered}});
        }
        json_["accepting-jobs"] = accepting;
        json_["job"] = std::move(job);
    }

    const Session& session_;
    const std::chrono::seconds limit_;
    const bool allowUnknown_;
    const bool prompt_;
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
Targets probedTargets(const Session& session, const ProbeOptions& options,
                      const std::string& what) {
    if (!options.urls.empty()) {
        const std::string& url = options.urls.front();
        checkNoUserInfo(url, what);
        PrintTarget target{url, 0, "", ""};
        applyCredentials(options.credentials, target.useAuthentication, target.userName,
                         target.password, what);
        return {{std::move(target)}, {}};
    }
    MonitorChannel channel(session);
    Targets targets;
    channel.readPrinting(options.ports.front(),
                         [&](const std::vector<PrintTarget>& printers, const JobTemplate& job) {
                             targets = {printers, job};
                         });
    if (targets.printers.empty()) {
        throw CommandError(ExitCode::notFound, what, "the port's groups hold no printers",
                           "add some with \"printer add GROUP/NAME --url URL\"");
    }
    return targets;
}

/// Whether a list of many printers is asked for instead of details about one.
bool isFleet(const Session& session, const ProbeOptions& options) {
    return options.all || !options.groups.empty() || !options.files.empty() ||
           options.urls.size() + options.ports.size() > 1 ||
           (!session.output.empty() && session.output != "json");
}

void probe(const Session& session, const ProbeOptions& options) {
    if (isFleet(session, options)) {
        if (options.prompt) {
            throw CommandError(ExitCode::usage, "probe", "--prompt is about one URL or one port",
                               "probe that printer alone");
        }
        return probeFleet(session, options, "probe");
    }
    if (options.urls.empty() && options.ports.empty()) {
        throw CommandError(ExitCode::usage, "probe", "it needs a URL or a port",
                           "give probe URL..., --port NAME, --group GROUP, --file FLEET or --all");
    }
    const std::string what = "probe " + (options.ports.empty() ? quotedUrl(options.urls.front())
                                                               : quotedAnsi(options.ports.front()));
    const Targets targets = probedTargets(session, options, what);
    Json all = Json::array();
    bool ready = true;
    for (const PrintTarget& target : targets.printers) {
        Json one = Probe(session, target, targets.job, options).run();
        ready &= one["ready"].get<bool>();
        all.push_back(std::move(one));
    }
    if (session.wantsJson()) session.answer(all);
    if (!ready) {
        throw CommandError(ExitCode::printerProblem, what, "a job would not be printed",
                           session.wantsJson() ? "the answer tells why"
                           : session.quiet     ? "probe again without --quiet to read why"
                                               : "see above for what was found");
    }
}

}  // namespace

void addProbeVerbs(Verb app, Session& session) {
    const auto probed = std::make_shared<ProbeOptions>();
    Verb verb = addVerb(app, session, "probe", "what a job would meet at a printer, or at many",
                        "probe ipp://printer.example/ipp/print\n  velmoractl probe --port Office"
                        "\n  velmoractl probe --all",
                        [&session, probed] { probe(session, *probed); });
    verb.words("url", probed->urls, "the printers' URLs; several of them give one list", "URL");
    verb.texts("--port", probed->ports,
               "the printers of this port, with its job template; may be repeated", "NAME");
    verb.texts("--group", probed->groups,
               "the printers below this group, with the templates of their ports; may be repeated",
               "GROUP");
    Option all = verb.flag("--all", probed->all, "the printers of all ports and of the directory");
    verb.texts(
            "--file", probed->files.files,
            "the printers of a fleet file, \"-\" is the standard input; may be repeated: several "
            "are read as if they were one",
            "FLEET")
        .excludes(all);
    verb.texts("--csv", probed->files.tables, "the same of a table; may be repeated", "TABLE")
        .excludes(all);
    verb.flag("--allow-unknown", probed->allowUnknown,
              "a printer that cannot say whether it would take a job counts as ready");
    verb.flag("--prompt", probed->prompt,
              "also try whether the printer takes a body without a pause (policy PromptDelivery)");
    verb.number("--days", probed->days, 0, 36500,
                "of many printers, name the certificates that end within so many days", "DAYS");
    addOutputOption(verb, session);
    addCredentialOptions(verb, probed->credentials);
    probed->timeoutOption =
        verb.seconds("--timeout", probed->timeout, 1, 600,
                     "longest wait for each answer, in seconds; of many printers for each printer, "
                     "10 if not given");
}

}  // namespace velmora::ctl
