#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "velmoractl/text/json.h"

namespace velmora::ctl {

/// A column of a list: a key of the JSON answer, and its heading on a terminal.
struct Column {
    const char* key;
    const char* heading;
};

// One list in its forms; `rows` are JSON objects. UTF-8, ends with a line end.

/// Columns of equal width, safe to show.
std::string tableText(std::span<const Column> columns, const Json& rows, bool headings);
/// One line of such a table before its other rows are known: a text that is wider than its column
/// moves the rest of its line. An empty row gives the headings.
std::string tableLine(std::span<const Column> columns, const Json& row,
                      std::span<const std::size_t> widths);
/// RFC 4180, the keys in the first line. A list's values have ";" between them.
std::string csvText(std::span<const Column> columns, const Json& rows);
/// One value of `key` on each line, safe to show.
std::string namesText(std::string_view key, const Json& rows);

/// Sorts objects by a text of theirs, capital and small letters alike, or by a number.
void sortRows(Json& rows, std::string_view key);

}  // namespace velmora::ctl
