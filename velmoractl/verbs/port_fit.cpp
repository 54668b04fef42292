#include "velmoractl/verbs/port_fit.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "port/port_config.h"
#include "velmoractl/at_once.h"
#include "velmoractl/job_check.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/template_attributes.h"

namespace velmora::ctl {
namespace {

/// Calls `body` with each index at once; what one of them throws is thrown here.
void forAll(std::size_t count, const std::function<void(std::size_t)>& body) {
    std::vector<std::exception_ptr> failures(count);
    atOnce(count, [&](std::size_t i) {
        try {
            body(i);
        } catch (...) {
            failures[i] = std::current_exception();
        }
    });
    for (const std::exception_ptr& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }
}

CommandError problemWith(const PrintTarget& printer, const PrinterProblem& problem,
                         const std::string& what) {
    return {ExitCode::printerProblem, what, quotedUrl(printer.url) + ": " + problem.words,
            problem.remedy, problem.keyword};
}

Verdict askOne(const PrintTarget& printer, const JobTemplate& job, const IppMessage& attributes,
               std::chrono::seconds limit, const std::string& what) {
    using Outcome = JobCheck::Outcome;
    const JobCheck check = checkJob(PrinterClient(printer, limit), job, attributes);
    if (check.outcome == Outcome::failed && check.problem) {
        throw problemWith(printer, *check.problem, what);
    }
    if (check.outcome == Outcome::failed || check.outcome == Outcome::unknown) {
        throw CommandError(
            ExitCode::printerProblem, what,
            quotedUrl(printer.url) + " cannot say whether it would take a job: " + check.words,
            "set the job template by hand with \"port set\"");
    }
    // A refusal for another reason, such as the user, names no attributes, so there are no better
    // values.
    Verdict verdict{check.outcome == Outcome::refused, {}};
    for (const RefusedAttribute& one : check.attributes)
        verdict.attributes.push_back(one.name);
    return verdict;
}

Json valueOf(const std::string& name, const std::string& text) {
    const TemplateAttribute* const attribute = findTemplateAttribute(name);
    if (attribute == nullptr) return text;
    if (attribute->kind == TemplateAttribute::Kind::flag) return text == "true";
    const Json number = numberOrNull(text);
    const bool isNumber = attribute->kind == TemplateAttribute::Kind::number && !number.is_null();
    return isNumber ? number : Json(toUtf8(text));
}

Json toJson(const std::vector<Replacement>& replacements) {
    Json list = Json::array();
    for (const Replacement& one : replacements) {
        list.push_back({{"attribute", one.name},
                        {"before", valueOf(one.name, one.before)},
                        {"after", one.after ? valueOf(one.name, *one.after) : Json()},
                        {"loss", one.loss}});
    }
    return list;
}

struct PortFitOptions {
    std::vector<std::string> names;
    FitOptions fit;
    bool dryRun = false;
};

/// The outcome for one port.
struct PortResult {
    std::string name;
    FitOutcome outcome;
    std::optional<CommandError> error;  ///< the port is as it was then
};

PortResult fitPort(MonitorChannel& channel, const PortConfig& stored,
                   const std::vector<PrintTarget>& printers, const PortFitOptions& options) {
    const std::string what = "port fit " + quotedAnsi(stored.name);
    PortResult result{stored.name, {}, {}};
    try {
        if (printers.empty()) {
            throw CommandError(ExitCode::notFound, what, "the port's groups hold no printers",
                               "add some with \"printer add GROUP/NAME --url URL\"");
        }
        PortConfig port = stored;
        result.outcome = fitToPrinters(printers, port.jobTemplate, options.fit, what);
        if (!result.outcome.taken) throw notFitted(result.outcome, options.fit, what);
        if (options.dryRun || port == stored) return result;
        const auto lock = channel.lock(what);
        if (channel.port(stored.name) != stored) {
            throw CommandError(ExitCode::conflict, what,
                               "the port has been changed while its printers were asked",
                               "try again");
        }
        channel.changePort(port);
    } catch (const CommandError& error) {
        result.error = error;
    }
    return result;
}

void tell(const Session& session, const PortResult& result, bool dryRun) {
    const std::string port = "Port " + quotedAnsi(result.name);
    if (result.error) {
        session.say(port + " is as it was: " + result.error->why());
    } else if (result.outcome.replaced.empty()) {
        session.say(port + " fits already.");
    } else {
        session.say(port + (dryRun ? " would fit with these changes:" : " has been changed:"));
    }
    sayFit(session, result.outcome);
}

Json toJson(const PortResult& result, bool dryRun) {
    const bool changes = !result.error && !result.outcome.replaced.empty();
    Json json{{"name", toUtf8(result.name)},
              {"fits", !result.error},
              {"changed", changes && !dryRun},
              {"replaced", toJson(result.outcome.replaced)},
              {"kept", toJson(result.outcome.stuck)}};
    if (result.error) {
        json["problem"] = {{"code", result.error->keyword()},
                           {"message", result.error->why()},
                           {"remedy", result.error->remedy()}};
    }
    return json;
}

void fitPorts(const Session& session, const PortFitOptions& options) {
    MonitorChannel channel(session);
    std::vector<PortConfig> ports;
    for (const std::string& name : options.names) {
        if (std::ranges::find(ports, name, &PortConfig::name) == ports.end()) {
            ports.push_back(channel.port(name));
        }
    }
    const std::vector<MonitorChannel::PortTargets> targets = channel.targets(ports);
    Json rows = Json::array();
    std::optional<CommandError> first;
    std::size_t failed = 0;
    for (std::size_t i = 0; i < ports.size(); ++i) {
        const PortResult result = fitPort(channel, ports[i], targets[i].printers, options);
        tell(session, result, options.dryRun);
        rows.push_back(toJson(result, options.dryRun));
        if (!result.error) continue;
        ++failed;
        if (!first) first = result.error;
    }
    if (session.wantsJson()) session.answer(rows);
    if (!first) return;
    if (ports.size() == 1) throw *first;
    throw CommandError(first->code(), "port fit",
                       std::to_string(failed) + " of " + std::to_string(ports.size()) +
                           " ports are as they were, the first one because: " + first->why(),
                       first->remedy(), first->keyword());
}

}  // namespace

FitOutcome fitToPrinters(const std::vector<PrintTarget>& printers, JobTemplate& job,
                         const FitOptions& options, const std::string& what) {
    const std::chrono::seconds limit(options.timeout);
    std::vector<std::shared_ptr<IppMessage>> answers(printers.size());
    forAll(printers.size(), [&](std::size_t i) {
        const PrinterAnswer answer = PrinterClient(printers[i], limit).askAttributes();
        if (const auto problem = problemOf(answer)) throw problemWith(printers[i], *problem, what);
        answers[i] = answer.message;
    });
    std::vector<const IppMessage*> attributes;
    attributes.reserve(answers.size());
    for (const auto& answer : answers)
        attributes.push_back(answer.get());
    return fitUntilTaken(
        job, attributes,
        [&](const JobTemplate& asked) {
            std::vector<Verdict> verdicts(printers.size());
            forAll(printers.size(), [&](std::size_t i) {
                verdicts[i] = askOne(printers[i], asked, *answers[i], limit, what);
            });
            return verdicts;
        },
        options.allowLoss);
}

void sayFit(const Session& session, const FitOutcome& outcome) {
    const auto words = [](const std::string& ansi) { return quotedAnsi(ansi); };
    for (const Replacement& one : outcome.replaced) {
        session.say("  " + one.name + ": " + words(one.before) + " -> " +
                    words(one.after.value_or("")) + (one.loss ? " (with a loss)" : ""));
    }
    for (const Replacement& one : outcome.stuck) {
        session.say("  " + shown(one.name, 80) + ": " + words(one.before) + " stays; " +
                    (one.after ? "the nearest is " + words(*one.after) + ", with a loss"
                               : "the printer offers nothing near"));
    }
}

CommandError notFitted(const FitOutcome& outcome, const FitOptions& options,
                       const std::string& what) {
    std::string names;
    bool loss = false;
    for (const Replacement& one : outcome.stuck) {
        names += (names.empty() ? "" : ", ") + shown(one.name, 80) + " " + quotedAnsi(one.before);
        loss |= one.after.has_value();
    }
    const std::string why =
        names.empty()
            ? "a printer refuses the job template and does not say what of it"
            : "a printer refuses " + names +
                  (loss ? ", which can only be replaced with a loss" : ", and offers nothing near");
    return {ExitCode::printerProblem, what, why,
            loss && !options.allowLoss
                ? "--allow-loss takes the nearest values; --dry-run shows them"
                : "\"probe --port NAME\" tells what the printer offers; set it with \"port set\"",
            "printer-refuses"};
}

void addFitVerb(Verb portGroup, Session& session) {
    const auto options = std::make_shared<PortFitOptions>();
    Verb verb =
        addVerb(portGroup, session, "fit",
                "replace what the port's printers refuse by the nearest that they offer",
                "port fit Office --dry-run", [&session, options] { fitPorts(session, *options); });
    verb.words("name", options->names, "the ports' names", "NAME").required();
    verb.flag("--dry-run", options->dryRun, "show the changes and change nothing");
    verb.flag("--allow-loss", options->fit.allowLoss,
              "also replace what changes the pages, such as two-sided by one-sided");
    verb.seconds("--timeout", options->fit.timeout, 1, 600,
                 "longest wait for each answer, in seconds");
}

}  // namespace velmora::ctl
