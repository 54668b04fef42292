#pragma once

#include <string>
#include <vector>

#include "velmoractl/text/selection.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {

class MonitorChannel;

// Code that verbs for many objects share.

/// --all, --match and --where. `things`: "ports" or "printers", for the help.
void addSelectionOptions(Verb verb, Selection& selection, const std::string& things,
                         const std::vector<std::string>& keys);
/// --url-replace.
Option addUrlReplace(Verb verb, std::vector<std::string>& words);
void addDryRun(Verb verb, bool& dryRun);

/// Fails if nothing is selected, or in two ways at once. `thing`: "port" or "printer".
void checkSelection(const Selection& selection, const std::string& thing, const std::string& what);

/// The dialogs read a port's record through an area of 1024 bytes: a larger one could be printed to
/// but not be configured any more.
void checkSize(const PortConfig& port, const std::string& what);
/// The same for each port, which the error names.
void checkSizes(const std::vector<PortConfig>& ports, const std::string& what);

/// The ports that are meant, each once. ExitCode::notFound if one that is named is missing, or if
/// none fits.
std::vector<PortConfig> selectedPorts(MonitorChannel& channel, const Selection& selection,
                                      const std::string& what);
/// The ids of the printers that are meant; the same.
std::vector<std::uint32_t> selectedPrinters(const CGroupsDB& directory, const Selection& selection,
                                            const std::string& what);

}  // namespace velmora::ctl
