#include "velmoractl/text/directory_paths.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace velmora::ctl {
namespace {

CGroupsDBNode* findId(const CGroupsDB& directory, std::string_view digits) {
    std::uint32_t id = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, id);
    return error == std::errc() && stop == end ? directory.FindNode(id) : nullptr;
}

}  // namespace

CGroupsDBNode* childNamed(const CGroupsDB& directory, std::uint32_t group, std::string_view name) {
    std::vector<CGroupsDBNode*> children;
    directory.GetChildren(group, children);
    const auto found = std::ranges::find(children, name, &CGroupsDBNode::name);
    return found == children.end() ? nullptr : *found;
}

CGroupsDBNode* findNode(const CGroupsDB& directory, std::string_view text) {
    if (text.starts_with('#')) return findId(directory, text.substr(1));
    if (text.starts_with('/')) text.remove_prefix(1);
    CGroupsDBNode* node = directory.FindNode(kRootGroup);
    while (node != nullptr && !text.empty()) {
        const std::size_t slash = std::min(text.find('/'), text.size());
        node = childNamed(directory, node->id, text.substr(0, slash));
        text.remove_prefix(std::min(slash + 1, text.size()));
    }
    return node;
}

std::string pathOf(const CGroupsDB& directory, std::uint32_t id) {
    if (id == kRootGroup) return "/";
    std::string path;
    const CGroupsDBNode* node = directory.FindNode(id);
    // A damaged store may hold a circle; no way up is longer than there are nodes.
    for (std::size_t steps = directory.nodes().size(); node != nullptr && steps > 0; --steps) {
        if (node->id == kRootGroup) break;
        path = path.empty() ? node->name : node->name + "/" + path;
        node = directory.FindNode(node->parent);
    }
    const CGroupsDBNode* const back = path.empty() ? nullptr : findNode(directory, path);
    return back != nullptr && back->id == id ? path : "#" + std::to_string(id);
}

}  // namespace velmora::ctl
