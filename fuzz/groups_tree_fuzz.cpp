#include <cstdint>
#include <string>
#include <vector>

#include "directory/child_index.h"
#include "fuzz/require.h"
#include "harness/directory_check.h"

// The bytes are steps on a directory and on its model: additions, changes, moves, copies, deletions
// and questions, with ids at the end of their range, with parents that do not exist and with groups
// below themselves. After each step both hold the same records.

namespace {

using namespace velmora;
using namespace velmora::testing;
using Ids = ModelDirectory::Ids;

template <class Node>
Ids idsOf(const std::vector<Node*>& list) {
    Ids ids;
    for (const Node* node : list)
        ids.push_back(node->id);
    return ids;
}

class Steps {
  public:
    Steps(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {
        load({1, 0, 0, "All groups", "", 0, "", ""});
    }

    bool ended() const { return at_ == end_; }

    void step() {
        const std::uint8_t kind = byte() % 16;
        switch (kind) {
            case 0:
            case 1:
                addGroup(name(), id());
                break;
            case 2:
            case 3:
                addPrinter(id());
                break;
            case 4:
                rename(id(), name());
                break;
            case 5:
                update(id());
                break;
            case 6:
            case 7:
                move(id(), id());
                break;
            case 8:
                copy(id(), id(), true);
                break;
            case 9:
                copy(id(), id(), false);
                break;
            case 10:
                remove(id());
                break;
            case 11:
                setParent(id(), id());
                break;
            case 12:
                loadAny(id(), id());
                break;
            case 13:
                portPrinter();
                break;
            case 14:
                look(id(), id());
                break;
            default:
                travel();
                break;
        }
        require(modelOf(directory_) == model_);
    }

  private:
    std::uint8_t byte() { return ended() ? 0 : *at_++; }

    /// Mostly a small one.
    std::uint32_t id() {
        const std::uint8_t value = byte();
        if (value >= 252) return 0xFFFFFFFF - (value - 252);
        return value % 32;
    }

    std::string name() {
        static constexpr const char* kNames[] = {"A", "a", "B", "Printer", "", "\xFC", "AA", "b"};
        return kNames[byte() % 8];
    }

    NodeFields printer(std::uint32_t id, std::uint32_t parent) {
        return {id, parent, 1, name(), name() + "://", byte() % 2, name(), name()};
    }

    static PrinterAddress addressOf(const NodeFields& row) {
        return {row.uri, static_cast<std::uint8_t>(row.hasAuth), row.userName, row.password};
    }

    static void fill(CGroupsDBPrinter& record, const NodeFields& row) {
        record.id = row.id;
        record.parent = row.parent;
        record.name = row.name;
        record.address = addressOf(row);
    }

    void load(const NodeFields& row) {
        model_.load(row);
        if (row.type == 1) {
            auto record = std::make_unique<CGroupsDBPrinter>();
            fill(*record, row);
            directory_.Insert(std::move(record));
        } else {
            auto record = std::make_unique<CGroupsDBGroup>();
            record->id = row.id;
            record->parent = row.parent;
            record->name = row.name;
            directory_.Insert(std::move(record));
        }
    }

    void loadAny(std::uint32_t id, std::uint32_t parent) {
        if (byte() % 2 == 0)
            load({id, parent, 0, name(), "", 0, "", ""});
        else
            load(printer(id, parent));
    }

    void addGroup(const std::string& name, std::uint32_t parent) {
        if (isFull()) return;
        const std::uint32_t id = model_.add({0, parent, 0, name, "", 0, "", ""});
        const CGroupsDBGroup* const group = directory_.AddGroup(name, parent);
        require(group->id == id && group == directory_.FindNode(id));
    }

    void addPrinter(std::uint32_t parent) {
        if (isFull()) return;
        const NodeFields row = printer(0, parent);
        const std::uint32_t id = model_.add(row);
        require(directory_.AddPrinter(row.name, addressOf(row), parent)->id == id);
    }

    void rename(std::uint32_t id, const std::string& name) {
        if (NodeFields* const row = model_.find(id)) row->name = name;
        directory_.RenameNode(id, name);
    }

    void update(std::uint32_t id) {
        const NodeFields row = printer(id, 0);
        model_.update(row);
        CGroupsDBPrinter record;
        fill(record, row);
        directory_.UpdatePrinter(record);
    }

    bool mayPlace(std::uint32_t node, std::uint32_t target) {
        const bool allowed = model_.canPlace(node, target);
        require(directory_.CanPlace(*directory_.FindNode(node), target) == allowed);
        return allowed;
    }

    void move(std::uint32_t node, std::uint32_t target) {
        if (model_.find(node) != nullptr && mayPlace(node, target)) setParent(node, target);
    }

    void setParent(std::uint32_t node, std::uint32_t parent) {
        NodeFields* const row = model_.find(node);
        require((row != nullptr) == (directory_.FindNode(node) != nullptr));
        if (row == nullptr) return;
        row->parent = parent;
        SetNodeParent(*directory_.FindNode(node), parent);
    }

    void copy(std::uint32_t node, std::uint32_t target, bool ask) {
        if (isFull() || model_.find(node) == nullptr || (ask && !mayPlace(node, target))) return;
        const std::uint32_t id = model_.copy(node, target);
        require(directory_.CopySubtree(*directory_.FindNode(node), target)->id == id);
    }

    void remove(std::uint32_t id) {
        model_.remove(id);
        directory_.DeleteNode(id);
    }

    void portPrinter() {
        NodeFields row = printer(0, 0);
        row.type = 0;
        if (byte() % 4 == 0) {
            model_.removePortPrinter(row.name);
            directory_.RemovePortPrinter(row.name);
        } else {
            model_.enterPortPrinter(row);
            directory_.SetPortPrinter(row.name, addressOf(row));
        }
    }

    void look(std::uint32_t one, std::uint32_t other) {
        const NodeFields* const row = model_.find(one);
        require((directory_.FindGroup(one) != nullptr) == (row != nullptr && row->type == 0));
        require((directory_.FindPrinter(one) != nullptr) == (row != nullptr && row->type == 1));
        std::vector<CGroupsDBNode*> children;
        directory_.GetChildren(one, children);
        require(idsOf(children) == model_.children(one));
        std::vector<CGroupsDBGroup*> groups;
        directory_.GetGroups(groups);
        require(idsOf(groups) == model_.groups());

        Ids expected;
        std::vector<CGroupsDBPrinter*> list;
        const Ids targets{one, other, 1};
        for (const std::uint32_t target : targets) {
            model_.collect(target, expected);
            directory_.CollectPrinters(target, list);
        }
        require(idsOf(list) == expected);
        require(idsOf(directory_.CollectPrinters(targets)) == expected);

        const auto counts = printerCounts(directory_.nodes());
        require(counts.size() == model_.groups().size());
        for (const std::uint32_t group : model_.groups()) {
            Ids below;
            model_.collect(group, below);
            require(counts.at(group) == below.size());
        }
    }

    /// The directory goes on as the one that has arrived.
    void travel() {
        FlatBytes payload(directory_.GetSize());
        directory_.Serialize(reinterpret_cast<std::byte*>(payload.data()));
        require(payload == model_.written());
        require(model_.read(payload));
        require(directory_.Deserialize(std::as_bytes(std::span(payload))));
    }

    bool isFull() const { return model_.rows.size() > 60; }

    const std::uint8_t* at_;
    const std::uint8_t* const end_;
    CGroupsDB directory_;
    ModelDirectory model_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Steps steps(data, size);
    while (!steps.ended())
        steps.step();
    return 0;
}
