#pragma once

#include <string>
#include <vector>

#include "velmoractl/text/configuration_file.h"

namespace velmora::ctl {

struct DescriptionPart;

// Ports as a table that a spreadsheet writes: CSV as in RFC 4180, one port on each line, the names
// of the columns in the first line. docs/fleet-setup.md lists the columns.

/// The fields of each line that is not empty, with the number of the line that it begins in. The
/// separator is the comma, or the semicolon or tab that spreadsheets of some languages write
/// instead: the one that the first line has. Throws FileError.
struct CsvLine {
    std::size_t number;
    std::vector<std::string> fields;
};
std::vector<CsvLine> parseCsv(const std::string& text);

/// A table as a part of a description. An empty field counts as missing. Throws FileError.
DescriptionPart readPortsTable(const std::string& text);

/// The ports as such a table, by name, with all columns of a port; UTF-8, with a byte order mark if
/// spreadsheets need it. Throws FileError for what a table cannot express.
std::string portsTable(const std::vector<PortConfig>& ports, const CGroupsDB& directory,
                       bool withPasswords, const TextCodec& codec);

}  // namespace velmora::ctl
