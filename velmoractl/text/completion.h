#pragma once

#include <string>

namespace velmora::ctl {

/// What names a word of the command line stands for, when it stands for names of what there is.
enum class NameKind { none, port, group, printer, queue, driver };

/// The kind of the value of an option ("--group"), or of a positional argument ("name"), of a verb.
NameKind nameKindOf(const std::string& verb, const std::string& option);

/// The scripts that let a shell ask this program for what may come next.
const char* powershellCompletion();
const char* bashCompletion();

}  // namespace velmora::ctl
