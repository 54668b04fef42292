#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/printer_address.h"
#include "velmoractl/verbs/session.h"

namespace velmora {
struct JobTemplate;
}

namespace velmora::ctl {

/// Asks every printer whether it would accept such a job (Validate-Job), and reports those that
/// would not. Throws if one would refuse, or if none is reached; `limit` is for each answer.
///
/// A printer that wants a password or has a certificate that is not trusted would open a dialog in
/// the spooler, where nobody sees it: that counts as a refusal. One that is not reached, of
/// several, does not keep the others from their copies.
void checkBeforePrinting(const Session& session, const std::vector<PrintTarget>& targets,
                         const JobTemplate& job, std::chrono::seconds limit,
                         const std::string& what);

}  // namespace velmora::ctl
