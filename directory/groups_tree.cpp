// Operations on the group tree. A stored tree may be damaged: parents that do not exist, a node
// below itself. Every walk here therefore visits a node once and keeps its state on the heap, so it
// ends, at any depth; an intact tree is not affected.

#include <algorithm>
#include <array>
#include <deque>
#include <iterator>
#include <set>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "directory/child_index.h"
#include "directory/groups_db.h"

namespace velmora {

namespace {

/// A group that counts its printers.
struct Counted {
    std::uint32_t parent;
    std::size_t printers = 0;
    std::size_t waitsFor = 0;  ///< groups directly below that have not been counted yet
};
using Counts = std::unordered_map<std::uint32_t, Counted>;

/// Every group's children, without what is below them.
Counts countChildren(const DirectoryNodes& nodes) {
    Counts counts;
    counts.reserve(nodes.size());
    for (const auto& [id, node] : nodes)
        if (node->type != NODE_PRINTER) counts.emplace(id, Counted{node->parent});
    for (const auto& [id, node] : nodes) {
        const auto above = counts.find(node->parent);
        if (above == counts.end()) continue;
        ++(node->type == NODE_PRINTER ? above->second.printers : above->second.waitsFor);
    }
    return counts;
}

/// Adds from the lowest groups up. Groups that still wait afterwards are in a circle: a node has
/// one parent, so nothing above a circle can wait for it but the circle itself.
void addFromBelow(Counts& counts) {
    std::vector<const Counted*> ready;
    for (const auto& [id, group] : counts)
        if (group.waitsFor == 0) ready.push_back(&group);
    while (!ready.empty()) {
        const Counted& group = *ready.back();
        ready.pop_back();
        const auto above = counts.find(group.parent);
        if (above == counts.end()) continue;
        above->second.printers += group.printers;
        if (--above->second.waitsFor == 0) ready.push_back(&above->second);
    }
}

/// From any group of a circle the whole circle is reached.
void addCircle(Counts& counts, Counted& start) {
    std::vector<Counted*> circle;
    std::size_t printers = 0;
    for (Counted* group = &start; group->waitsFor != 0;
         group = &counts.find(group->parent)->second) {
        group->waitsFor = 0;
        printers += group->printers;
        circle.push_back(group);
    }
    for (Counted* const group : circle)
        group->printers = printers;
}

/// The printers below groups, depth first. A group that was entered before adds nothing.
class PrinterWalk {
  public:
    explicit PrinterWalk(const DirectoryNodes& nodes) : index_(nodes) {}

    void enter(std::uint32_t group) {
        if (!entered_.insert(group).second) return;
        std::vector<std::span<const ChildIndex::Entry>> levels{index_.childrenOf(group)};
        while (!levels.empty()) {
            if (levels.back().empty()) {
                levels.pop_back();
                continue;
            }
            CGroupsDBNode* const child = levels.back().front().node;
            levels.back() = levels.back().subspan(1);
            if (child->type == NODE_PRINTER) {
                printers_.push_back(static_cast<CGroupsDBPrinter*>(child));
            } else if (entered_.insert(child->id).second) {
                levels.push_back(index_.childrenOf(child->id));
            }
        }
    }

    std::vector<CGroupsDBPrinter*> printers() { return std::move(printers_); }

  private:
    ChildIndex index_;
    std::unordered_set<std::uint32_t> entered_;
    std::vector<CGroupsDBPrinter*> printers_;
};

}  // namespace

std::unordered_map<std::uint32_t, std::size_t> printerCounts(const DirectoryNodes& nodes) {
    Counts counts = countChildren(nodes);
    addFromBelow(counts);
    for (auto& [id, group] : counts)
        if (group.waitsFor != 0) addCircle(counts, group);
    std::unordered_map<std::uint32_t, std::size_t> printers;
    printers.reserve(counts.size());
    for (const auto& [id, group] : counts)
        printers.emplace(id, group.printers);
    return printers;
}

void SetNodeParent(CGroupsDBNode& node, std::uint32_t parent) {
    node.parent = parent;
}

void CGroupsDB::enterNew(std::unique_ptr<CGroupsDBNode> node, const std::string& name,
                         std::uint32_t parent) {
    // Ids start again at 0 after 2^32 - 1, so the next one can be taken: a new record must not
    // replace one that exists.
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
    std::vector<CGroupsDBPrinter*> found = CollectPrinters(std::array{group});
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

std::vector<CGroupsDBPrinter*> CGroupsDB::CollectPrinters(
    std::span<const std::uint32_t> groups) const {
    PrinterWalk walk(nodes_);
    for (const std::uint32_t group : groups)
        if (FindGroup(group) != nullptr) walk.enter(group);
    return walk.printers();
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
    for (std::size_t left = nodes_.size(); left > 0; --left) {
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
