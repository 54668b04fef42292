#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace velmora::testing {

// The configuration of a print server as its administrator knows it.

using Random = std::mt19937;

/// From 0 up to, but not including, `end`.
inline std::size_t below(Random& random, std::size_t end) {
    return random() % end;
}

/// Counts changes: odd while one is being made.
class Version {
  public:
    unsigned now() const { return count_; }

    class Change {
      public:
        explicit Change(Version& version) : version_(version) { ++version_.count_; }
        ~Change() { ++version_.count_; }
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;

      private:
        Version& version_;
    };

  private:
    std::atomic<unsigned> count_ = 0;
};

/// The printer groups below the root and the printers in them.
class SoakDirectory {
  public:
    SoakDirectory(const std::vector<std::string>& urls, Random& random);

    /// Adds, moves or removes a printer, or renames a group.
    void edit(Random& random);
    /// The nodes in the form in which the directory travels, without the printers of ports.
    std::vector<std::byte> nodes() const;
    /// The URLs below the groups, one for each printer.
    std::vector<std::string> printersOf(const std::vector<std::uint32_t>& groups) const;
    /// The ids of one to three groups.
    std::vector<std::uint32_t> someGroups(Random& random) const;

  private:
    struct Node {
        std::uint32_t id = 0;
        std::uint32_t parent = 0;
        std::string name;
        std::string url;  ///< empty: a group
    };

    void addPrinter(std::uint32_t group, Random& random);
    std::vector<std::size_t> printerPlaces() const;

    std::vector<std::string> urls_;
    std::vector<Node> nodes_;  ///< by ascending id; the root and the groups first
    std::uint32_t nextId_ = 1;
};

/// One port. Whoever holds `inUse` prints to it; whoever holds `configuring` changes it; whoever
/// adds or removes it holds both. In this order: `configuring`, anything else, `inUse`.
struct SoakPort {
    std::mutex configuring;
    std::mutex inUse;
    std::string name;
    std::atomic<bool> exists = false;
    // Read with the configuration's mutex, changed with that and `configuring`.
    std::string url;  ///< of a single-target port
    std::vector<std::uint32_t> groups;
    Version version;

    std::wstring wideName() const { return {name.begin(), name.end()}; }
    /// The packed record.
    std::vector<std::byte> record() const;
};

}  // namespace velmora::testing
