#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "velmoractl/text/server_list.h"

namespace velmora::ctl {

/// Runs this program once for each server, with its arguments, some dozens at a time. A run whose
/// server has not answered after `limit` is ended: nothing has been changed there by then. `part`
/// is the option that the handle for "it has answered" is given with, `input` what each run gets on
/// its standard input.
std::vector<ServerResult> runForServers(const std::vector<std::string>& servers,
                                        const std::vector<std::string>& words,
                                        const std::string& part, const std::string& input,
                                        std::chrono::seconds limit);

/// In a run: says that its server has answered. `handle` is the value of the option; empty: this is
/// not such a run.
void noteAnswer(const std::string& handle);

}  // namespace velmora::ctl
