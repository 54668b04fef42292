#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "directory/groups_db.h"

using velmora::CGroupsDB;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

std::vector<std::byte> payloadOf(const CGroupsDB& directory) {
    std::vector<std::byte> payload(directory.GetSize());
    directory.Serialize(payload.data());
    return payload;
}

bool sameTarget(const velmora::CGroupsDBPrinter& a, const velmora::CGroupsDBPrinter& b) {
    return a.address.url == b.address.url &&
           a.address.useAuthentication == b.address.useAuthentication &&
           a.address.userName == b.address.userName && a.address.password == b.address.password;
}

bool sameNode(const velmora::CGroupsDBNode& a, const velmora::CGroupsDBNode& b) {
    if (a.id != b.id || a.parent != b.parent || a.name != b.name || a.type != b.type) return false;
    return a.type == velmora::NODE_GROUP ||
           sameTarget(static_cast<const velmora::CGroupsDBPrinter&>(a),
                      static_cast<const velmora::CGroupsDBPrinter&>(b));
}

bool sameDirectory(const CGroupsDB& a, const CGroupsDB& b) {
    if (a.nodes().size() != b.nodes().size() || a.portPrinters().size() != b.portPrinters().size())
        return false;
    for (auto i = a.nodes().begin(), j = b.nodes().begin(); i != a.nodes().end(); ++i, ++j)
        if (i->first != j->first || !sameNode(*i->second, *j->second)) return false;
    for (auto i = a.portPrinters().begin(), j = b.portPrinters().begin();
         i != a.portPrinters().end(); ++i, ++j)
        if (i->first != j->first || !sameTarget(*i->second, *j->second)) return false;
    return true;
}

/// Any tree that arrives, however damaged, must end every walk.
void walk(CGroupsDB& directory) {
    if (directory.nodes().empty()) return;
    velmora::CGroupsDBNode& first = *directory.nodes().begin()->second;
    const std::uint32_t last = directory.nodes().rbegin()->first;
    std::vector<velmora::CGroupsDBPrinter*> printers;
    for (const auto& [id, node] : directory.nodes())
        directory.CollectPrinters(id, printers);
    require(printers.size() <= directory.nodes().size());
    directory.CanPlace(first, last);
    const std::size_t before = directory.nodes().size();
    require(directory.CopySubtree(first, last) != nullptr);
    require(directory.nodes().size() <= 2 * before);
    directory.DeleteNode(first.id);
}

}  // namespace

// A payload is refused with the directory as it was, or read; what was read is written and read
// again as the same directory.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CGroupsDB directory;
    directory.AddGroup("kept", 0);
    // A block of its own, so that a byte read after it is noticed.
    const std::vector<std::byte> input(reinterpret_cast<const std::byte*>(data),
                                       reinterpret_cast<const std::byte*>(data) + size);
    if (!directory.Deserialize(input)) {
        require(directory.nodes().size() == 1 && directory.FindGroup(2)->name == "kept");
        return 0;
    }
    const std::vector<std::byte> payload = payloadOf(directory);
    CGroupsDB again;
    require(again.Deserialize(payload));
    require(sameDirectory(again, directory));
    require(payloadOf(again) == payload);
    walk(again);
    return 0;
}
