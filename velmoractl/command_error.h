#pragma once

#include <exception>
#include <string>
#include <utility>

namespace velmora::ctl {

/// The program's exit codes; listed in the help text and in docs/command-line.md.
enum class ExitCode : int {
    done = 0,
    failed = 1,          ///< the system or the spooler refused, or could not be asked
    usage = 2,           ///< wrong arguments, a bad value, a file that cannot be read
    notFound = 3,        ///< no such port, group or printer
    conflict = 4,        ///< the name is taken, or the object is in use
    accessDenied = 5,    ///< only administrators may do it
    notInstalled = 6,    ///< the spooler does not know the monitor
    printerProblem = 7,  ///< a printer does not answer, or would refuse a job
    cancelled = 8,       ///< the user said no, or pressed Ctrl-C
    different = 9,       ///< what is stored differs from the file
    restartNeeded = 10,  ///< done, but the spooler uses it only after a restart
};

/// The default keyword of an error; docs/json.md lists all.
constexpr const char* keywordOf(ExitCode code) noexcept {
    switch (code) {
        case ExitCode::usage:
            return "usage";
        case ExitCode::notFound:
            return "not-found";
        case ExitCode::conflict:
            return "conflict";
        case ExitCode::accessDenied:
            return "access-denied";
        case ExitCode::notInstalled:
            return "not-installed";
        case ExitCode::printerProblem:
            return "printer-problem";
        case ExitCode::cancelled:
            return "cancelled";
        case ExitCode::different:
            return "different";
        case ExitCode::restartNeeded:
            return "restart-needed";
        default:
            return "system-error";
    }
}

/// Ends a command. Its text is one line: what failed, why, and what to do. UTF-8, safe to show.
class CommandError : public std::exception {
  public:
    CommandError(ExitCode code, std::string subject, std::string why, std::string remedy,
                 std::string keyword = {})
        : code_(code),
          subject_(std::move(subject)),
          why_(std::move(why)),
          remedy_(std::move(remedy)),
          keyword_(keyword.empty() ? keywordOf(code) : std::move(keyword)),
          text_(subject_ + ": " + why_ + "; " + remedy_) {}

    ExitCode code() const noexcept { return code_; }
    const std::string& subject() const noexcept { return subject_; }
    const std::string& why() const noexcept { return why_; }
    const std::string& remedy() const noexcept { return remedy_; }
    /// The keyword for scripts, such as "certificate-untrusted".
    const std::string& keyword() const noexcept { return keyword_; }
    const char* what() const noexcept override { return text_.c_str(); }

  private:
    ExitCode code_;
    std::string subject_, why_, remedy_, keyword_, text_;
};

}  // namespace velmora::ctl
