#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>

#include "velmoractl/text/command_line.h"
#include "velmoractl/text/json.h"
#include "velmoractl/text/table.h"

namespace velmora::ctl {

/// What all commands share: the options that may precede or follow any verb, and the chosen
/// command.
struct Session {
    bool json = false;
    bool quiet = false;
    std::string server;           ///< "\\NAME", or empty for this computer
    unsigned serverTimeout = 60;  ///< seconds; of several servers
    std::string part;     ///< of a run for one of several servers: see noteAnswer(); else empty
    std::string monitor;  ///< the monitor's name with the spooler; empty: the settings file's
    std::string output;   ///< of a list: "table", "json", "csv" or "names"; empty: table
    std::function<void()> action;
    /// Whether the JSON answer has been written: an error must not be a second one.
    mutable bool answered = false;

    bool wantsJson() const { return json || output == "json"; }

    /// A line for people: not in quiet mode, and not between the lines of a JSON answer.
    void say(const std::string& utf8) const;
    /// A warning goes to the error output, also in quiet mode.
    void warn(const std::string& utf8) const;
    /// Reports that the server has answered: from now on there is no time limit.
    void noteServerAnswers() const;
    /// The answer for scripts.
    void answer(const Json& json) const;

    struct List {
        std::span<const Column> columns;
        const char* nameKey;  ///< what -o names shows, and what the list is sorted by
        const char* empty;    ///< shown on a terminal if the list is empty
    };
    /// A list in the form that was asked for; `rows` is a JSON list of objects.
    void list(const List& form, Json rows) const;
};

/// A verb with its help and example; `action` runs after the whole command line has been read.
Verb addVerb(Verb parent, Session& session, const std::string& name, const std::string& about,
             const std::string& example, std::function<void()> action);
/// -o for a verb that lists.
void addOutputOption(Verb verb, Session& session);

// One function for each verb group; it adds its verbs to the command line.
void addSetupVerbs(Verb app, Session& session);
void addStatusVerb(Verb app, Session& session);
void addPortVerbs(Verb app, Session& session);
void addDirectoryVerbs(Verb app, Session& session);
void addTransferVerbs(Verb app, Session& session);
void addProbeVerbs(Verb app, Session& session);
void addCertificateVerbs(Verb app, Session& session);
void addJobVerbs(Verb app, Session& session);
void addPrintVerb(Verb app, Session& session);
void addDeliveryVerbs(Verb app, Session& session);
void addPolicyVerbs(Verb app, Session& session);
void addPasswordVerb(Verb app, Session& session);
void addQueueVerbs(Verb app, Session& session);
void addCompletionVerbs(Verb app, Session& session);

}  // namespace velmora::ctl
