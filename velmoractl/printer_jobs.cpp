#include "velmoractl/printer_jobs.h"

#include <set>

#include "ipp/print_job.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/whole_number.h"

namespace velmora::ctl {
namespace {

/// A printer that no longer knows a job has forgotten it after its end (RFC 2911, 4.3.7.2).
constexpr std::uint32_t kStatusNotFound = 0x0406;
constexpr std::uint32_t kFirstEndedState = 7;  // canceled, aborted, completed

}  // namespace

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

std::shared_ptr<IppMessage> jobRequest(IppOperation operation, const PrintTarget& target,
                                       std::uint32_t id) {
    return newRequestAboutJob(operation, target, id);
}

std::vector<ListedJob> jobsOf(const IppMessage& answer) {
    // One group instance for each job.
    std::set<std::uint32_t> instances;
    for (const IppAttribute* one = answer.group(IppGroup::job).head; one != nullptr;
         one = one->next) {
        instances.insert(one->groupInstance);
    }
    std::vector<ListedJob> jobs;
    for (const std::uint32_t instance : instances) {
        const auto value = [&](const char* name) {
            return valueOf(answer, IppGroup::job, name, instance);
        };
        const auto number = [&](const char* name) -> std::optional<std::int64_t> {
            return wholeNumber<std::uint32_t>(value(name));
        };
        jobs.push_back({number("job-id"), value("job-name"), value("job-originating-user-name"),
                        enumKeyword("job-state", value("job-state")), number("job-state"),
                        valuesOf(answer, IppGroup::job, "job-state-reasons", instance),
                        number("job-k-octets")});
    }
    return jobs;
}

std::optional<PrinterProblem> PrinterJob::find(const std::string& name, const std::string& user) {
    // A job that ends between the two requests is in the second answer.
    for (const bool completed : {false, true}) {
        const PrinterAnswer answer = client_.ask(jobsRequest(target(), completed), options_);
        if (auto problem = problemOf(answer)) return problem;
        std::set<std::uint32_t> instances;
        for (const IppAttribute* one = answer.message->group(IppGroup::job).head; one != nullptr;
             one = one->next) {
            instances.insert(one->groupInstance);
        }
        for (const std::uint32_t instance : instances) {
            const auto value = [&](const char* attribute) {
                return valueOf(*answer.message, IppGroup::job, attribute, instance);
            };
            const auto id = wholeNumber<std::uint32_t>(value("job-id"));
            if (!id || value("job-name") != name || value("job-originating-user-name") != user)
                continue;
            if (id_ && *id_ > *id) continue;
            id_ = id;
            take(*answer.message, instance);
        }
    }
    return std::nullopt;
}

std::optional<PrinterProblem> PrinterJob::ask() {
    const PrinterAnswer answer =
        client_.ask(jobRequest(IppOperation::getJobAttributes, target(), *id_), options_);
    if (answer.message && (answer.message->operationOrStatus & 0xFFFF) == kStatusNotFound &&
        !state_.empty()) {
        state_ = kForgotten;
        reasons_.clear();
        ended_ = true;
        return std::nullopt;
    }
    if (auto problem = problemOf(answer)) return problem;
    take(*answer.message, 0);
    return std::nullopt;
}

void PrinterJob::take(const IppMessage& answer, std::uint32_t instance) {
    const std::string number = valueOf(answer, IppGroup::job, "job-state", instance);
    state_ = enumKeyword("job-state", number);
    reasons_ = valuesOf(answer, IppGroup::job, "job-state-reasons", instance);
    ended_ = wholeNumber<std::uint32_t>(number).value_or(0) >= kFirstEndedState;
}

}  // namespace velmora::ctl
