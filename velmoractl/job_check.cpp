#include "velmoractl/job_check.h"

#include <algorithm>

#include "ipp/print_job.h"
#include "velmoractl/text/ipp_text.h"

namespace velmora::ctl {
namespace {

constexpr std::uint32_t kOperationNotSupported = 0x0501;
constexpr std::uint32_t kFirstErrorStatus = 0x0100;
constexpr const char* kValidateJob = "4";  // RFC 2911, 4.4.15

std::vector<std::string> inWords(const std::string& name, std::vector<std::string> values) {
    for (std::string& value : values) {
        const std::string words = enumText(name, value);
        if (words != value && words.ends_with(")")) value = words;
    }
    return values;
}

/// The printer's list of what it does not support (RFC 2911, 3.1.7).
void addUnsupported(const IppMessage& answer, const IppMessage& printer, JobCheck& check) {
    for (const IppAttribute* one = answer.group(IppGroup::unsupported).head; one != nullptr;
         one = one->next) {
        RefusedAttribute refused;
        refused.name = attributeName(*one);
        refused.wanted = inWords(refused.name, attributeValues(*one));
        refused.offered = inWords(
            refused.name, valuesOf(printer, IppGroup::printer, refused.name + "-supported"));
        check.attributes.push_back(std::move(refused));
    }
}

}  // namespace

JobCheck checkJob(const PrinterClient& client, const JobTemplate& job, const IppMessage& printer) {
    JobCheck check;
    const std::vector<std::string> operations =
        valuesOf(printer, IppGroup::printer, "operations-supported");
    if (!operations.empty() && std::ranges::find(operations, kValidateJob) == operations.end()) {
        check.outcome = JobCheck::Outcome::unknown;
        check.words = "Validate-Job is not among its operations";
        return check;
    }
    const PrinterAnswer answer =
        client.ask(newJobRequest(IppOperation::validateJob, client.target(), "Velmora probe", job));
    const std::optional<PrinterProblem> problem = problemOf(answer);
    if (!answer.message) {
        check.problem = problem;
        if (problem) check.words = problem->words;
        return check;
    }
    check.status = answer.message->operationOrStatus & 0xFFFF;
    check.words = problem ? problem->words : statusText(*check.status);
    check.outcome = *check.status == kOperationNotSupported ? JobCheck::Outcome::unknown
                    : *check.status < kFirstErrorStatus     ? JobCheck::Outcome::accepted
                                                            : JobCheck::Outcome::refused;
    if (check.outcome == JobCheck::Outcome::refused) check.problem = problem;
    addUnsupported(*answer.message, printer, check);
    return check;
}

}  // namespace velmora::ctl
