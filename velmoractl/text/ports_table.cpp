#include "velmoractl/text/ports_table.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "port/port_config.h"
#include "port/url_text.h"
#include "velmoractl/text/configuration_values.h"
#include "velmoractl/text/configuration_versions.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/table.h"
#include "velmoractl/text/template_attributes.h"

namespace velmora::ctl {
namespace {

constexpr const char* kPortColumns[] = {"name", "url", "groups", "user", "password", "template"};
constexpr const char* kQueueColumns[] = {"queue", "driver", "share", "location", "comment"};

char separatorOf(std::string_view text) {
    const std::string_view first = text.substr(0, text.find_first_of("\r\n"));
    for (const char separator : {',', ';', '\t'})
        if (first.find(separator) != std::string_view::npos) return separator;
    return ',';
}

/// Reads field by field.
class CsvReader {
  public:
    explicit CsvReader(std::string_view text) : rest_(text), separator_(separatorOf(text)) {}

    std::vector<CsvLine> lines() {
        std::vector<CsvLine> result;
        while (!rest_.empty()) {
            CsvLine line{number_, {}};
            do {
                line.fields.push_back(field());
            } while (take(separator_));
            endLine();
            const bool empty = std::ranges::all_of(
                line.fields, [](const std::string& field) { return field.empty(); });
            if (!empty) result.push_back(std::move(line));
        }
        return result;
    }

  private:
    [[noreturn]] void fail(std::size_t line, const std::string& why) const {
        throw FileError("line " + std::to_string(line) + " " + why);
    }

