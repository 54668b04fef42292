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

std::uint32_t SheetRecords::addGroup(const std::string& name, std::uint32_t parent) {
    return directory.AddGroup(name, parent)->id;
}

void SheetRecords::deleteNode(std::uint32_t id) {
    directory.DeleteNode(id);
}

std::size_t SheetRecords::nodeCount() const {
    return directory.nodes().size();
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
