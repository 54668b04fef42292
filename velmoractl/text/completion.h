#pragma once

#include <string>

namespace velmora::ctl {

/// The kind of names that an argument takes, if it takes names of existing objects.
enum class NameKind { none, port, group, printer, queue, driver };

/// The kind of the value of an option ("--group"), or of a positional argument ("name"), of a verb.
NameKind nameKindOf(const std::string& verb, const std::string& option);

/// The scripts with which a shell asks this program for completions.
const char* powershellCompletion();
const char* bashCompletion();

}  // namespace velmora::ctl
