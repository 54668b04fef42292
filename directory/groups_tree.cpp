// Operations on the group tree. A stored tree may be damaged: parents that do not exist, a node
// below itself. Every walk here therefore visits a node once and keeps its state on the heap, so it
// ends, and at any depth; a sound tree does not notice.

#include <algorithm>
#include <deque>
#include <iterator>
#include <set>
#include <span>
#include <unordered_set>
#include <utility>

#include "directory/child_index.h"
#include "directory/groups_db.h"

namespace velmora {

std::vector<CGroupsDBPrinter*> printersBelow(const ChildIndex& index, std::uint32_t group) {
    std::vector<CGroupsDBPrinter*> printers;
    std::unordered_set<std::uint32_t> entered{group};
    std::vector<std::span<const ChildIndex::Entry>> levels{index.childrenOf(group)};
    while (!levels.empty()) {
        if (levels.back().empty()) {
            levels.pop_back();
            continue;
        }
        CGroupsDBNode* const child = levels.back().front().node;
        levels.back() = levels.back().subspan(1);
        if (child->type == NODE_PRINTER) {
            printers.push_back(static_cast<CGroupsDBPrinter*>(child));
        } else if (entered.insert(child->id).second) {
            levels.push_back(index.childrenOf(child->id));
        }
    }
    return printers;
}

void SetNodeParent(CGroupsDBNode& node, std::uint32_t parent) {
    node.parent = parent;
}

void CGroupsDB::enterNew(std::unique_ptr<CGroupsDBNode> node, const std::string& name,
                         std::uint32_t parent) {
    // Ids start again at 0 behind 2^32 - 1, so the next one can be taken: a record that is there
    // must not be lost to a new one.
    while (nodes_.contains(nextId_))
        ++nextId_;
    node->id = nextId_++;
    node->parent = parent;
    node->name = name;
    const std::uint32_t id = node->id;
    nodes_.emplace_hint(nodes_.end(), id, std::move(node));
}

CGroupsDBGroup* CGroupsDB::AddGroup(const std::string& name, std::uint32_t parent) {
    auto group = std::make_unique<CGroupsDBGroup>();
    CGroupsDBGroup* const record = group.get();
    enterNew(std::move(group), name, parent);
    return record;
}

CGroupsDBPrinter* CGroupsDB::AddPrinter(const std::string& name, const PrinterAddress& address,
                                        std::uint32_t parent) {
    auto printer = std::make_unique<CGroupsDBPrinter>();
    printer->address = address;
    CGroupsDBPrinter* const record = printer.get();
    enterNew(std::move(printer), name, parent);
    return record;
}

CGroupsDBNode* CGroupsDB::FindNode(std::uint32_t id) const {
    const auto found = nodes_.find(id);
    return found == nodes_.end() ? nullptr : found->second.get();
}

CGroupsDBGroup* CGroupsDB::FindGroup(std::uint32_t id) const {
    CGroupsDBNode* const node = FindNode(id);
    return node != nullptr && node->type == NODE_GROUP ? static_cast<CGroupsDBGroup*>(node)
                                                       : nullptr;
}

CGroupsDBPrinter* CGroupsDB::FindPrinter(std::uint32_t id) const {
    CGroupsDBNode* const node = FindNode(id);
    return node != nullptr && node->type == NODE_PRINTER ? static_cast<CGroupsDBPrinter*>(node)
                                                         : nullptr;
}

void CGroupsDB::GetChildren(std::uint32_t parent, std::vector<CGroupsDBNode*>& list) const {
    for (const auto& [id, node] : nodes_) {
        if (node->parent == parent) list.push_back(node.get());
    }
}

void CGroupsDB::GetGroups(std::vector<CGroupsDBGroup*>& list) const {
    for (const auto& [id, node] : nodes_) {
        if (node->type == NODE_GROUP) list.push_back(static_cast<CGroupsDBGroup*>(node.get()));
    }
}

void CGroupsDB::CollectPrinters(std::uint32_t group, std::vector<CGroupsDBPrinter*>& list) const {
    if (FindGroup(group) == nullptr) return;
    std::vector<CGroupsDBPrinter*> found = printersBelow(ChildIndex(nodes_), group);
    if (list.empty()) {
        list = std::move(found);
        return;
    }
    std::unordered_set<CGroupsDBPrinter*> missing(found.begin(), found.end());
    for (CGroupsDBPrinter* const listed : list)
        missing.erase(listed);
    std::ranges::copy_if(found, std::back_inserter(list),
                         [&](CGroupsDBPrinter* printer) { return missing.contains(printer); });
}

void CGroupsDB::RenameNode(std::uint32_t id, const std::string& name) {
    if (CGroupsDBNode* const node = FindNode(id)) node->name = name;
}

void CGroupsDB::UpdatePrinter(const CGroupsDBPrinter& printer) {
    CGroupsDBPrinter* const stored = FindPrinter(printer.id);
    if (stored == nullptr) return;
    stored->name = printer.name;
    stored->address = printer.address;
}

bool CGroupsDB::CanPlace(const CGroupsDBNode& node, std::uint32_t target) const {
    for (const auto& [id, other] : nodes_) {
        if (other->parent == target && other->name == node.name) return false;
    }
    std::uint32_t id = target;
    // A way up that is longer than the tree has nodes goes round in a circle that the node is not
    // part of.
    for (std::size_t steps = 0; steps <= nodes_.size(); ++steps) {
        const CGroupsDBNode* const record = FindNode(id);
        if (record == &node) return false;
        if (record == nullptr || record->parent == 0) return true;
        id = record->parent;
    }
    return true;
}

CGroupsDBNode* CGroupsDB::CopySubtree(const CGroupsDBNode& node, std::uint32_t target) {
    const ChildIndex index(nodes_);
    std::unordered_set<const CGroupsDBNode*> queued{&node};
    std::deque<std::pair<const CGroupsDBNode*, std::uint32_t>> queue{{&node, target}};
    CGroupsDBNode* top = nullptr;
    while (!queue.empty()) {
        const auto [source, parent] = queue.front();
        queue.pop_front();
        CGroupsDBNode* copy = nullptr;
        if (source->type == NODE_PRINTER) {
            const auto& printer = static_cast<const CGroupsDBPrinter&>(*source);
            copy = AddPrinter(printer.name, printer.address, parent);
        } else {
            copy = AddGroup(source->name, parent);
            for (const auto& child : index.childrenOf(source->id)) {
                if (queued.insert(child.node).second) queue.emplace_back(child.node, copy->id);
            }
        }
        if (source == &node) top = copy;
    }
    return top;
}

void CGroupsDB::DeleteNode(std::uint32_t id) {
    const ChildIndex index(nodes_);
    std::set<std::uint32_t> doomed{id};
    std::vector<std::uint32_t> pending{id};
    while (!pending.empty()) {
        const std::uint32_t parent = pending.back();
        pending.pop_back();
        for (const auto& child : index.childrenOf(parent)) {
            if (doomed.insert(child.id).second) pending.push_back(child.id);
        }
    }
    for (const std::uint32_t each : doomed)
        nodes_.erase(each);
}

}  // namespace velmora
