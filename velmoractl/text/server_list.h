#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "velmoractl/command_error.h"
#include "velmoractl/text/json.h"
#include "velmoractl/text/table.h"

namespace velmora::ctl {

// One command for several servers: each gets the same words and its own result, and the results
// are shown as one.

/// The names in "A,B,\\C", or in a file with one a line, empty lines and those that begin with "#"
/// left out; without backslashes before them, and each once, capital and small letters alike.
std::vector<std::string> serverNames(std::string_view text);

/// The words for one of the servers: with its name, and with it in place of "{server}".
std::vector<std::string> wordsForServer(const std::vector<std::string>& words,
                                        const std::string& server);

/// Words as the C library of the program that is started takes them apart again.
std::string joinedWords(const std::vector<std::string>& words);

/// What one server's part of the command has written, as UTF-8.
struct ServerResult {
    std::string server;
    ExitCode code = ExitCode::done;
    std::string output;
    std::string errors;
};

/// The more important one: a failure outranks something not done, and that outranks a difference.
ExitCode worse(ExitCode one, ExitCode other);

/// A list that one server's run writes for the combined list: what tableText() needs of it.
std::string listForWhole(std::span<const Column> columns, std::string_view nameKey,
                         std::string_view empty, const Json& rows);

/// What people see: lines with the server's name before them, or all lists as one, in the form that
/// was asked for ("table", "csv", "names" or nothing), with a column more.
std::string combinedText(const std::vector<ServerResult>& results, const std::string& form,
                         bool headings);
/// The lines of the error output, each with its server's name.
std::string combinedErrors(const std::vector<ServerResult>& results);
/// The form for scripts: one object for each server.
Json combinedJson(const std::vector<ServerResult>& results);

}  // namespace velmora::ctl
