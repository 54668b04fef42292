#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora {
class CGroupsDB;
struct JobTemplate;
struct PortConfig;
}  // namespace velmora

namespace velmora::testing {

/// The root group and below it: A (2) with two printers, B (5) with one, C (7) inside A with one.
CGroupsDB sampleDirectory();

/// A single-printer record that the sheet accepts as it is.
PortConfig singlePort();
PortConfig multiPort(std::vector<std::uint32_t> groups);

/// What a port's sheet edits, for programs that look into little of it.
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

    /// Returns the new group's id.
    std::uint32_t addGroup(const std::string& name, std::uint32_t parent);
    void deleteNode(std::uint32_t id);
    std::size_t nodeCount() const;

    CGroupsDB& directory;      ///< sampleDirectory() at first
    PortConfig& config;        ///< a new port at first
    JobTemplate& jobTemplate;  ///< that of `config`
};

}  // namespace velmora::testing
