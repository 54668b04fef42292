#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ipp/message.h"

namespace velmora {
struct JobTemplate;
}

namespace velmora::ctl {

// Replaces values of a job template that a printer does not support by the nearest ones that it
// offers.

/// A value that is replaced, or could only be with a loss: another page, sheet or order of sheets
/// than was asked for.
struct Replacement {
    std::string name;  ///< the attribute
    std::string before;
    std::optional<std::string> after;  ///< empty: the printer offers nothing close
    bool loss = false;
};

struct TemplateFit {
    std::vector<Replacement> replaced;
    std::vector<Replacement> stuck;  ///< kept: nothing is close, or not without a loss
};

/// Replaces the values of the attributes that are refused. `printers`: the attributes of all
/// printers that get the template; a value must be offered by each that has a list. Higher
/// resolution and quality, another name or unit of the same thing and the printer's choice of a
/// staple's place where the template leaves it open are no loss.
TemplateFit fitTemplate(JobTemplate& job, std::span<const IppMessage* const> printers,
                        std::span<const std::string> refused, bool allowLoss);

/// A printer's answer about a job with a template.
struct Verdict {
    bool refused = false;
    std::vector<std::string> attributes;  ///< refused, or ignored by one that takes the job
};

struct FitOutcome {
    bool taken = false;                 ///< no printer refuses the job
    std::vector<Replacement> replaced;  ///< from the first value to the last
    std::vector<Replacement> stuck;     ///< refused or ignored, and kept
};

/// Fits and asks again until all printers accept the job, or nothing more can be replaced. `ask`
/// returns a verdict of each printer, in their order. `job` is changed even if it is not accepted
/// in the end.
FitOutcome fitUntilTaken(JobTemplate& job, std::span<const IppMessage* const> printers,
                         const std::function<std::vector<Verdict>(const JobTemplate&)>& ask,
                         bool allowLoss);

/// The attributes whose values are not among those that the printer says it offers; for a printer
/// that refuses a job and does not say why.
std::vector<std::string> notOffered(const JobTemplate& job, const IppMessage& printer);

}  // namespace velmora::ctl
