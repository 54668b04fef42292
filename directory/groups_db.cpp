#include "directory/groups_db.h"

#include <algorithm>
#include <utility>

namespace velmora {
namespace {

bool sameAddress(const CGroupsDBPrinter& one, const CGroupsDBPrinter& other) {
    return withUsedCredentials(one.address) == withUsedCredentials(other.address);
}

bool sameNode(const CGroupsDBNode& one, const CGroupsDBNode& other) {
    return one.id == other.id && one.parent == other.parent && one.name == other.name &&
           one.type == other.type &&
           (one.type != NODE_PRINTER || sameAddress(static_cast<const CGroupsDBPrinter&>(one),
                                                    static_cast<const CGroupsDBPrinter&>(other)));
}

}  // namespace

CGroupsDB::CGroupsDB(GroupsStore& store) : store_(&store) {
    Load();
}

void CGroupsDB::Clear() {
    nodes_.clear();
    portPrinters_.clear();
    nextId_ = kFirstFreeId;
}

void CGroupsDB::Load() {
    if (store_ == nullptr) return;
    Clear();
    store_->load(*this);
}

void CGroupsDB::Save() const {
    if (store_ != nullptr) store_->save(*this);
}

bool CGroupsDB::operator==(const CGroupsDB& other) const {
    return std::ranges::equal(nodes_, other.nodes_,
                              [](const auto& one, const auto& two) {
                                  return sameNode(*one.second, *two.second);
                              }) &&
           std::ranges::equal(
               portPrinters_, other.portPrinters_, [](const auto& one, const auto& two) {
                   return one.first == two.first && sameAddress(*one.second, *two.second);
               });
}

void CGroupsDB::Insert(std::unique_ptr<CGroupsDBNode> node) {
    const std::uint32_t id = node->id;
    ReserveId(id);
    // Stores and payloads mostly come in ascending order, where the hint saves the search.
    nodes_.insert_or_assign(nodes_.end(), id, std::move(node));
}

void CGroupsDB::ReserveId(std::uint32_t id) noexcept {
    if (id >= nextId_) nextId_ = id + 1;
}

void CGroupsDB::InsertPortPrinter(std::unique_ptr<CGroupsDBPrinter> printer) {
    std::string name = printer->name;
    portPrinters_.insert_or_assign(portPrinters_.end(), std::move(name), std::move(printer));
}

void CGroupsDB::SetPortPrinter(const std::string& portName, const PrinterAddress& address) {
    // Complete before it replaces the old record: the arguments may be that record's own.
    auto printer = std::make_unique<CGroupsDBPrinter>();
    printer->name = portName;
    printer->address = address;
    InsertPortPrinter(std::move(printer));
}

void CGroupsDB::RemovePortPrinter(const std::string& portName) {
    portPrinters_.erase(portName);
}

}  // namespace velmora
