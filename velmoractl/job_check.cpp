#include "velmoractl/job_check.h"

#include "ipp/print_job.h"

namespace velmora::ctl {
namespace {

constexpr std::uint32_t kOperationNotSupported = 0x0501;
constexpr std::uint32_t kFirstErrorStatus = 0x0100;

std::vector<std::string> inWords(const std::string& name, std::vector<std::string> values) {
    for (std::string& value : values) {
        const std::string words = enumText(name, value);
        if (words != value && words.ends_with(")")) value = words;
    }
    return values;
}

/// The printer's list of what it does not take (RFC 2911, 3.1.7).
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
    const PrinterAnswer answer =
        client.ask(newJobRequest(IppOperation::validateJob, client.target(), "Velmora probe", job));
    const std::string problem = problemText(answer);
    if (!answer.message) {
        check.words = problem;
        return check;
    }
    const std::uint32_t status = answer.message->operationOrStatus & 0xFFFF;
    check.known = status != kOperationNotSupported;
    check.accepted = status < kFirstErrorStatus;
    check.words = problem.empty() ? statusText(status) : problem;
    addUnsupported(*answer.message, printer, check);
    return check;
}

}  // namespace velmora::ctl
