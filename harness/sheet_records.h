#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/printer_address.h"

namespace velmora {
class CGroupsDB;
struct CGroupsDBNode;
struct JobTemplate;
struct PortConfig;
}  // namespace velmora

namespace velmora::testing {

/// The root group with A (2), which holds two printers and the group C (7) with one, and B (5) with
/// one.
CGroupsDB sampleDirectory();

/// A single-printer record that the sheet accepts as it is.
PortConfig singlePort();
PortConfig multiPort(std::vector<std::uint32_t> groups);

/// The records that a port's sheet edits, for tests that look at little of them.
class SheetRecords {
    struct Held;
    std::unique_ptr<Held> held_;

  public:
    SheetRecords();
    ~SheetRecords();
    SheetRecords(const SheetRecords&) = delete;
    SheetRecords& operator=(const SheetRecords&) = delete;

    void useSinglePort();
    void useMultiPort(std::vector<std::uint32_t> groups, const std::string& name = "Port");
    /// The port's record as it would be stored.
    std::vector<std::byte> packed() const;

    // Edit the directory and look into it.

    /// A directory of the root group alone.
    void clearDirectory();
    /// Returns the new group's id.
    std::uint32_t addGroup(const std::string& name, std::uint32_t parent);
    void addPrinter(const std::string& name, const PrinterAddress& address, std::uint32_t parent);
    void deleteNode(std::uint32_t id);
    std::size_t nodeCount() const;
    /// The names of a group's children.
    std::vector<std::string> namesIn(std::uint32_t group) const;
    /// The first node of that name; null if there is none.
    CGroupsDBNode* named(const std::string& name) const;
    /// The names of all nodes as their tree shows them, each after as many spaces as it has nodes
    /// above it.
    std::vector<std::string> outline() const;
    void setPortPrinter(const std::string& port, const PrinterAddress& address);
    /// By the names of their ports.
    std::map<std::string, PrinterAddress> portPrinters() const;

    CGroupsDB& directory;      ///< sampleDirectory() at first
    PortConfig& config;        ///< a new port at first
    JobTemplate& jobTemplate;  ///< that of `config`
};

}  // namespace velmora::testing
