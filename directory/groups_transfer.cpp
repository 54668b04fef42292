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

void readNode(ByteReader& reader, CGroupsDB& directory) {
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
    directory.ReserveId(id);
    if (node == nullptr) return;
    node->id = id;
    node->parent = parent;
    node->name = name;
    directory.Insert(std::move(node));
}

void readPortPrinter(ByteReader& reader, CGroupsDB& directory) {
    auto printer = std::make_unique<CGroupsDBPrinter>();
    printer->name = reader.text();
    readAddress(reader, printer->address);
    directory.InsertPortPrinter(std::move(printer));
}

/// Reads a count and that many entries with `readEntry`, as far as the payload goes.
template <class ReadEntry>
void readTable(ByteReader& reader, ReadEntry readEntry, CGroupsDB& directory) {
    for (std::uint32_t left = reader.u32(); left > 0 && reader.ok(); --left)
        readEntry(reader, directory);
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
    readTable(reader, readNode, received);
    readTable(reader, readPortPrinter, received);
    if (!reader.ok()) return false;
    nodes_.swap(received.nodes_);
    portPrinters_.swap(received.portPrinters_);
    nextId_ = received.nextId_;
    return true;
}

}  // namespace velmora