    bool take(char c) {
        if (!rest_.starts_with(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }

    void endLine() {
        const bool ended = take('\r');
        if (!take('\n') && !ended && !rest_.empty()) {
            fail(number_, "has text after a closing quote");
        }
        ++number_;
    }

    std::string field() {
        if (take('"')) return quoted();
        const std::string ends = {separator_, '\r', '\n'};
        const std::string_view value = rest_.substr(0, rest_.find_first_of(ends));
        if (value.find('"') != std::string_view::npos) {
            fail(number_, "has a quote inside a field without quotes");
        }
        rest_.remove_prefix(value.size());
        return std::string(value);
    }

    std::string quoted() {
        const std::size_t begin = number_;
        std::string value;
        while (!rest_.empty()) {
            const char c = rest_.front();
            rest_.remove_prefix(1);
            if (c == '"' && !take('"')) return value;
            if (c == '\n') ++number_;
            value += c;
        }
        fail(begin, "has a quote that is not closed");
    }

    std::string_view rest_;
    const char separator_;
    std::size_t number_ = 1;
};

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

std::vector<std::string> knownColumns() {
    std::vector<std::string> known(std::begin(kPortColumns), std::end(kPortColumns));
    for (const TemplateAttribute& attribute : templateAttributes())
        known.emplace_back(attribute.name);
    known.insert(known.end(), std::begin(kQueueColumns), std::end(kQueueColumns));
    return known;
}

std::vector<std::string> columnsOf(const CsvLine& heading) {
    const std::vector<std::string> known = knownColumns();
    std::vector<std::string> columns;
    for (const std::string& field : heading.fields) {
        const std::string name = folded(trimmed(field));
        if (std::ranges::find(known, name) == known.end()) {
            std::string all;
            for (const std::string& one : known)
                all += (all.empty() ? "" : ", ") + one;
            throw FileError("has the unknown column " + inQuotes(field) + " (known: " + all + ")");
        }
        if (std::ranges::find(columns, name) != columns.end()) {
            throw FileError("has the column " + inQuotes(name) + " twice");
        }
        columns.push_back(name);
    }
    if (std::ranges::find(columns, "name") == columns.end()) {
        throw FileError("lacks the column \"name\"; its first line must name the columns");
    }
    return columns;
}

Json groupsOf(const std::string& field) {
    Json groups = Json::array();
    for (std::string_view rest = field; !rest.empty();) {
        const std::size_t end = std::min(rest.find(';'), rest.size());
        const std::string path = trimmed(std::string(rest.substr(0, end)));
        if (!path.empty()) groups.push_back(path);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return groups;
}

bool isQueueColumn(const std::string& column) {
    return std::ranges::find(kQueueColumns, column) != std::end(kQueueColumns);
}

/// A line as a port, and as a queue if it has one.
void addLine(const CsvLine& line, const std::vector<std::string>& columns, DescriptionPart& part) {
    const auto fail = [&](const std::string& why) {
        throw FileError("line " + std::to_string(line.number) + " " + why);
    };
    if (line.fields.size() > columns.size()) fail("has more fields than there are columns");
    Json port = Json::object();
    Json job = Json::object();
    Json queue = Json::object();
    for (std::size_t i = 0; i < line.fields.size(); ++i) {
        const std::string& field = line.fields[i];
        const std::string& column = columns[i];
        if (trimmed(field).empty()) continue;
        if (!isUtf8(field)) {
            fail("has characters that are not UTF-8; save the table as \"CSV UTF-8\"");
        }
        if (isQueueColumn(column))
            queue[column == "queue" ? "name" : column] = field;
        else if (findTemplateAttribute(column) != nullptr)
            job[column] = field;
        else
            port[column] = column == "groups" ? groupsOf(field) : Json(field);
    }
    if (!port.contains("name")) fail("has no name");
    if (!job.empty()) port["job-template"] = std::move(job);
    if (!queue.empty()) {
        if (!queue.contains("name")) fail("describes a queue without a name in \"queue\"");
        queue["port"] = port["name"];
        part.json["queues"].push_back(std::move(queue));
        part.queueLines.push_back(line.number);
    }
    part.json["ports"].push_back(std::move(port));
    part.lines.push_back(line.number);
}

std::string groupsText(const PortConfig& port, const DirectoryPaths& names,
                       const TextCodec& codec) {
    std::string text;
    for (const std::uint32_t id : port.targetIds) {
        if (names.group(id) == nullptr) continue;
        const std::string path = names.pathOf(id);
        if (path.find(';') != std::string::npos) {
            throw FileError("port " + inQuotes(codec.toUtf8(port.name)) +
                            " prints to a group with a semicolon in its path, which a table "
                            "cannot say");
        }
        text += (text.empty() ? "" : ";") + path;
    }
    return text;
}

}  // namespace

std::vector<CsvLine> parseCsv(const std::string& text) {
    return CsvReader(text).lines();
}

DescriptionPart readPortsTable(const std::string& text) {
    const std::vector<CsvLine> lines = parseCsv(withoutMark(text));
    if (lines.empty()) throw FileError("is empty; its first line must name the columns");
    const std::vector<std::string> columns = columnsOf(lines.front());
    DescriptionPart part;
    part.json = Json{{"ports", Json::array()}};
    if (std::ranges::any_of(columns, isQueueColumn)) part.json["queues"] = Json::array();
    for (std::size_t i = 1; i < lines.size(); ++i)
        addLine(lines[i], columns, part);
    return part;
}

std::string portsTable(const std::vector<PortConfig>& ports, const CGroupsDB& directory,
                       bool withPasswords, const TextCodec& codec) {
    std::vector<Column> columns;
    for (const char* const name : kPortColumns) {
        if (std::string_view(name) == "template") continue;  // what it says is in the attributes
        if (std::string_view(name) != "password" || withPasswords) columns.push_back({name, ""});
    }
    for (const TemplateAttribute& attribute : templateAttributes())
        columns.push_back({attribute.name, ""});
    const DirectoryPaths names(directory);
    Json rows = Json::array();
    for (const PortConfig& port : ports) {
        Json row{{"name", codec.toUtf8(port.name)}};
        if (port.singleTarget) {
            const std::string& url = port.printer.url;
            row["url"] = codec.toUtf8(withPasswords ? url : withoutUserInfo(url));
            if (port.printer.useAuthentication) {
                row["user"] = codec.toUtf8(port.printer.userName);
                row["password"] = codec.toUtf8(port.printer.password);
            }
        } else {
            row["groups"] = codec.toUtf8(groupsText(port, names, codec));
        }
        for (const TemplateAttribute& attribute : templateAttributes())
            row[attribute.name] = codec.toUtf8(attribute.get(port.jobTemplate));
        rows.push_back(std::move(row));
    }
    sortRows(rows, "name");
    const std::string text = csvText(columns, rows);
    const bool ascii = std::ranges::all_of(text, [](char c) { return (c & 0x80) == 0; });
    return ascii ? text : "\xEF\xBB\xBF" + text;
}

}  // namespace velmora::ctl
