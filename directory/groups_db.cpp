#include "directory/groups_db.h"

#include <utility>

namespace velmora {

void CGroupsDBPrinter::setTarget(const std::string& newUri, bool newHasAuth,
                                 const std::string& newUserName, const std::string& newPassword) {
    uri = newUri;
    hasAuth = newHasAuth ? 1 : 0;
    userName = newUserName;
    password = newPassword;
}

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

void CGroupsDB::SetPortPrinter(const std::string& portName, const std::string& uri, bool hasAuth,
                               const std::string& userName, const std::string& password) {
    // Complete before it replaces the old record: the arguments may be that record's own texts.
    auto printer = std::make_unique<CGroupsDBPrinter>();
    printer->name = portName;
    printer->setTarget(uri, hasAuth, userName, password);
    InsertPortPrinter(std::move(printer));
}

void CGroupsDB::RemovePortPrinter(const std::string& portName) {
    portPrinters_.erase(portName);
}

}  // namespace velmora
