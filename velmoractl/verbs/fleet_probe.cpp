#include "velmoractl/verbs/fleet_probe.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "port/port_config.h"
#include "port/targets.h"
#include "velmoractl/fleet_check.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/fleet_list.h"
#include "velmoractl/text/fleet_report.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

constexpr unsigned kDefaultTimeout = 10;  // of a printer
constexpr std::size_t kMostPorts = 3;     // named in a row on a terminal

/// Ports and directory that printers are chosen from.
struct Stock {
    const std::vector<PortConfig>& ports;
    const CGroupsDB& directory;
    /// Those of the directory that count; none: all.
    std::optional<std::set<std::string>> urls;
};
using UseOfStock = std::function<void(const Stock&)>;

std::vector<const CGroupsDBPrinter*> printersIn(const CGroupsDB& directory) {
    std::vector<const CGroupsDBPrinter*> printers;
    const DirectoryPaths names(directory);
    for (const auto& [id, node] : names.nodes()) {
        if (node->type == NODE_PRINTER)
            printers.push_back(static_cast<const CGroupsDBPrinter*>(node.get()));
    }
    return printers;
}

void useStored(const Session& session, const UseOfStock& use) {
    MonitorChannel(session).readAll(
        [&](const std::vector<PortConfig>& ports, const CGroupsDB& directory) {
            use({ports, directory, {}});
        });
}

/// Fleet files as they would be after their import into what is stored.
void useFiles(const Session& session, const Stock& stored, const FleetFiles& files,
              const UseOfStock& use, const std::string& what) {
    Configuration wanted = readFiles(files, stored.directory, what, "correct the file");
    try {
        // Stored printers that are not in the file are not asked.
        std::set<std::string> urls;
        if (wanted.directory) {
            for (const CGroupsDBPrinter* printer : printersIn(*wanted.directory))
                urls.insert(printer->address.url);
        }
        const ConfigurationPlan plan =
            planImport(wanted, stored.ports, stored.directory, {}, systemCodec());
        for (const std::string& warning : plan.warnings)
            session.warn(warning);
        use({wanted.ports, *plan.grown, std::move(urls)});
    } catch (const FileError& error) {
        throw CommandError(ExitCode::usage, what, error.what(), "correct the file", "bad-file");
    }
}

/// If there is no monitor, the file as it is.
void useFiles(const Session& session, const FleetFiles& files, const UseOfStock& use,
              const std::string& what) {
    std::optional<MonitorChannel> channel;
    try {
        channel.emplace(session);
    } catch (const CommandError& error) {
        if (error.code() != ExitCode::notInstalled) throw;
    }
    if (!channel) {
        const std::vector<PortConfig> noPorts;
        const ConfigurationPlan nothing;
        return useFiles(session, {noPorts, *nothing.grown, {}}, files, use, what);
    }
    channel->readAll([&](const std::vector<PortConfig>& ports, const CGroupsDB& directory) {
        useFiles(session, {ports, directory, {}}, files, use, what);
    });
}

void addPort(FleetList& list, const PortConfig& port, const CGroupsDB& directory) {
    for (const PrintTarget& target : targetsOf(port, directory))
        list.add(target, port.jobTemplate, port.name);
}

void addEverything(FleetList& list, const Stock& stock) {
    for (const PortConfig& port : stock.ports)
        addPort(list, port, stock.directory);
    for (const CGroupsDBPrinter* printer : printersIn(stock.directory)) {
        if (!stock.urls || stock.urls->contains(printer->address.url)) list.add(printer->address);
    }
}

/// The printers below the groups, with the templates of all ports that reach them.
void addGroups(FleetList& list, const Stock& stock, const std::vector<std::string>& groups,
               const std::string& what) {
    std::vector<std::uint32_t> ids;
    ids.reserve(groups.size());
    for (const std::string& group : groups)
        ids.push_back(requireGroup(stock.directory, group, what).id);
    PortConfig all;
    all.targetIds = std::move(ids);
    const std::vector<PrintTarget> chosen = targetsOf(all, stock.directory);
    const auto less = [](const PrintTarget& one, const PrintTarget& other) {
        return std::tie(one.url, one.useAuthentication, one.userName, one.password) <
               std::tie(other.url, other.useAuthentication, other.userName, other.password);
    };
    const std::set<PrintTarget, decltype(less)> wanted(chosen.begin(), chosen.end(), less);
    for (const PrintTarget& target : chosen)
        list.add(target);
    for (const PortConfig& port : stock.ports) {
        for (const PrintTarget& target : targetsOf(port, stock.directory)) {
            if (wanted.contains(target)) list.add(target, port.jobTemplate, port.name);
        }
    }
}

void addUrls(FleetList& list, const ProbeOptions& options, const std::string& what) {
    Credentials credentials = options.credentials;
    readPassword(credentials, what);
    for (const std::string& url : options.urls) {
        checkNoUserInfo(url, what);
        PrintTarget target{url, 0, "", ""};
        applyCredentials(credentials, target.useAuthentication, target.userName, target.password,
                         what);
        list.add(target);
    }
}

