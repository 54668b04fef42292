#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/printer_address.h"
#include "velmoractl/command_error.h"
#include "velmoractl/text/template_fit.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {

/// --fit of "port add", and what "port fit" may do.
struct FitOptions {
    bool fit = false;
    bool allowLoss = false;
    unsigned timeout = 30;
};

/// Asks the printers for what they offer and fits the job template to all of them, until they say
/// that they would take a job (Validate-Job). Throws ExitCode::printerProblem if one cannot be
/// asked.
FitOutcome fitToPrinters(const std::vector<PrintTarget>& printers, JobTemplate& job,
                         const FitOptions& options, const std::string& what);

/// The replacements, and what had to stay, as lines for people.
void sayFit(const Session& session, const FitOutcome& outcome);

/// Why a template could not be fitted, and what to do; one line of an error each.
CommandError notFitted(const FitOutcome& outcome, const FitOptions& options,
                       const std::string& what);

void addFitVerb(Verb portGroup, Session& session);

}  // namespace velmora::ctl
