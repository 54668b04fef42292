// A print server for some minutes: eight threads print to its ports as a spooler does, while one
// adds, changes and removes ports, edits the printer directory, switches the policy and loads the
// monitor afresh, and another one works at the dialogs. For tools/soak, which compares what this
// program says with the record of deliveries and with what the printers have.
//
//   soak-print-server DIRECTORY SECONDS SEED PORTS LARGEST RELOAD_SECONDS
//
// DIRECTORY holds printers.txt (a URL a line) and documents.bin, from which the documents are cut;
// soak_report.h tells what is written there. LARGEST is the size of the largest document.
#include <windows.h>

#include <prsht.h>
#include <winspool.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <list>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "harness/clean_state.h"
#include "harness/sheet_person.h"
#include "harness/soak/configuration.h"
#include "harness/soak/documents.h"
#include "harness/soak/gate.h"
#include "harness/soak/loaded_monitor.h"
#include "harness/soak/soak_report.h"
#include "harness/winspool/fake_spooler.h"
#include "port/policy_store.h"
#include "ui/resources/resource_ids.h"

namespace velmora::testing {
namespace {

using Block = std::vector<std::byte>;
using StartDocEntry = BOOL(WINAPI*)(HANDLE, wchar_t*, DWORD, DWORD, BYTE*);
using AddPortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*, wchar_t**);
using PortUiEntry = BOOL(WINAPI*)(const wchar_t*, HWND, const wchar_t*);

constexpr unsigned kPrinting = 8;  ///< threads
constexpr std::size_t kSmallest = 1024;
constexpr int kMostTries = 3;  ///< of a job that does not start
constexpr std::size_t kMissingPorts = 5;

struct Options {
    std::string directory;
    unsigned seconds = 0;
    unsigned seed = 0;
    std::size_t ports = 0;
    std::size_t largest = 0;
    unsigned reloadSeconds = 0;
};

std::vector<std::string> linesOf(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

class PrintServer {
  public:
    explicit PrintServer(const Options& options)
        : options_(options),
          report_(options.directory),
          documents_(options.directory + "\\documents.bin"),
          urls_(linesOf(options.directory + "\\printers.txt")),
          random_(options.seed),
          directory_(urls_, random_) {}

    int run() {
        if (!documents_.good() || urls_.empty()) return 2;
        if (!createPolicy(kDefaultMonitorKey, startPolicy())) return 2;
        monitor_.emplace();
        spooler_->xcvRoute = monitor_->monitor<XcvRoute>(16);
        storeDirectory();
        for (std::size_t i = 0; i < options_.ports; ++i) {
            SoakPort& port = ports_.emplace_back();
            port.name = "Port " + std::to_string(i + 1);
            addPort(port);
        }
        checkConfiguration();
        {
            std::vector<std::jthread> threads;
            for (unsigned i = 0; i < kPrinting; ++i)
                threads.emplace_back([this, i] {
                    print(options_.seed * 100 + i);
                    ended_.wait(false);
                });
            threads.emplace_back([this] {
                administer();
                ended_.wait(false);
            });
            threads.emplace_back([this] {
                workAtDialogs();
                ended_.wait(false);
            });
            while (!over()) {
                report_.sample(false);
                Sleep(1000);
            }
            // A last time while all threads still exist.
            reload();
            ended_ = true;
            ended_.notify_all();
        }
        monitor_->unload();
        report_.action("end", "");
        return 0;
    }

  private:
    /// Not before the library was loaded again often enough to see what stays.
    bool over() const { return report_.now() >= options_.seconds * 1000ull && reloads_ >= 2; }

    /// What an installation writes, with a record that drops nothing. Connections are closed all
    /// the time, since one for good of each job is what a server without this policy has.
    static Policy startPolicy() {
        Policy policy = installedPolicy();
        policy.deliveryRecord = 400;
        return policy;
    }

    // Printing.

    void print(unsigned seed) {
        Random random(seed);
        while (!over()) {
            const Gate::Visit visit(gate_);
            const std::size_t first = below(random, ports_.size());
            for (std::size_t i = 0; i < ports_.size(); ++i) {
                SoakPort& port = *std::next(
                    ports_.begin(), static_cast<std::ptrdiff_t>((first + i) % ports_.size()));
                const std::unique_lock use(port.inUse, std::try_to_lock);
                if (!use || !port.exists) continue;
                printTo(port, random);
                break;
            }
        }
    }

    /// Most documents are small, some are as large as they may be. In pieces of 1,024 bytes the
    /// largest would keep everybody else waiting when the library is to be loaded again.
    std::size_t documentSize(Random& random) const {
        const std::size_t largest = prompt_ ? options_.largest : options_.largest / 16;
        if (below(random, 60) == 0) return below(random, 2) == 0 ? kSmallest : largest;
        std::size_t size = kSmallest;
        while (size < largest && below(random, 4) != 0)
            size *= 2;
        return std::min(size + below(random, size), largest);
    }

    /// The printers of the job, as far as they are certain now.
    struct Expected {
        unsigned port = 0;
        unsigned directory = 0;
        std::string targets;

        bool certain() const { return port % 2 == 0 && directory % 2 == 0; }
        bool operator==(const Expected&) const = default;
    };
    Expected expected(const SoakPort& port) {
        const std::lock_guard lock(model_);
        Expected found{port.version.now(), directoryVersion_.now(), ""};
        std::vector<std::string> urls{port.url};
        if (port.url.empty()) urls = directory_.printersOf(port.groups);
        for (const std::string& url : urls)
            found.targets += (found.targets.empty() ? "" : "|") + url;
        return found;
    }

    void printTo(const SoakPort& port, Random& random) {
        const unsigned id = ++lastJob_;
        const std::size_t size = documentSize(random);
        constexpr std::size_t kBuffers[] = {512, 4096, 16384, 65536, 200000};
        std::size_t buffer = kBuffers[below(random, std::size(kBuffers))];
        // Large documents are not written in tiny pieces.
        if (size > kSmallest * 256) buffer = std::max(buffer, std::size_t{16384});
        // Somebody deletes the job while it prints.
        const std::size_t given = below(random, 25) == 0 ? below(random, size) : size;
        const auto begin = report_.now();
        HANDLE handle = nullptr;
        if (!monitor_->monitor<OpenPort2Entry>(2)(nullptr, port.wideName().c_str(), &handle)) {
            report_.finding("a port that exists does not open: " + port.name);
            return;
        }
        const Expected before = expected(port);
        wchar_t printer[] = L"Queue";
        std::wstring name = L"soak " + std::to_wstring(id);
        DOC_INFO_1W document{name.data(), nullptr, nullptr};
        bool started = false;
        int tries = 0;
        while (!started && tries < kMostTries) {
            ++tries;
            started = monitor_->monitor<StartDocEntry>(4)(handle, printer, id, 1,
                                                          reinterpret_cast<BYTE*>(&document));
        }
        const bool certain = before.certain() && before == expected(port);
        std::size_t written = 0;
        bool failed = false;
        if (started) {
            written = write(handle, id, size, given, buffer, failed);
            // The spooler ends every job that has started.
            monitor_->monitor<PortCall>(7)(handle);
        }
        monitor_->monitor<PortCall>(8)(handle);
        std::string line = std::to_string(begin) + "," + std::to_string(report_.now()) + "," +
                           std::to_string(id) + "," + port.name;
        for (const std::size_t number : {size, buffer, given, written, std::size_t(tries),
                                         std::size_t(started), std::size_t(failed)})
            line += "," + std::to_string(number);
        report_.job(line + "," + (certain ? before.targets : "?"));
    }

    /// How much of the document the monitor has taken; `failed`: it did not take all of `given`.
    std::size_t write(HANDLE handle, unsigned id, std::size_t size, std::size_t given,
                      std::size_t buffer, bool& failed) const {
        std::vector<std::byte> area(buffer);
        std::size_t written = 0;
        while (written < given && !failed) {
            const std::size_t count = std::min(buffer, given - written);
            documents_.copy(id, size, written, area.data(), count);
            DWORD taken = 0;
            failed = !monitor_->monitor<PortTransfer>(5)(
                handle, reinterpret_cast<BYTE*>(area.data()), static_cast<DWORD>(count), &taken);
            failed = failed || taken == 0;
            written += taken;
        }
        return written;
    }

    // Configuring. A dialog may be open while somebody else works at another port.

    void administer() {
        auto lastReload = report_.now();
        while (!over()) {
            if (report_.now() - lastReload >= options_.reloadSeconds * 1000ull) {
                reload();
                lastReload = report_.now();
            }
            {
                const Gate::Visit visit(gate_);
                administerOnce();
            }
            Sleep(static_cast<DWORD>(50 + below(random_, 200)));
        }
    }

    void administerOnce() {
        const std::size_t choice = below(random_, 10);
        SoakPort& port =
            *std::next(ports_.begin(), static_cast<std::ptrdiff_t>(below(random_, ports_.size())));
        const std::unique_lock configuring(port.configuring, std::try_to_lock);
        if (choice < 3) {
            if (configuring && port.exists) configurePort(port);
        } else if (choice < 6) {
            const std::lock_guard turn(membership_);
            const std::unique_lock use(port.inUse, std::try_to_lock);
            if (!configuring || !use) return;
            if (!port.exists)
                addPort(port);
            else if (missingPorts() < kMissingPorts)
                removePort(port);
            checkPorts();
        } else if (choice < 8) {
            const std::lock_guard turn(directoryTurn_);
            editDirectory();
        } else {
            switchPolicy();
        }
    }

    std::size_t missingPorts() const {
        return static_cast<std::size_t>(
            std::ranges::count_if(ports_, [](const SoakPort& port) { return !port.exists; }));
    }

    void expectSuccess(DWORD status, const char* what, const std::string& object) {
        report_.action(what, object);
        if (status != 0)
            report_.finding(std::string(what) + " " + object + ": error " + std::to_string(status));
    }

    void chooseTargets(SoakPort& port) {
        const std::lock_guard lock(model_);
        port.url.clear();
        port.groups.clear();
        if (below(random_, 2) == 0)
            port.url = urls_[below(random_, urls_.size())];
        else
            port.groups = directory_.someGroups(random_);
    }

    /// With `port.inUse`, `port.configuring` and `membership_`.
    void addPort(SoakPort& port) {
        expectSuccess(monitor_->xcv(L"AddPort", port.wideName()), "AddPort", port.name);
        configurePort(port);
        port.exists = true;
    }

    /// With `port.configuring`.
    void configurePort(SoakPort& port) {
        const Version::Change change(port.version);
        chooseTargets(port);
        expectSuccess(monitor_->xcv(L"ConfigPort", port.record()), "ConfigPort", port.name);
    }

    /// With the same.
    void removePort(SoakPort& port) {
        expectSuccess(monitor_->xcv(L"DeletePort", port.wideName()), "DeletePort", port.name);
        port.exists = false;
    }

    void editDirectory() {
        const Version::Change change(directoryVersion_);
        {
            const std::lock_guard lock(model_);
            directory_.edit(random_);
        }
        storeDirectory();
    }

    /// The stored nodes become ours; what follows them is kept.
    void storeDirectory() {
        Block stored;
        expectSuccess(monitor_->xcv(L"GetGroupsDB", nullptr, 0, &stored), "GetGroupsDB", "");
        Block sent = directory_.nodes();
        if (storedNodes_ == 0 || stored.size() < storedNodes_)
            sent.resize(sent.size() + 4);  // no printers of ports
        else
            sent.insert(sent.end(), stored.begin() + static_cast<std::ptrdiff_t>(storedNodes_),
                        stored.end());
        expectSuccess(monitor_->xcv(L"SetGroupsDB", sent), "SetGroupsDB", "");
        storedNodes_ = directory_.nodes().size();
    }

    void switchPolicy() {
        struct Value {
            const char* name;
            std::vector<DWORD> choices;
        };
        static const std::vector<Value> kValues = {
            {"PromptDelivery", {1, 0}},     {"StatedSizes", {0, 1}},
            {"AdministratorsOnly", {0, 1}}, {"ConnectTimeout", {20, 30}},
            {"SendTimeout", {60, 120}},     {"ReceiveTimeout", {120, 300}},
            {"DeliveryRecord", {200, 400}}, {"EventLog", {0, 1, 2}}};
        // Prompt delivery is not off for long: it is where most of the work is.
        const Value& value = kValues[prompt_ ? below(random_, kValues.size()) : 0];
        const DWORD number = prompt_ ? value.choices[below(random_, value.choices.size())] : 1;
        HKEY key = nullptr;
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, policyRegistryKey(kDefaultMonitorKey).c_str(), 0,
                      KEY_WRITE, &key);
        const LSTATUS status = RegSetValueExA(
            key, value.name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
        RegCloseKey(key);
        if (&value == &kValues[0]) prompt_ = number != 0;
        expectSuccess(static_cast<DWORD>(status), "policy",
                      value.name + ("=" + std::to_string(number)));
    }

    /// Unloads the library and loads it again while nobody uses it. Afterwards everything is as
    /// before.
    void reload() {
        const std::lock_guard oneAtATime(reloading_);
        const Gate::Closed closed(gate_);
        if (!monitor_->unload()) report_.finding("the library stays loaded");
        report_.sample(true);
        monitor_->load();
        spooler_->xcvRoute = monitor_->monitor<XcvRoute>(16);
        spooler_->calls[0] = '\0';
        report_.action("reload", "");
        checkConfiguration();
        ++reloads_;
    }

    void checkConfiguration() {
        checkPorts();
        checkDirectory();
        for (const SoakPort& port : ports_)
            if (port.exists) checkRecord(port);
    }

    void checkPorts() {
        const auto enumerate = monitor_->monitor<EnumPorts2Entry>(1);
        std::vector<BYTE> buffer(16384);
        DWORD needed = 0;
        DWORD count = 0;
        if (!enumerate(nullptr, nullptr, 2, buffer.data(), static_cast<DWORD>(buffer.size()),
                       &needed, &count)) {
            report_.finding("EnumPorts fails with error " + std::to_string(GetLastError()));
        }
        std::multiset<std::wstring> found;
        for (DWORD i = 0; i < count; ++i)
            found.insert(reinterpret_cast<const PORT_INFO_2W*>(buffer.data())[i].pPortName);
        std::multiset<std::wstring> ours;
        for (const SoakPort& port : ports_)
            if (port.exists) ours.insert(port.wideName());
        if (found != ours) report_.finding("the ports are not those that were made");
    }

    void checkRecord(const SoakPort& port) {
        Block record;
        monitor_->xcv(L"GetConfigInfo", port.name.c_str(), port.name.size() + 1, &record);
        if (record != port.record())
            report_.finding("the record of " + port.name + " is not the one that was stored");
    }

    void checkDirectory() {
        Block stored;
        monitor_->xcv(L"GetGroupsDB", nullptr, 0, &stored);
        const Block ours = directory_.nodes();
        if (stored.size() < ours.size() || !std::equal(ours.begin(), ours.end(), stored.begin()))
            report_.finding("the directory is not the one that was stored");
    }

    // Dialogs, which one thread shows.

    void workAtDialogs() {
        Random random(options_.seed + 1);
        while (!over()) {
            {
                const Gate::Visit visit(gate_);
                workAtDialog(random);
            }
            Sleep(static_cast<DWORD>(200 + below(random, 1500)));
        }
    }

    static void typeInto(HWND sheet, int control, const std::string& text) {
        const auto page = reinterpret_cast<HWND>(SendMessageA(sheet, PSM_GETCURRENTPAGEHWND, 0, 0));
        SetDlgItemTextA(page, control, text.c_str());
    }

    void workAtDialog(Random& random) {
        SoakPort& port =
            *std::next(ports_.begin(), static_cast<std::ptrdiff_t>(below(random, ports_.size())));
        const std::string url = urls_[below(random, urls_.size())];
        const bool confirms = below(random, 3) != 0;
        SheetSteps steps;
        for (const int page : {1, 2, 0})
            if (below(random, 2) == 0 || page == 0)
                steps.emplace_back([page](HWND sheet) { openPage(sheet, page); });
        const std::unique_lock configuring(port.configuring, std::try_to_lock);
        if (!configuring) return;
        // Whoever presses OK stores the directory too, as it was when the dialog opened.
        const std::lock_guard turn(directoryTurn_);
        if (port.exists && below(random, 4) != 0) {
            configureByDialog(port, url, confirms, steps);
            checkDirectory();
            return;
        }
        const std::lock_guard members(membership_);
        const std::unique_lock use(port.inUse, std::try_to_lock);
        if (!use) return;
        if (!port.exists)
            addPortByDialog(port, url, confirms, steps);
        else if (missingPorts() < kMissingPorts)
            removeByInterface(port);
        checkPorts();
        checkDirectory();
    }

    /// With `port.inUse`, `port.configuring` and `membership_`. No dialog asks.
    void removeByInterface(SoakPort& port) {
        const BOOL done = monitor_->ui<PortUiEntry>(3)(nullptr, nullptr, port.wideName().c_str());
        expectSuccess(done ? 0 : 1, "DeletePortUI", port.name);
        port.exists = false;
    }

    void finishSteps(SheetSteps& steps, bool confirms) {
        if (confirms)
            steps.emplace_back(
                [](HWND sheet) { PostMessageA(sheet, PSM_PRESSBUTTON, PSBTN_OK, 0); });
    }

    /// With `port.inUse`, `port.configuring` and `membership_`.
    void addPortByDialog(SoakPort& port, const std::string& url, bool confirms, SheetSteps steps) {
        const Version::Change change(port.version);
        steps.emplace_back([&](HWND sheet) {
            typeInto(sheet, IDC_PORT_NAME, port.name);
            typeInto(sheet, IDC_PORT_URL, url);
        });
        finishSteps(steps, confirms);
        const SheetPerson person(steps);
        const BOOL added =
            monitor_->ui<AddPortUiEntry>(1)(nullptr, nullptr, L"Port Monitor Name", nullptr);
        expectSuccess((added != FALSE) == confirms && person.sheets() == 1 ? 0 : 1, "AddPortUI",
                      port.name + (confirms ? "" : " cancelled"));
        if (!confirms) return;
        {
            const std::lock_guard lock(model_);
            port.url = url;
            port.groups.clear();
        }
        port.exists = true;
        checkRecord(port);
    }

    /// With `port.configuring`.
    void configureByDialog(SoakPort& port, const std::string& url, bool confirms,
                           SheetSteps steps) {
        std::optional<Version::Change> change;
        if (confirms) change.emplace(port.version);
        const bool single = !port.url.empty();
        if (single) steps.emplace_back([&](HWND sheet) { typeInto(sheet, IDC_PORT_URL, url); });
        finishSteps(steps, confirms);
        const SheetPerson person(steps);
        const BOOL done = monitor_->ui<PortUiEntry>(2)(nullptr, nullptr, port.wideName().c_str());
        const DWORD error = done ? 0 : GetLastError();
        expectSuccess(error == 0 && person.sheets() != 1 ? ERROR_NO_MORE_ITEMS : error,
                      "ConfigurePortUI", port.name + (confirms ? "" : " cancelled"));
        if (confirms && single && done) {
            const std::lock_guard lock(model_);
            port.url = url;
        }
        checkRecord(port);
    }

    Options options_;
    FakeSpooler spooler_;
    SoakReport report_;
    DocumentStore documents_;
    std::vector<std::string> urls_;
    Gate gate_;
    std::mutex reloading_;
    std::atomic<int> reloads_ = 0;
    std::atomic<bool> ended_ = false;
    std::atomic<bool> prompt_ = true;  ///< the policy for jobs that begin now
    std::mutex directoryTurn_;         ///< whose turn it is to edit the directory
    std::mutex membership_;            ///< which ports there are
    std::mutex model_;                 ///< what is configured
    Random random_;                    ///< of whoever administers
    SoakDirectory directory_;
    Version directoryVersion_;
    std::size_t storedNodes_ = 0;  ///< bytes
    std::list<SoakPort> ports_;
    std::optional<LoadedMonitor> monitor_;
    std::atomic<unsigned> lastJob_ = 0;
};

}  // namespace
}  // namespace velmora::testing

int main(int count, char** words) {
    if (count != 7) {
        std::fprintf(stderr, "soak-print-server: see its source\n");
        return 2;
    }
    const auto number = [&](int word) {
        return static_cast<unsigned>(std::strtoul(words[word], nullptr, 10));
    };
    velmora::testing::PrintServer server(
        {words[1], number(2), number(3), number(4), number(5), number(6)});
    return server.run();
}
