#include "velmoractl/verbs/bulk.h"

#include <windows.h>

#include <algorithm>

#include "port/port_config.h"
#include "port/xcv_client.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/verbs/port_checks.h"

namespace velmora::ctl {
namespace {

CommandError nothingFits(const std::string& thing, const std::string& what) {
    return {ExitCode::notFound, what, "no " + thing + " fits",
            "\"" + thing + " list\" shows what there is; capital and small letters matter"};
}

}  // namespace

void addSelectionOptions(Verb verb, Selection& selection, const std::string& things,
                         const std::vector<std::string>& keys) {
    verb.flag("--all", selection.all, "all " + things);
    verb.texts("--match", selection.patterns,
               "the " + things +
                   " of that name; * is any number of characters, ? one; may be "
                   "repeated: one that fits is enough",
               "PATTERN");
    std::string known;
    for (const std::string& key : keys)
        known += (known.empty() ? "" : ", ") + key;
    verb.texts("--where", selection.where,
               "the " + things +
                   " whose KEY is as PATTERN says; may be repeated: all must fit. Keys: " + known,
               "KEY=PATTERN");
}

Option addUrlReplace(Verb verb, std::vector<std::string>& words) {
    return verb.texts("--url-replace", words,
                      "URLs that begin with OLD, which holds no \"=\", begin with NEW instead; may "
                      "be repeated: the first that fits counts",
                      "OLD=NEW");
}

void addDryRun(Verb verb, bool& dryRun) {
    verb.flag("--dry-run", dryRun, "only show what would be changed");
}

void checkSelection(const Selection& selection, const std::string& thing, const std::string& what) {
    if (selection.empty()) {
        throw CommandError(ExitCode::usage, what, "no " + thing + " is named",
                           "give names, or --all, --match PATTERN or --where KEY=PATTERN");
    }
    const bool byPattern = selection.all || !selection.patterns.empty();
    if (!selection.names.empty() && byPattern) {
        throw CommandError(
            ExitCode::usage, what,
            "names are given, and " + std::string(selection.all ? "--all" : "--match") + " as well",
            "give one of them");
    }
}

void checkSize(const PortConfig& port, const std::string& what) {
    const std::size_t size = packedSize(port);
    if (size <= kRecordArea) return;
    throw CommandError(ExitCode::usage, what,
                       "the port's settings are " + std::to_string(size) +
                           " bytes long, and the port dialog reads no more than " +
                           std::to_string(kRecordArea),
                       "use shorter texts, or put groups into one group above them");
}

void checkSizes(const std::vector<PortConfig>& ports, const std::string& what) {
    for (const PortConfig& port : ports)
        checkSize(port, what + ", port " + quotedAnsi(port.name));
}

std::vector<PortConfig> selectedPorts(MonitorChannel& channel, const Selection& selection,
                                      const std::string& what) {
    const Selector selector(selection, portKeys(), systemCodec(), what);
    std::vector<PortConfig> ports;
    channel.readDirectory([&](const CGroupsDB& directory) {
        if (selection.names.empty()) {
            ports = selected(channel.ports(), directory, selector);
            return;
        }
        const DirectoryPaths names(directory);
        for (const std::string& name : selection.names) {
            PortConfig port = channel.port(name);
            const bool known = std::ranges::find(ports, port) != ports.end();
            const auto values = [&](std::string_view key) { return valuesOf(port, names, key); };
            if (!known && selector.meetsConditions(values)) ports.push_back(std::move(port));
        }
    });
    if (ports.empty()) throw nothingFits("port", what);
    return ports;
}

std::vector<std::uint32_t> selectedPrinters(const CGroupsDB& directory, const Selection& selection,
                                            const std::string& what) {
    const Selector selector(selection, printerKeys(), systemCodec(), what);
    std::vector<std::uint32_t> ids;
    if (selection.names.empty()) {
        ids = selected(directory, selector);
    } else {
        for (const std::string& path : selection.names) {
            const auto& printer = static_cast<const CGroupsDBPrinter&>(
                requireNode(directory, path, NODE_PRINTER, what));
            const bool known = std::ranges::find(ids, printer.id) != ids.end();
            const auto values = [&](std::string_view key) { return valuesOf(printer, key); };
            if (!known && selector.meetsConditions(values)) ids.push_back(printer.id);
        }
    }
    if (ids.empty()) throw nothingFits("printer", what);
    return ids;
}

}  // namespace velmora::ctl
