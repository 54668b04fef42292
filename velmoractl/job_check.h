#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "velmoractl/printer_client.h"

namespace velmora {
struct JobTemplate;
}

namespace velmora::ctl {

/// An attribute of the job template that the printer would refuse or ignore.
struct RefusedAttribute {
    std::string name;                  ///< as the printer wrote it
    std::vector<std::string> wanted;   ///< values that it does not take
    std::vector<std::string> offered;  ///< what it supports instead
};

/// Whether a printer would take a job (Validate-Job).
struct JobCheck {
    enum class Outcome {
        accepted,
        refused,  ///< the printer has answered that
        unknown,  ///< the printer does not have Validate-Job
        failed,   ///< there was no answer
    };
    Outcome outcome = Outcome::failed;
    std::string words;                      ///< the printer's status, or why there is no answer
    std::optional<std::uint32_t> status;    ///< IPP status code, if there was one
    std::optional<PrinterProblem> problem;  ///< of a job that is refused or failed
    std::vector<RefusedAttribute> attributes;
};
inline const char* keywordOf(JobCheck::Outcome outcome) {
    switch (outcome) {
        case JobCheck::Outcome::accepted:
            return "accepted";
        case JobCheck::Outcome::refused:
            return "refused";
        case JobCheck::Outcome::unknown:
            return "unknown";
        case JobCheck::Outcome::failed:
            return "failed";
    }
    return "";
}

/// `printer`: the printer's attributes, for what it offers instead.
JobCheck checkJob(const PrinterClient& client, const JobTemplate& job, const IppMessage& printer);

}  // namespace velmora::ctl
