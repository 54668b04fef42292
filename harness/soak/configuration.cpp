#include "harness/soak/configuration.h"

#include <algorithm>

#include "harness/packed_record.h"

namespace velmora::testing {
namespace {

constexpr std::uint32_t kRoot = 1;
constexpr std::uint32_t kGroups = 8;
constexpr std::size_t kMostPrinters = 48;

}  // namespace

SoakDirectory::SoakDirectory(const std::vector<std::string>& urls, Random& random) : urls_(urls) {
    nodes_.push_back({nextId_++, 0, "All groups", ""});
    for (std::uint32_t i = 0; i < kGroups; ++i) {
        const std::uint32_t id = nextId_++;
        nodes_.push_back({id, kRoot, "Floor " + std::to_string(id), ""});
    }
    for (std::uint32_t group = kRoot + 1; group <= kRoot + kGroups; ++group)
        for (std::size_t count = below(random, 6); count-- > 0;)
            addPrinter(group, random);
}

void SoakDirectory::addPrinter(std::uint32_t group, Random& random) {
    const std::uint32_t id = nextId_++;
    nodes_.push_back(
        {id, group, "Printer " + std::to_string(id), urls_[below(random, urls_.size())]});
}

std::vector<std::size_t> SoakDirectory::printerPlaces() const {
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < nodes_.size(); ++i)
        if (!nodes_[i].url.empty()) places.push_back(i);
    return places;
}

void SoakDirectory::edit(Random& random) {
    const std::vector<std::size_t> printers = printerPlaces();
    const std::uint32_t group = kRoot + 1 + static_cast<std::uint32_t>(below(random, kGroups));
    const std::size_t choice = below(random, 4);
    if (choice == 0) {
        nodes_[group - kRoot].name += nodes_[group - kRoot].name.size() < 20 ? "+" : "";
    } else if (printers.empty() || (choice == 1 && printers.size() < kMostPrinters)) {
        addPrinter(group, random);
    } else {
        const auto place = printers[below(random, printers.size())];
        if (choice == 2)
            nodes_[place].parent = group;
        else
            nodes_.erase(nodes_.begin() + static_cast<std::ptrdiff_t>(place));
    }
}

std::vector<std::byte> SoakDirectory::nodes() const {
    Bytes bytes;
    bytes.u32(static_cast<std::uint32_t>(nodes_.size()));
    for (const Node& node : nodes_) {
        bytes.u32(node.id).u32(node.parent).text(node.name).u32(node.url.empty() ? 0 : 1);
        if (!node.url.empty()) bytes.text(node.url).u8(0).text("").text("");
    }
    return bytes.data();
}

std::vector<std::string> SoakDirectory::printersOf(const std::vector<std::uint32_t>& groups) const {
    std::vector<std::string> urls;
    for (const Node& node : nodes_)
        if (!node.url.empty() && std::ranges::count(groups, node.parent) != 0)
            urls.push_back(node.url);
    return urls;
}

std::vector<std::uint32_t> SoakDirectory::someGroups(Random& random) const {
    std::vector<std::uint32_t> groups;
    const std::size_t count = 1 + below(random, 3);
    while (groups.size() < count) {
        const auto group = kRoot + 1 + static_cast<std::uint32_t>(below(random, kGroups));
        if (std::ranges::count(groups, group) == 0) groups.push_back(group);
    }
    return groups;
}

std::vector<std::byte> SoakPort::record() const {
    Bytes front = Bytes().text(name).u8(url.empty() ? 0 : 1).text(url).u8(0).text("").text("");
    front.u32(static_cast<std::uint32_t>(groups.size()));
    for (const std::uint32_t group : groups)
        front.u32(group);
    std::vector<std::byte> record = front.data();
    // The job template is that of a new port.
    const std::vector<std::byte> defaults = defaultRecord(name);
    const std::size_t fields =
        Bytes().text(name).u8(0).text("").u8(0).text("").text("").u32(0).data().size();
    record.insert(record.end(), defaults.begin() + static_cast<std::ptrdiff_t>(fields),
                  defaults.end());
    return record;
}

}  // namespace velmora::testing
