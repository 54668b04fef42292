// The transfer form of a directory. No header, no padding; integers are 32-bit little-endian, a
// flag is one byte, a text is its bytes and one NUL.
//
//   u32   number of nodes              u32   number of port printers
//   for each, by ascending id:         for each, by ascending name (byte-wise):
//     u32   id                           text  name: the port's
//     u32   parent                       text  uri
//     text  name                         flag  hasAuth
//     u32   type: 0 group, 1 printer     text  userName
//     printers only:                     text  password: in clear
//       text  uri
//       flag  hasAuth
//       text  userName
//       text  password: in clear
//
// An entry of any other type ends after its type and is not a record, but its id counts as
// used. `nextId` does not travel: the reader moves it past every id that it meets.

#include <optional>
#include <utility>

#include "directory/groups_db.h"
#include "platform/byte_io.h"

namespace velmora {
namespace {

constexpr std::size_t kNodeSize = 3 * sizeof(std::uint32_t) + 1;
constexpr std::size_t kTargetSize = 3 + 1;
constexpr std::size_t kPortPrinterSize = kTargetSize + 1;

std::size_t textLengths(const PrinterAddress& address) noexcept {
    return address.url.size() + address.userName.size() + address.password.size();
}

const CGroupsDBPrinter* asPrinter(const CGroupsDBNode& node) noexcept {
    return node.type == NODE_PRINTER ? static_cast<const CGroupsDBPrinter*>(&node) : nullptr;
}

void writeAddress(ByteWriter& writer, const PrinterAddress& address) noexcept {
    writer.text(address.url);
    writer.u8(address.useAuthentication != 0 ? 1 : 0);
    writer.text(address.userName);
    writer.text(address.password);
}

void readAddress(ByteReader& reader, PrinterAddress& address) {
    address.url = reader.text();
    address.useAuthentication = reader.u8() != 0 ? 1 : 0;
    address.userName = reader.text();
    address.password = reader.text();
}

/// Reads an entry count; empty if the rest is too short for it, so a bogus count never drives an
/// allocation.
std::optional<std::uint32_t> readCount(ByteReader& reader, std::size_t smallestEntry) noexcept {
    const std::uint32_t count = reader.u32();
    if (!reader.ok() || count > reader.remaining() / smallestEntry) return std::nullopt;
    return count;
}

bool readNode(ByteReader& reader, CGroupsDB& directory) {
    const std::uint32_t id = reader.u32();
    const std::uint32_t parent = reader.u32();
    const std::string_view name = reader.text();
    const std::uint32_t type = reader.u32();
    std::unique_ptr<CGroupsDBNode> node;
    if (type == NODE_GROUP) {
        node = std::make_unique<CGroupsDBGroup>();
    } else if (type == NODE_PRINTER) {
        auto printer = std::make_unique<CGroupsDBPrinter>();
        readAddress(reader, printer->address);
        node = std::move(printer);
    }
    if (!reader.ok()) return false;
    directory.ReserveId(id);
    if (node == nullptr) return true;
    node->id = id;
    node->parent = parent;
    node->name = name;
    directory.Insert(std::move(node));
    return true;
}

bool readPortPrinter(ByteReader& reader, CGroupsDB& directory) {
    auto printer = std::make_unique<CGroupsDBPrinter>();
    printer->name = reader.text();
    readAddress(reader, printer->address);
    if (!reader.ok()) return false;
    directory.InsertPortPrinter(std::move(printer));
    return true;
}

/// Reads a count and that many entries with `readEntry`.
template <class ReadEntry>
bool readTable(ByteReader& reader, std::size_t smallestEntry, ReadEntry readEntry,
               CGroupsDB& directory) {
    const std::optional<std::uint32_t> count = readCount(reader, smallestEntry);
    if (!count) return false;
    for (std::uint32_t i = 0; i < *count; ++i) {
        if (!readEntry(reader, directory)) return false;
    }
    return true;
}

}  // namespace

std::size_t CGroupsDB::GetSize() const noexcept {
    std::size_t size = 2 * sizeof(std::uint32_t);
    for (const auto& [id, node] : nodes_) {
        size += kNodeSize + node->name.size();
        if (const auto* printer = asPrinter(*node))
            size += kTargetSize + textLengths(printer->address);
    }
    for (const auto& [name, printer] : portPrinters_)
        size += kPortPrinterSize + name.size() + textLengths(printer->address);
    return size;
}

void CGroupsDB::Serialize(std::byte* buffer) const noexcept {
    ByteWriter writer(buffer);
    writer.u32(static_cast<std::uint32_t>(nodes_.size()));
    for (const auto& [id, node] : nodes_) {
        writer.u32(id);
        writer.u32(node->parent);
        writer.text(node->name);
        writer.u32(node->type);
        if (const auto* printer = asPrinter(*node)) writeAddress(writer, printer->address);
    }
    writer.u32(static_cast<std::uint32_t>(portPrinters_.size()));
    for (const auto& [name, printer] : portPrinters_) {
        writer.text(name);
        writeAddress(writer, printer->address);
    }
}

bool CGroupsDB::Deserialize(std::span<const std::byte> payload) {
    CGroupsDB received;
    ByteReader reader(payload);
    if (!readTable(reader, kNodeSize, readNode, received) ||
        !readTable(reader, kPortPrinterSize, readPortPrinter, received))
        return false;
    nodes_.swap(received.nodes_);
    portPrinters_.swap(received.portPrinters_);
    nextId_ = received.nextId_;
    return true;
}

}  // namespace velmora
