#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/require.h"
#include "harness/empty_directory.h"
#include "harness/latin1_codec.h"
#include "port/port_config.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/ports_table.h"
#include "velmoractl/text/shown_text.h"

// Any text, as a fleet file of version 1 or 2 and as a table: refused with one safe line, or read.
// What was read is written in each form that can say it, and read again as the same.

namespace {

using namespace velmora;
using namespace velmora::ctl;
using namespace velmora::testing;

void requireLine(const std::string& line) {
    require(isUtf8(line) && !line.empty());
    requirePrintable(line);
}

/// What the ports of a file without a directory can name.
const CGroupsDB& storedDirectory() {
    static const CGroupsDB stored = [] {
        CGroupsDB directory = emptyDirectory();
        const std::uint32_t floor = directory.AddGroup("Floor", kRootGroup)->id;
        directory.AddGroup("Left", floor);
        directory.AddPrinter("Hall", {"ipp://hall.example/", 0, "", ""}, kRootGroup);
        return directory;
    }();
    return stored;
}

std::optional<Configuration> read(const std::string& text, bool isTable) {
    try {
        return readConfiguration({{"file", text, isTable}}, storedDirectory(), latin1Codec());
    } catch (const FileError& error) {
        requireLine(error.what());
        return {};
    }
}

/// Empty for what the form cannot express.
template <class Write>
std::string written(Write&& write) {
    try {
        return write();
    } catch (const FileError& error) {
        requireLine(error.what());
        return {};
    }
}

struct Fleet {
    const std::vector<PortConfig>& ports;
    const CGroupsDB& directory;
    const std::vector<QueueDescription>& queues;
};

/// Valid as long as the file.
Fleet fleetOf(const Configuration& file) {
    return {file.ports, file.directory ? *file.directory : storedDirectory(), file.queues};
}

std::string version1(const Fleet& fleet) {
    return toJson(fleet.ports, fleet.directory, true, latin1Codec()).dump();
}

std::string version2(const Fleet& fleet) {
    return written([&] {
        return describe(fleet.ports, fleet.directory, &fleet.queues, true, latin1Codec()).dump();
    });
}

std::string table(const Fleet& fleet) {
    return written([&] { return portsTable(fleet.ports, fleet.directory, true, latin1Codec()); });
}

/// Version 1 is an exact copy.
void requireVersion1(const Fleet& fleet) {
    const std::optional<Configuration> again = read(version1(fleet), false);
    require(again.has_value());
    const Fleet copy = fleetOf(*again);
    require(copy.directory == fleet.directory);
    require(version1(copy) == version1(fleet));
}

void requireWrittenAlike(const Fleet& fleet) {
    requireVersion1(fleet);
    if (const std::string text = version2(fleet); !text.empty()) {
        const std::optional<Configuration> again = read(text, false);
        require(again.has_value());
        // A group that a port names twice is read once; from then on nothing changes.
        const std::string second = version2(fleetOf(*again));
        const std::optional<Configuration> last = read(second, false);
        require(last && version2(fleetOf(*last)) == second);
    }
    if (const std::string text = table(fleet); !text.empty()) {
        if (const std::optional<Configuration> again = read(text, true)) {
            // A table has no directory.
            require(!again->directory);
            require(again->ports.size() == fleet.ports.size());
        }
    }
}

void requireHolds(const std::string& text, bool isTable) {
    const std::optional<Configuration> file = read(text, isTable);
    if (!file) return;
    for (const std::string& warning : file->warnings)
        requireLine(warning);
    if (!isTable) checkConfiguration(text, latin1Codec());
    requireWrittenAlike(fleetOf(*file));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    requireHolds(text, false);
    requireHolds(text, true);
    return 0;
}
