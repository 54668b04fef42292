#include "velmoractl/text/table.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "velmoractl/text/lower_case.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

std::string plainText(const Json& value, const char* between) {
    if (value.is_null()) return {};
    if (value.is_string()) return value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
    if (!value.is_array()) return value.dump();
    std::string text;
    for (const Json& one : value)
        text += (text.empty() ? "" : between) + plainText(one, between);
    return text;
}

const Json& at(const Json& row, std::string_view key) {
    static const Json none;
    const auto found = row.find(std::string(key));
    return found == row.end() ? none : *found;
}

/// Characters, not bytes; wide ones count as one.
std::size_t width(const std::string& utf8) {
    return static_cast<std::size_t>(
        std::ranges::count_if(utf8, [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string joined(const std::vector<std::string>& cells, std::span<const std::size_t> widths) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line += cells[i];
        const std::size_t wide = std::max(widths[i], width(cells[i]));
        line.append(wide - width(cells[i]) + 2, ' ');
    }
    while (line.ends_with(' '))
        line.pop_back();
    return line + "\n";
}

std::string csvField(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string field = "\"";
    for (const char c : text) {
        if (c == '"') field += '"';
        field += c;
    }
    return field + '"';
}

}  // namespace

std::string tableText(std::span<const Column> columns, const Json& rows, bool headings) {
    std::vector<std::vector<std::string>> lines;
    if (headings) {
        auto& line = lines.emplace_back();
        for (const Column& column : columns)
            line.emplace_back(column.heading);
    }
    for (const Json& row : rows) {
        auto& line = lines.emplace_back();
        for (const Column& column : columns)
            line.push_back(shown(plainText(at(row, column.key), ", ")));
    }
    std::vector<std::size_t> widths(columns.size());
    for (const auto& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], width(line[i]));
    }
    std::string text;
    for (const auto& line : lines)
        text += joined(line, widths);
    return text;
}

std::string tableLine(std::span<const Column> columns, const Json& row,
                      std::span<const std::size_t> widths) {
    std::vector<std::string> cells;
    for (const Column& column : columns) {
        cells.push_back(row.empty() ? std::string(column.heading)
                                    : shown(plainText(at(row, column.key), ", ")));
    }
    return joined(cells, widths);
}

std::string csvText(std::span<const Column> columns, const Json& rows) {
    std::string text;
    for (const Column& column : columns)
        text += (text.empty() ? "" : ",") + std::string(column.key);
    text += "\r\n";
    for (const Json& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            line += (i == 0 ? "" : ",") + csvField(plainText(at(row, columns[i].key), ";"));
        }
        text += line + "\r\n";
    }
    return text;
}

std::string namesText(std::string_view key, const Json& rows) {
    std::string text;
    for (const Json& row : rows)
        text += shown(plainText(at(row, key), ", ")) + "\n";
    return text;
}

void sortRows(Json& rows, std::string_view key) {
    std::stable_sort(rows.begin(), rows.end(), [&](const Json& one, const Json& other) {
        const Json& left = at(one, key);
        const Json& right = at(other, key);
        if (left.is_string() && right.is_string()) {
            return lowerCase(left.get<std::string>()) < lowerCase(right.get<std::string>());
        }
        return left < right;
    });
}

}  // namespace velmora::ctl
