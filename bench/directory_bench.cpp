#include <windows.h>

#include <shlwapi.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "bench/report.h"
#include "directory/groups_db.h"
#include "directory/groups_store.h"

// The printer directory, which every task loads whole and every change saves whole: beside the bare
// registry calls on the same keys, a plain copy of the payload's bytes, and one pass over the
// records.

namespace velmora::bench {
namespace {

const std::string kBase = "Software\\VelmoraBench\\Ipp\\PortMonitor\\1.1";
const std::string kGroups = kBase + "\\Printer groups";
const std::string kPrinters = kBase + "\\Printers";

/// `nodes` records, every tenth a group, groups ten to a group; and a tenth as many port printers.
/// Every second printer has credentials.
void fill(CGroupsDB& directory, std::uint32_t nodes) {
    directory.Clear();
    auto root = std::make_unique<CGroupsDBGroup>();
    root->id = 1;
    root->name = "All groups";
    directory.Insert(std::move(root));
    std::vector<std::uint32_t> groups{1};
    for (std::uint32_t i = 1; i < nodes; ++i) {
        const std::uint32_t parent =
            groups[i % 10 == 0 ? (groups.size() - 1) / 10 : i % groups.size()];
        const std::string number = std::to_string(i);
        if (i % 10 == 0) {
            groups.push_back(directory.AddGroup("Floor " + number, parent)->id);
        } else {
            directory.AddPrinter("Printer " + number,
                                 {"ipp://printer" + number + ".example/ipp/print", i % 2 == 0,
                                  i % 2 == 0 ? "user" : "", i % 2 == 0 ? "secret" : ""},
                                 parent);
        }
    }
    for (std::uint32_t i = 0; i < nodes / 10; ++i) {
        const std::string number = std::to_string(i);
        directory.SetPortPrinter("Port " + number,
                                 {"ipp://printer" + number + ".example/ipp/print", i % 2 == 0,
                                  i % 2 == 0 ? "user" : "", i % 2 == 0 ? "secret" : ""});
    }
}

class BareReader {
  public:
    void load() {
        eachSubkey(kGroups, [this](HKEY key) {
            query(key, "Parent");
            query(key, "Name");
            query(key, "Type");
            std::uint32_t type = 0;
            std::memcpy(&type, area_.data(), sizeof type);
            if (type == NODE_PRINTER) readTarget(key);
        });
        eachSubkey(kPrinters, [this](HKEY key) { readTarget(key); });
    }

  private:
    template <class Read>
    void eachSubkey(const std::string& path, Read read) {
        HKEY parent = nullptr;
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &parent);
        std::array<char, 1024> name;
        for (DWORD i = 0; RegEnumKeyA(parent, i, name.data(), sizeof name) == ERROR_SUCCESS; ++i) {
            HKEY key = nullptr;
            RegOpenKeyExA(parent, name.data(), 0, KEY_READ, &key);
            read(key);
            RegCloseKey(key);
        }
        RegCloseKey(parent);
    }

    bool query(HKEY key, const char* name) {
        DWORD size = sizeof area_;
        return RegQueryValueExA(key, name, nullptr, nullptr, area_.data(), &size) == ERROR_SUCCESS;
    }

    void readTarget(HKEY key) {
        query(key, "URI");
        if (query(key, "User name")) query(key, "Password");
    }

    std::array<BYTE, 1024> area_{};
};

class BareWriter {
  public:
    explicit BareWriter(const CGroupsDB& directory) {
        for (const auto& [id, node] : directory.nodes())
            nodes_.push_back({std::to_string(id), node.get()});
        for (const auto& [name, printer] : directory.portPrinters())
            printers_.push_back({name, printer.get()});
    }

    void save() const {
        SHDeleteKeyA(HKEY_LOCAL_MACHINE, kGroups.c_str());
        SHDeleteKeyA(HKEY_LOCAL_MACHINE, kPrinters.c_str());
        eachRecord(kGroups, nodes_, [](HKEY key, const CGroupsDBNode& node) {
            setNumber(key, "Parent", node.parent);
            setText(key, "Name", node.name);
            setNumber(key, "Type", node.type);
            if (node.type == NODE_PRINTER) setTarget(key, node);
        });
        eachRecord(kPrinters, printers_, setTarget);
    }

  private:
    struct Record {
        std::string key;
        const CGroupsDBNode* node;
    };

    template <class Write>
    static void eachRecord(const std::string& path, const std::vector<Record>& records,
                           Write write) {
        HKEY parent = nullptr;
        RegCreateKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &parent);
        for (const Record& record : records) {
            HKEY key = nullptr;
            RegCreateKeyA(parent, record.key.c_str(), &key);
            write(key, *record.node);
            RegCloseKey(key);
        }
        RegCloseKey(parent);
    }

