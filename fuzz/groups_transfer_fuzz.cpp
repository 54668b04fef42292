#include <cstdint>
#include <vector>

#include "fuzz/require.h"
#include "harness/directory_check.h"

// Any bytes, as a directory's payload: taken, refused, stored and written as the model does it. A
// refusal leaves the directory as it was. Any tree that arrives, however damaged, ends every walk.

namespace {

using namespace velmora;
using namespace velmora::testing;

FlatBytes payloadOf(const CGroupsDB& directory) {
    FlatBytes payload(directory.GetSize());
    directory.Serialize(reinterpret_cast<std::byte*>(payload.data()));
    return payload;
}

void walk(CGroupsDB& directory) {
    if (directory.nodes().empty()) return;
    const CGroupsDBNode& first = *directory.nodes().begin()->second;
    const std::uint32_t last = directory.nodes().rbegin()->first;
    std::vector<CGroupsDBPrinter*> printers;
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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CGroupsDB directory;
    directory.AddGroup("kept", 0);
    ModelDirectory model = modelOf(directory);
    // A block of its own, so that a byte read after it is noticed.
    const FlatBytes bytes(data, data + size);
    const bool taken = directory.Deserialize(std::as_bytes(std::span(bytes)));
    require(taken == model.read(bytes));
    require(modelOf(directory) == model);
    if (!taken) return 0;

    const FlatBytes payload = payloadOf(directory);
    require(payload == model.written());
    CGroupsDB again;
    require(again.Deserialize(std::as_bytes(std::span(payload))));
    require(again == directory && payloadOf(again) == payload);
    walk(again);
    return 0;
}
