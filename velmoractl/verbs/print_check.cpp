#include "velmoractl/verbs/print_check.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "velmoractl/at_once.h"
#include "velmoractl/job_check.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

/// A printer's answer whether it would accept the job.
struct Verdict {
    bool answers = false;
    std::optional<PrinterProblem> problem;  ///< of a printer that would refuse, or is not reached
    std::vector<RefusedAttribute> attributes;
};

bool isSilence(const PrinterProblem& problem) {
    constexpr std::array<std::string_view, 4> kSilence{"host-unknown", "no-connection",
                                                       "connection-closed", "time-out"};
    return std::ranges::find(kSilence, problem.keyword) != kSilence.end();
}

Verdict ask(const PrintTarget& target, const JobTemplate& job, std::chrono::seconds limit) {
    Verdict verdict;
    const PrinterClient client(target, limit);
    const PrinterAnswer printer = client.askAttributes();
    // The first answer is only used in messages, but a printer that is not reached is not asked
    // again.
    verdict.problem = problemOf(printer);
    if (verdict.problem && isSilence(*verdict.problem)) return verdict;
    const IppMessage nothing;
    const IppMessage& attributes = printer.message ? *printer.message : nothing;
    JobCheck check = checkJob(client, job, attributes);
    verdict.problem = std::move(check.problem);
    verdict.attributes = std::move(check.attributes);
    verdict.answers = !verdict.problem || !isSilence(*verdict.problem);
    if (!verdict.problem &&
        valueOf(attributes, IppGroup::printer, "printer-is-accepting-jobs") == "false") {
        verdict.problem =
            PrinterProblem{"printer-refuses", "it takes no jobs now", "let it accept jobs again"};
    }
    return verdict;
}

void tell(const Session& session, const PrintTarget& target, const Verdict& verdict) {
    session.say("  " + quotedUrl(target.url) + "  " +
                (verdict.answers ? "would refuse the job: " : "is not reached: ") +
                verdict.problem->words);
    for (const RefusedAttribute& one : verdict.attributes) {
        session.say(
            "    " + shown(one.name, 80) + ": " + shownValues(one.wanted) + " is refused" +
            (one.offered.empty() ? "" : "; the printer offers " + shownValues(one.offered)));
    }
}

}  // namespace

void checkBeforePrinting(const Session& session, const std::vector<PrintTarget>& targets,
                         const JobTemplate& job, std::chrono::seconds limit,
                         const std::string& what) {
    if (targets.empty()) {
        throw CommandError(ExitCode::printerProblem, what,
                           "the port's groups hold no printers, and nothing has been sent",
                           "add some with \"printer add GROUP/NAME --url URL\"");
    }
    std::vector<Verdict> verdicts(targets.size());
    atOnce(targets.size(), [&](std::size_t i) {
        try {
            verdicts[i] = ask(targets[i], job, limit);
        } catch (const std::exception& error) {
            verdicts[i].answers = true;
            verdicts[i].problem = PrinterProblem{
                "internal-error", "it could not be asked: " + shown(error.what()), "try again"};
        }
    });
    std::size_t silent = 0;
    std::size_t refusing = 0;
    std::size_t told = targets.size();
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (!verdicts[i].problem) continue;
        tell(session, targets[i], verdicts[i]);
        ++(verdicts[i].answers ? refusing : silent);
        if (told == targets.size() || (verdicts[i].answers && !verdicts[told].answers)) told = i;
    }
    if (refusing == 0 && silent < targets.size()) return;
    const PrinterProblem& problem = *verdicts[told].problem;
    const std::string count =
        refusing > 1 ? " (and " + std::to_string(refusing - 1) + " more)" : std::string();
    throw CommandError(
        ExitCode::printerProblem, what,
        (refusing == 0 ? "no printer is reached: " : "a printer would refuse it: ") +
            quotedUrl(targets[told].url) + ": " + problem.words + count + "; nothing has been sent",
        problem.remedy + "; or send it all the same with --no-check", problem.keyword);
}

}  // namespace velmora::ctl
