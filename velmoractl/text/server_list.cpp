#include "velmoractl/text/server_list.h"

#include <algorithm>
#include <array>
#include <deque>
#include <nlohmann/json.hpp>
#include <optional>

#include "velmoractl/text/lower_case.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

// No text that a verb writes begins with this character (ASCII's record separator).
constexpr char kList = '\x1e';
constexpr std::string_view kProgram = "velmoractl: ";
constexpr std::string_view kWarning = "velmoractl: warning: ";
constexpr std::string_view kPlaceholder = "{server}";

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(kSpace);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(kSpace) - begin + 1);
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, end - begin);
        if (line.ends_with('\r')) line.pop_back();
        lines.push_back(std::move(line));
        begin = end + 1;
    }
    return lines;
}

bool isServerOption(const std::string& word) {
    return word == "--server" || word.starts_with("--server=");
}

std::optional<Json> listOf(const ServerResult& result) {
    if (!result.output.starts_with(kList)) return std::nullopt;
    Json list = Json::parse(result.output.begin() + 1, result.output.end(), nullptr, false);
    if (list.is_discarded()) return std::nullopt;
    return list;
}

std::string linesWithName(const ServerResult& result) {
    std::string text;
    for (const std::string& line : linesOf(result.output))
        text += result.server + ": " + line + "\n";
    return text;
}

/// The lists of all servers in the form that was asked for.
std::string combinedLists(const std::vector<ServerResult>& results, const std::string& form,
                          bool headings) {
    // Columns point at their texts.
    std::deque<std::string> texts{"server", "SERVER"};
    std::vector<Column> columns{{texts[0].c_str(), texts[1].c_str()}};
    Json rows = Json::array();
    std::string nameKey;
    std::string lines;
    for (const ServerResult& result : results) {
        const std::optional<Json> list = listOf(result);
        if (!list) {
            lines += linesWithName(result);
            continue;
        }
        if (columns.size() == 1) {
            for (const Json& column : list->at("columns")) {
                const std::string& key = texts.emplace_back(column.at(0).get<std::string>());
                const std::string& heading = texts.emplace_back(column.at(1).get<std::string>());
                columns.push_back({key.c_str(), heading.c_str()});
            }
            nameKey = list->at("name-key").get<std::string>();
        }
        const bool table = form != "csv" && form != "names";
        if (table && list->at("rows").empty())
            lines += result.server + ": " + list->at("empty").get<std::string>() + "\n";
        for (Json row : list->at("rows")) {
            row["server"] = result.server;
            rows.push_back(std::move(row));
        }
    }
    if (form == "csv") return csvText(columns, rows) + lines;
    if (form == "names") {
        for (const Json& row : rows)
            lines +=
                row["server"].get<std::string>() + ": " + namesText(nameKey, Json::array({row}));
        return lines;
    }
    return (rows.empty() ? std::string() : tableText(columns, rows, headings)) + lines;
}

/// The answer of one server: a value, or the lines of a verb that writes one value on each line.
Json answerOf(const ServerResult& result) {
    Json whole = Json::parse(result.output, nullptr, false);
    if (!whole.is_discarded()) return whole;
    Json lines = Json::array();
    for (const std::string& line : linesOf(result.output)) {
        Json one = Json::parse(line, nullptr, false);
        if (!one.is_discarded()) lines.push_back(std::move(one));
    }
    return lines;
}

}  // namespace

std::vector<std::string> serverNames(std::string_view written) {
    // Names of computers are ASCII: what else a file holds is the mark of its encoding, and in
    // UTF-16, as PowerShell's ">" writes it, every second byte.
    std::string plain(written);
    std::erase_if(plain, [](char c) { return c <= 0; });
    std::string_view text = plain;
    std::vector<std::string> names;
    std::vector<std::string> seen;
    while (!text.empty()) {
        const std::size_t lineEnd = std::min(text.find('\n'), text.size());
        std::string_view line = trimmed(text.substr(0, lineEnd));
        text.remove_prefix(std::min(lineEnd + 1, text.size()));
        if (line.starts_with('#')) continue;
        while (!line.empty()) {
            const std::size_t end = std::min(line.find(','), line.size());
            std::string_view name = trimmed(line.substr(0, end));
            line.remove_prefix(std::min(end + 1, line.size()));
            while (name.starts_with('\\'))
                name.remove_prefix(1);
            if (name.empty()) continue;
            const std::string folded = lowerCase(std::string(name));
            if (std::ranges::find(seen, folded) != seen.end()) continue;
            seen.push_back(folded);
            names.emplace_back(name);
        }
    }
    return names;
}