    static void setNumber(HKEY key, const char* name, std::uint32_t value) {
        RegSetValueExA(key, name, 0, REG_BINARY, reinterpret_cast<const BYTE*>(&value),
                       sizeof value);
    }
    static void setText(HKEY key, const char* name, const std::string& text) {
        RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>(text.size() + 1));
    }
    static void setTarget(HKEY key, const CGroupsDBNode& node) {
        const auto& printer = static_cast<const CGroupsDBPrinter&>(node);
        setText(key, "URI", printer.address.url);
        if (printer.address.useAuthentication == 0) return;
        setText(key, "User name", printer.address.userName);
        setText(key, "Password", printer.address.password);
    }

    std::vector<Record> nodes_;
    std::vector<Record> printers_;
};

/// Least times of one operation at growing sizes, for the growth at the end.
struct Growth {
    const char* name;
    double first = 0;  ///< seconds a node at the smallest size
    double last = 0;
};

class DirectoryBench {
  public:
    explicit DirectoryBench(Report& report) : report_(report) {}

    void atSize(std::uint32_t nodes) {
        RegistryGroupsStore store(kBase, "All groups");
        CGroupsDB directory(store);
        fill(directory, nodes);
        nodes_ = nodes;
        const int turns = nodes >= 10'000 ? 7 : 20;

        const BareWriter writer(directory);
        writer.save();  // every save that is measured finds the same keys to delete
        add(save_, 1e3, "ms", 1.2,
            medianOfTurns(
                turns, [&] { directory.Save(); }, [&] { writer.save(); }));
        directory.Save();  // what is loaded is what our own save has written
        BareReader reader;
        add(load_, 1e3, "ms", 1.2,
            medianOfTurns(
                turns, [&] { directory.Load(); }, [&] { reader.load(); }));
        if (directory.nodes().size() != nodes || directory.portPrinters().size() != nodes / 10)
            std::printf("the directory came back with %zu nodes\n", directory.nodes().size());

        std::vector<std::byte> payload(directory.GetSize());
        std::vector<std::byte> copy(payload.size());
        const auto copyBytes = [&] { std::memcpy(copy.data(), payload.data(), payload.size()); };
        add(serialise_, 1e6, "us", 0,
            medianOfTurns(
                50,
                [&] {
                    if (directory.GetSize() == payload.size()) directory.Serialize(payload.data());
                },
                copyBytes));
        CGroupsDB received;
        add(parse_, 1e6, "us", 0,
            medianOfTurns(
                50, [&] { received.Deserialize(payload); }, copyBytes));

        std::vector<CGroupsDBPrinter*> printers;
        std::size_t seen = 0;
        add(collect_, 1e6, "us", 0,
            medianOfTurns(
                50,
                [&] {
                    printers.clear();
                    received.CollectPrinters(1, printers);
                },
                [&] {
                    for (const auto& [id, node] : received.nodes())
                        seen += node->type;
                }));
        if (printers.empty() || seen == 0) std::printf("no printer was collected\n");
    }

    void growth() {
        for (const Growth* each : {&load_, &save_, &serialise_, &parse_, &collect_})
            report_.add({.name = std::string(each->name) + ": a node of 10,000 beside one of 100",
                         .unit = "us",
                         .value = each->last * 1e6,
                         .peer = each->first * 1e6});
    }

  private:
    void add(Growth& operation, double scale, const char* unit, double aim,
             std::pair<double, double> times) {
        const double perNode = times.first / nodes_;
        if (operation.first == 0) operation.first = perNode;
        operation.last = perNode;
        report_.add({.name = std::string(operation.name) + ", " + std::to_string(nodes_) + " nodes",
                     .unit = unit,
                     .value = times.first * scale,
                     .peer = times.second * scale,
                     .aim = aim});
    }

    Report& report_;
    std::uint32_t nodes_ = 0;
    Growth load_{"load the directory"};
    Growth save_{"save the directory"};
    Growth serialise_{"write the directory's payload"};
    Growth parse_{"read the directory's payload"};
    Growth collect_{"collect printers from the root"};
};

int run(int argc, char** argv) {
    Report report(argc, argv);
    DirectoryBench bench(report);
    for (const std::uint32_t nodes : {100u, 1'000u, 10'000u})
        bench.atSize(nodes);
    bench.growth();
    SHDeleteKeyA(HKEY_LOCAL_MACHINE, "Software\\VelmoraBench");
    return 0;
}

}  // namespace
}  // namespace velmora::bench

int main(int argc, char** argv) {
    return velmora::bench::run(argc, argv);
}
