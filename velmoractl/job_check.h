#pragma once

#include <string>
#include <vector>

#include "ipp/job_template.h"
#include "velmoractl/printer_client.h"
#include "velmoractl/text/ipp_text.h"

namespace velmora::ctl {

/// An attribute of the job template that the printer would refuse or ignore.
struct RefusedAttribute {
    std::string name;                  ///< as the printer wrote it
    std::vector<std::string> wanted;   ///< values that it does not take
    std::vector<std::string> offered;  ///< what it supports instead
};

/// Whether a printer would take a job (Validate-Job).
struct JobCheck {
    bool known = false;  ///< the printer has answered the question
    bool accepted = false;
    std::string words;  ///< the printer's status, or why there is no answer
    std::vector<RefusedAttribute> attributes;
};

/// `printer`: the printer's attributes, for what it offers instead.
JobCheck checkJob(const PrinterClient& client, const JobTemplate& job, const IppMessage& printer);

}  // namespace velmora::ctl