std::vector<std::string> wordsForServer(const std::vector<std::string>& words,
                                        const std::string& server) {
    std::vector<std::string> result{"--server", server};
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (isServerOption(words[i])) {
            if (words[i] == "--server") ++i;  // its value
            continue;
        }
        std::string word = words[i];
        for (std::size_t at = word.find(kPlaceholder); at != std::string::npos;
             at = word.find(kPlaceholder, at + server.size())) {
            word.replace(at, kPlaceholder.size(), server);
        }
        result.push_back(std::move(word));
    }
    return result;
}

std::string joinedWords(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) {
        if (!line.empty()) line += ' ';
        if (!word.empty() && word.find_first_of(" \t\n\v\"") == std::string::npos) {
            line += word;
            continue;
        }
        line += '"';
        std::size_t backslashes = 0;
        for (const char c : word) {
            // Before a quotation mark, and only there, backslashes count twice.
            if (c == '"') line.append(backslashes + 1, '\\');
            backslashes = c == '\\' ? backslashes + 1 : 0;
            line += c;
        }
        line.append(backslashes, '\\');
        line += '"';
    }
    return line;
}

ExitCode worse(ExitCode one, ExitCode other) {
    constexpr std::array kOrder = {
        ExitCode::done,           ExitCode::restartNeeded, ExitCode::different,
        ExitCode::printerProblem, ExitCode::cancelled,     ExitCode::notFound,
        ExitCode::conflict,       ExitCode::usage,         ExitCode::notInstalled,
        ExitCode::accessDenied,   ExitCode::failed};
    const auto rank = [&](ExitCode code) { return std::ranges::find(kOrder, code); };
    return std::ranges::max(one, other, {}, rank);
}

std::string listForWhole(std::span<const Column> columns, std::string_view nameKey,
                         std::string_view empty, const Json& rows) {
    Json keys = Json::array();
    for (const Column& column : columns)
        keys.push_back({column.key, column.heading});
    const Json list{
        {"columns", std::move(keys)}, {"name-key", nameKey}, {"empty", empty}, {"rows", rows}};
    return kList + list.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::string combinedText(const std::vector<ServerResult>& results, const std::string& form,
                         bool headings) {
    if (std::ranges::any_of(results,
                            [](const ServerResult& one) { return one.output.starts_with(kList); }))
        return combinedLists(results, form, headings);
    std::string text;
    for (const ServerResult& result : results)
        text += linesWithName(result);
    return text;
}

std::string combinedErrors(const std::vector<ServerResult>& results) {
    std::string text;
    for (const ServerResult& result : results) {
        for (const std::string& line : linesOf(result.errors)) {
            const std::string_view before = line.starts_with(kWarning)   ? kWarning
                                            : line.starts_with(kProgram) ? kProgram
                                                                         : std::string_view();
            text += std::string(before) + result.server + ": " + line.substr(before.size()) + "\n";
        }
    }
    return text;
}

Json combinedJson(const std::vector<ServerResult>& results) {
    Json list = Json::array();
    for (const ServerResult& result : results) {
        Json one{{"server", result.server}, {"exit-code", static_cast<int>(result.code)}};
        Json answer = answerOf(result);
        if (answer.is_object() && answer.size() == 1 && answer.contains("error"))
            one["error"] = answer["error"];
        else
            one["answer"] = std::move(answer);
        list.push_back(std::move(one));
    }
    return list;
}

}  // namespace velmora::ctl