void addStored(FleetList& list, const Session& session, const Stock& stock,
               const ProbeOptions& options, const std::string& what) {
    if (options.all) addEverything(list, stock);
    for (const std::string& name : options.ports) {
        const auto port = std::ranges::find(stock.ports, name, &PortConfig::name);
        if (port == stock.ports.end()) {
            MonitorChannel(session).port(name);  // says how it is written, if it is there
            continue;
        }
        addPort(list, *port, stock.directory);
    }
    if (!options.groups.empty()) addGroups(list, stock, options.groups, what);
}

std::vector<FleetPrinter> chosenPrinters(const Session& session, const ProbeOptions& options,
                                         const std::string& what) {
    FleetList list;
    if (!options.files.empty()) {
        checkFiles(options.files, what);
        if (options.files.readsInput() && options.credentials.passwordFromInput) {
            throw CommandError(ExitCode::usage, what, "the standard input is named twice",
                               "give the password or the file another way");
        }
        useFiles(
            session, options.files, [&](const Stock& stock) { addEverything(list, stock); }, what);
    } else if (options.all || !options.ports.empty() || !options.groups.empty()) {
        useStored(session,
                  [&](const Stock& stock) { addStored(list, session, stock, options, what); });
    }
    addUrls(list, options, what);
    return list.printers();
}

/// Shows each printer as its result comes, on a terminal, and all of them in the end.
class FleetAnswer {
  public:
    FleetAnswer(const Session& session, const ProbeOptions& options,
                const std::vector<FleetPrinter>& printers)
        : session_(session),
          options_(options),
          live_(!session.wantsJson() && !session.quiet && isConsole(STD_OUTPUT_HANDLE) &&
                (session.output.empty() || session.output == "table")) {
        if (!live_ || printers.empty()) return;
        std::vector<FleetResult> rows;
        std::ranges::transform(printers, std::back_inserter(rows), unasked);
        widths_ = fleetWidths(rows, kMostPorts, systemCodec());
        writeOut(tableLine(fleetColumns(), Json::object(), widths_));
    }

    void tell(const FleetResult& result) const {
        if (!live_) return;
        writeOut(tableLine(fleetColumns(), toRow(result, kMostPorts, systemCodec()), widths_));
    }

    void end(const std::vector<FleetResult>& results) const {
        if (session_.wantsJson()) {
            Json rows = Json::array();
            for (const FleetResult& one : results)
                rows.push_back(toJson(one, options_.allowUnknown, systemCodec()));
            sortRows(rows, "url");
            return session_.answer(rows);
        }
        const bool quietTable = session_.quiet && session_.output.empty();
        if (!live_ && !quietTable) {
            constexpr std::size_t kAll = 1000;
            Json rows = Json::array();
            for (const FleetResult& one : results) {
                rows.push_back(
                    toRow(one, session_.output == "csv" ? kAll : kMostPorts, systemCodec()));
            }
            session_.list({fleetColumns(), "url", "There are no printers."}, std::move(rows));
        }
        if (session_.output.empty() || session_.output == "table") summarize(results);
    }

  private:
    void summarize(const std::vector<FleetResult>& results) const {
        std::map<FleetResult::State, std::size_t> counts;
        for (const FleetResult& one : results)
            ++counts[one.state()];
        std::string text;
        for (const auto& [state, count] : counts)
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + keywordOf(state);
        session_.say(std::to_string(results.size()) +
                     (results.size() == 1 ? " printer: " : " printers: ") + text);
        bool heading = false;
        for (const FleetResult& one : results) {
            const CertificateReport& certificate = one.certificate;
            if (!certificate.known || certificate.daysLeft > options_.days) continue;
            if (!heading) {
                session_.say("Certificates that have ended or end within " +
                             std::to_string(options_.days) + " days:");
            }
            heading = true;
            session_.say("  " + quotedUrl(one.url) + "  " + certificate.validUntil);
        }
    }

    const Session& session_;
    const ProbeOptions& options_;
    const bool live_;
    std::vector<std::size_t> widths_;
};

}  // namespace

void probeFleet(const Session& session, const ProbeOptions& options, const std::string& what) {
    const std::vector<FleetPrinter> printers = chosenPrinters(session, options, what);
    const unsigned seconds = options.timeoutOption.given() ? options.timeout : kDefaultTimeout;
    const FleetAnswer answer(session, options, printers);
    const std::vector<FleetResult> results =
        checkFleet(printers, std::chrono::seconds(seconds),
                   [&answer](const FleetResult& one) { answer.tell(one); });
    answer.end(results);
    const auto bad = std::ranges::count_if(
        results, [&](const FleetResult& one) { return !isReady(one, options.allowUnknown); });
    if (bad == 0) return;
    throw CommandError(ExitCode::printerProblem, what,
                       std::to_string(bad) + " of " + std::to_string(results.size()) +
                           (results.size() == 1 ? " printer is not ready"
                            : bad == 1          ? " printers is not ready"
                                                : " printers are not ready"),
                       session.quiet && !session.wantsJson()
                           ? "probe again without --quiet to read why"
                           : "the list tells why");
}

}  // namespace velmora::ctl
