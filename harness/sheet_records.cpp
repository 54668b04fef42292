#include "harness/sheet_records.h"

#include <utility>

#include "directory/groups_db.h"
#include "harness/empty_directory.h"
#include "port/port_config.h"

namespace velmora::testing {

CGroupsDB sampleDirectory() {
    CGroupsDB directory = emptyDirectory();
    directory.AddGroup("A", 1);
    directory.AddPrinter("a1", {"ipp://a1", false, "", ""}, 2);
    directory.AddPrinter("a2", {"ipp://a2", false, "", ""}, 2);
    directory.AddGroup("B", 1);
    directory.AddPrinter("b1", {"ipp://b1", false, "", ""}, 5);
    directory.AddGroup("C", 2);
    directory.AddPrinter("c1", {"ipp://c1", false, "", ""}, 7);
    return directory;
}

namespace {

void addLines(const CGroupsDB& directory, std::uint32_t parent, std::size_t level,
              std::vector<std::string>& lines) {
    std::vector<CGroupsDBNode*> children;
    directory.GetChildren(parent, children);
    for (const CGroupsDBNode* child : children) {
        lines.push_back(std::string(level, ' ') + child->name);
        addLines(directory, child->id, level + 1, lines);
    }
}

}  // namespace

struct SheetRecords::Held {
    CGroupsDB directory = sampleDirectory();
    PortConfig config;
};

SheetRecords::SheetRecords()
    : held_(std::make_unique<Held>()),
      directory(held_->directory),
      config(held_->config),
      jobTemplate(held_->config.jobTemplate) {}

SheetRecords::~SheetRecords() = default;

void SheetRecords::useSinglePort() {
    config = singlePort();
}

void SheetRecords::useMultiPort(std::vector<std::uint32_t> groups, const std::string& name) {
    config = multiPort(std::move(groups));
    config.name = name;
}

std::vector<std::byte> SheetRecords::packed() const {
    return pack(config);
}

void SheetRecords::clearDirectory() {
    directory = emptyDirectory();
}

std::uint32_t SheetRecords::addGroup(const std::string& name, std::uint32_t parent) {
    return directory.AddGroup(name, parent)->id;
}

void SheetRecords::addPrinter(const std::string& name, const PrinterAddress& address,
                              std::uint32_t parent) {
    directory.AddPrinter(name, address, parent);
}

void SheetRecords::deleteNode(std::uint32_t id) {
    directory.DeleteNode(id);
}

std::size_t SheetRecords::nodeCount() const {
    return directory.nodes().size();
}

std::vector<std::string> SheetRecords::namesIn(std::uint32_t group) const {
    std::vector<CGroupsDBNode*> children;
    directory.GetChildren(group, children);
    std::vector<std::string> names;
    for (const CGroupsDBNode* child : children)
        names.push_back(child->name);
    return names;
}

CGroupsDBNode* SheetRecords::named(const std::string& name) const {
    for (const auto& [id, node] : directory.nodes())
        if (node->name == name) return node.get();
    return nullptr;
}

std::vector<std::string> SheetRecords::outline() const {
    std::vector<std::string> lines;
    addLines(directory, 0, 0, lines);
    return lines;
}

void SheetRecords::setPortPrinter(const std::string& port, const PrinterAddress& address) {
    directory.SetPortPrinter(port, address);
}

std::map<std::string, PrinterAddress> SheetRecords::portPrinters() const {
    std::map<std::string, PrinterAddress> addresses;
    for (const auto& [port, printer] : directory.portPrinters())
        addresses[port] = printer->address;
    return addresses;
}

PortConfig singlePort() {
    PortConfig config;
    config.name = "Port";
    config.singleTarget = 1;
    config.printer.url = "ipp://printer/queue";
    config.printer.useAuthentication = 1;
    config.printer.userName = "user";
    config.printer.password = "secret";
    return config;
}

PortConfig multiPort(std::vector<std::uint32_t> groups) {
    PortConfig config;
    config.name = "Port";
    config.targetIds = std::move(groups);
    return config;
}

}  // namespace velmora::testing
