#pragma once

#include <exception>
#include <string>
#include <utility>

namespace velmora::ctl {

/// What the program tells its caller; listed in the help text and in docs/command-line.md.
enum class ExitCode : int {
    done = 0,
    failed = 1,          ///< the system or the spooler refused
    usage = 2,           ///< wrong words, a bad value, a file that cannot be read
    notFound = 3,        ///< no such port, group or printer
    conflict = 4,        ///< the name is taken, the thing is in use
    accessDenied = 5,    ///< only administrators may do it
    notInstalled = 6,    ///< the spooler does not know the monitor
    printerProblem = 7,  ///< a printer does not answer, or would refuse a job
    cancelled = 8,       ///< the user said no
};

/// Ends a command. Its text is one line: what failed, why, and what to do.
class CommandError : public std::exception {
  public:
    CommandError(ExitCode code, const std::string& what, const std::string& why,
                 const std::string& remedy)
        : code_(code), text_(what + ": " + why + "; " + remedy) {}

    ExitCode code() const noexcept { return code_; }
    const char* what() const noexcept override { return text_.c_str(); }

  private:
    ExitCode code_;
    std::string text_;
};

}  // namespace velmora::ctl
