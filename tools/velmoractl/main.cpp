// velmoractl: sets the monitor up and runs it from the command line. docs/command-line.md.
#include <new>

#include "tools/velmoractl/console.h"
#include "tools/velmoractl/session.h"
#include "tools/velmoractl/shown_text.h"

namespace velmora::ctl {
namespace {

constexpr char kFooter[] =
    "Exit codes:\n"
    "  0 done                          5 only administrators may do it\n"
    "  1 the system refused            6 the spooler does not know the monitor\n"
    "  2 wrong words or a bad value    7 a printer does not answer or would refuse a job\n"
    "  3 no such port, group, printer  8 cancelled\n"
    "  4 name taken, or in use\n"
    "Example:\n"
    "  velmoractl install\n"
    "  velmoractl port add Office --url ipp://printer.example/ipp/print\n"
    "  velmoractl probe --port Office\n"
    "Every verb has its own --help with an example.";

void addVerbs(CLI::App& app, Session& session) {
    app.footer(kFooter);
    app.require_subcommand(1);
    app.fallthrough();
    app.add_flag("--json", session.json, "answer in JSON, for scripts");
    app.add_flag("-q,--quiet", session.quiet, "say nothing but errors and warnings");
    app.add_option("--server", session.server, "another computer's spooler")->type_name("NAME");
    app.add_option("--monitor", session.monitor,
                   "the monitor's name with the spooler, when it differs from this computer's")
        ->type_name("NAME");
    addSetupVerbs(app, session);
    addStatusVerb(app, session);
    addPortVerbs(app, session);
    addDirectoryVerbs(app, session);
    addTransferVerbs(app, session);
    addProbeVerbs(app, session);
    addPrintVerb(app, session);
}

/// "NAME" and "\\NAME" mean the same computer.
void completeServer(std::string& server) {
    if (!server.empty() && !server.starts_with("\\\\")) server = "\\\\" + server;
}

std::string oneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    while (text.ends_with(' '))
        text.pop_back();
    return text;
}

int end(ExitCode code, const std::string& line) {
    writeError("velmoractl: " + oneLine(line) + "\n");
    return static_cast<int>(code);
}

int run(int argc, char** argv) {
    CLI::App app("Sets up and runs the Velmora IPP port monitor.", "velmoractl");
    Session session;
    addVerbs(app, session);
    try {
        app.parse(argc, argv);
        completeServer(session.server);
        session.action();
        return static_cast<int>(ExitCode::done);
    } catch (const CLI::Success& help) {
        std::ostringstream text;
        app.exit(help, text, text);
        writeOut(toUtf8(text.str()));
        return static_cast<int>(ExitCode::done);
    } catch (const CLI::ParseError& error) {
        return end(ExitCode::usage, "the command line: " + shown(toUtf8(error.what())) +
                                        "; see velmoractl --help, or --help behind the verb");
    } catch (const CommandError& error) {
        return end(error.code(), error.what());
    } catch (const std::bad_alloc&) {
        return end(ExitCode::failed,
                   "memory has run out: the system gives no more; close programs "
                   "and try again");
    } catch (const std::exception& error) {
        return end(ExitCode::failed, std::string("the command has ended: ") + shown(error.what()) +
                                         "; please report this");
    }
}

}  // namespace
}  // namespace velmora::ctl

int main(int argc, char** argv) {
    return velmora::ctl::run(argc, argv);
}
