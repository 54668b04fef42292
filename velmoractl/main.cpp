// velmoractl: sets the monitor up and runs it from the command line. docs/command-line.md.
#include <windows.h>

#include <cxxabi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <nlohmann/json.hpp>
#include <system_error>
#include <typeinfo>

#include "platform/text.h"
#include "velmoractl/server_runs.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/safe_file.h"
#include "velmoractl/text/server_list.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

constexpr char kCommon[] =
    "Options of all verbs:\n"
    "  --json                      answer in JSON, errors too, for scripts\n"
    "  -q,--quiet                  say nothing but errors and warnings\n"
    "  --server NAME               another computer's spooler (default: this computer's); several\n"
    "                              with commas, or @FILE with one a line\n"
    "  --server-timeout SECONDS    of several: longest wait until one answers (default: 60)\n"
    "  --monitor NAME              the monitor's name with the spooler (default: the settings "
    "file's)\n"
    "  -h,--help                   this text\n";

constexpr char kFooter[] =
    "Exit codes:\n"
    "  0 done                          5 only administrators may do it\n"
    "  1 the system refused            6 the spooler does not know the monitor\n"
    "  2 wrong words or a bad value    7 a printer does not answer or would refuse a job\n"
    "  3 no such port, group, printer  8 cancelled\n"
    "  4 name taken, or in use         9 what is stored is not as the file says\n"
    "                                 10 done, but the spooler must be restarted\n"
    "Example:\n"
    "  velmoractl install\n"
    "  velmoractl port add Office --url ipp://printer.example/ipp/print\n"
    "  velmoractl probe --port Office\n"
    "Every verb has its own --help with an example.";

constexpr char kAfterMemory[] = "close programs and try again";

// How a run learns that it is one of those for several servers.
constexpr char kPart[] = "--part";

std::string ownVersion() {
    std::vector<char> path(32768);
    GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return fileVersion(path.data());
}

/// The words after the program's name in the code page that ports are stored in. The C library's
/// own conversion uses best-fit characters where the code page lacks one: a port would silently
/// get another name.
std::vector<std::string> commandLine(int count, const wchar_t* const* wide) {
    std::vector<std::string> words;
    for (int i = 1; i < count; ++i) {
        words.push_back(toAnsi(wide[i]));
        if (toWide(words.back()) == wide[i]) continue;
        throw CommandError(ExitCode::usage, "the command line",
                           inQuotes(toUtf8(std::wstring_view(wide[i]))) +
                               " has characters that this system's code page lacks",
                           "write it with other characters");
    }
    return words;
}

void addVerbs(Verb program, Session& session) {
    program.flag("--json", session.json, "answer in JSON, errors too, for scripts");
    program.flag("-q,--quiet", session.quiet, "say nothing but errors and warnings");
    program.text("--server", session.server,
                 "another computer's spooler; several with commas, or @FILE with one a line",
                 "NAME");
    program.seconds("--server-timeout", session.serverTimeout, 1, 600,
                    "of several servers: longest wait until one answers");
    program.text(kPart, session.part, "of a run for one of several servers", "NUMBER").hidden();
    program.text("--monitor", session.monitor,
                 "the monitor's name with the spooler, when it differs from this computer's",
                 "NAME");
    addSetupVerbs(program, session);
    addStatusVerb(program, session);
    addPortVerbs(program, session);
    addQueueVerbs(program, session);
    addDirectoryVerbs(program, session);
    addPasswordVerb(program, session);
    addTransferVerbs(program, session);
    addProbeVerbs(program, session);
    addJobVerbs(program, session);
    addCertificateVerbs(program, session);
    addPrintVerb(program, session);
    addDeliveryVerbs(program, session);
    addPolicyVerbs(program, session);
    addCompletionVerbs(program, session);
}

std::string oneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    while (text.ends_with(' '))
        text.pop_back();
    return text;
}

/// The error's line, and its JSON form if scripts have asked for one and have no answer yet.
int end(const Session& session, const CommandError& error) {
    if (session.wantsJson() && !session.answered) {
        session.answer({{"error",
                         {{"code", error.keyword()},
                          {"message", error.why()},
                          {"remedy", error.remedy()},
                          {"subject", error.subject()}}}});
    }
    writeError("velmoractl: " + oneLine(error.what()) + "\n");
    return static_cast<int>(error.code());
}

/// Whether an error in the arguments themselves is to be reported in JSON.
bool asksForJson(int count, const wchar_t* const* words) {
    for (int i = 1; i < count; ++i) {
        const std::wstring_view word = words[i];
        const std::wstring_view before = words[i - 1];
        if (word == L"--json" || word == L"--output=json" || word == L"-ojson") return true;
        if (word == L"json" && (before == L"-o" || before == L"--output")) return true;
    }
    return false;
}

/// The servers that were named; none or one: the command is this program's alone.
std::vector<std::string> serversOf(const Session& session) {
    if (!session.server.starts_with('@')) return serverNames(session.server);
    const std::string what = "--server " + quotedAnsi(session.server);
    std::vector<std::string> servers = serverNames(readWholeFile(session.server.substr(1), what));
    if (servers.empty()) {
        throw CommandError(ExitCode::usage, what, "the file names no server", "write one a line",
                           "bad-file");
    }
    return servers;
}

bool has(const std::vector<std::string>& words, const std::string& word) {
    return std::ranges::find(words, word) != words.end();
}

/// The verbs that do not work for several servers at once.
void checkForSeveral(const std::string& verb, const std::vector<std::string>& words) {
    const auto refuse = [&](const std::string& why, const std::string& remedy) {
        throw CommandError(ExitCode::usage, verb + " of several servers", why, remedy);
    };
    const bool named = std::ranges::any_of(
        words, [](const std::string& word) { return word.find("{server}") != std::string::npos; });
    if (verb == "export" && !named)
        refuse("all would write the same file", "name a file a server: export fleet-{server}.json");
    if (verb == "deliveries" && has(words, "--follow"))
        refuse("there is no end to wait for", "follow one server at a time");
}

/// The standard input of each run.
std::string inputForAll(const std::vector<std::string>& words, const std::string& verb) {
    if (has(words, "--password-stdin")) {
        Credentials credentials;
        credentials.passwordFromInput = true;
        readPassword(credentials, verb);
        return credentials.password + "\n";
    }
    return has(words, "-") ? readWholeFile("-", verb) : std::string();
}

/// The same command for each server; the worst exit code.
int runForAll(const CommandLine& line, const Session& session,
              const std::vector<std::string>& servers, const std::vector<std::string>& words) {
    const std::string verb = line.chosen();
    checkForSeveral(verb, words);
    const std::vector<ServerResult> results =
        runForServers(servers, words, kPart, inputForAll(words, verb),
                      std::chrono::seconds(session.serverTimeout));
    if (session.wantsJson())
        session.answer(combinedJson(results));
    else
        writeOut(combinedText(results, session.output, isConsole(STD_OUTPUT_HANDLE)));
    writeError(combinedErrors(results));
    ExitCode code = ExitCode::done;
    for (const ServerResult& result : results)
        code = worse(code, result.code);
    return static_cast<int>(code);
}

int carryOut(CommandLine& line, Session& session, int count, const wchar_t* const* words) {
    const std::vector<std::string> own = commandLine(count, words);
    if (const std::optional<std::string> help = line.parse(own)) {
        writeOut(toUtf8(*help));
        return static_cast<int>(ExitCode::done);
    }
    const std::vector<std::string> servers = serversOf(session);
    if (servers.size() > 1) return runForAll(line, session, servers, own);
    session.server = servers.empty() ? std::string() : "\\\\" + servers.front();
    session.action();
    return static_cast<int>(ExitCode::done);
}

/// What a command has thrown, as an error to be told.
CommandError asError() {
    try {
        throw;
    } catch (const CommandError& error) {
        return error;
    } catch (const std::bad_alloc&) {
        return {ExitCode::failed, "the command", "memory has run out", kAfterMemory,
                "out-of-memory"};
    } catch (const std::system_error& error) {
        // Of the standard library: no thread could be started.
        return {ExitCode::failed, "the command", shown(error.what()), kAfterMemory};
    } catch (const std::exception& error) {
        return {ExitCode::failed, "the command", shown(error.what()), "please report this",
                "internal-error"};
    }
}

/// The end where no exception can be reported: in a destructor, such as those of JSON values, which
/// allocate, or in a thread. The C library's own end would be exit code 3, which is another one's.
[[noreturn]] void endAtOnce() {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    if (type != nullptr &&
        (*type == typeid(std::bad_alloc) || *type == typeid(std::system_error))) {
        writeError(
            "velmoractl: the command: memory has run out in the middle of it; see what has been "
            "done, ");
        writeError(kAfterMemory);
    } else {
        writeError(
            "velmoractl: the command: an internal error in the middle of it; see what has been "
            "done, and please report this");
    }
    writeError("\n");
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitCode::failed));
    std::abort();
}

int run(int count, const wchar_t* const* words) {
    std::set_terminate(&endAtOnce);
    Session session;
    try {
        try {
            CommandLine line("Sets up and runs the Velmora IPP port monitor.", kFooter, kCommon,
                             ownVersion);
            addVerbs(line.program(), session);
            return carryOut(line, session, count, words);
        } catch (...) {
            const CommandError error = asError();
            session.json = session.json || asksForJson(count, words);
            return end(session, error);
        }
    } catch (const std::exception&) {
        // There was no room for the message either.
        writeError("velmoractl: the command: memory has run out; ");
        writeError(kAfterMemory);
        writeError("\n");
        return static_cast<int>(ExitCode::failed);
    }
}

}  // namespace
}  // namespace velmora::ctl

int wmain(int count, wchar_t** words) {
    const int code = velmora::ctl::run(count, words);
    std::fflush(nullptr);
    // A thread that waits for a silent printer may still be running: returning from main would
    // destroy what it is using.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    return code;
}
