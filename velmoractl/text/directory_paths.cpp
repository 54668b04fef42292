#include "velmoractl/text/directory_paths.h"

#include <algorithm>

#include "directory/groups_db.h"
#include "velmoractl/text/whole_number.h"

namespace velmora::ctl {
namespace {

// Longer ones are of no use, and those of a long chain of groups would take quadratic time.
constexpr std::size_t kLongestPath = 1024;

CGroupsDBNode* findId(const CGroupsDB& directory, std::string_view digits) {
    const auto id = wholeNumber<std::uint32_t>(digits);
    return id ? directory.FindNode(*id) : nullptr;
}

}  // namespace

DirectoryPaths::DirectoryPaths(const CGroupsDB& directory) : directory_(directory) {
    for (const auto& [id, node] : directory.nodes()) {
        byName_.try_emplace({node->parent, node->name}, node.get());
        byParent_[node->parent].push_back(node.get());
    }
}

CGroupsDBNode* DirectoryPaths::child(std::uint32_t group, std::string_view name) const {
    const auto found = byName_.find({group, name});
    return found == byName_.end() ? nullptr : found->second;
}

const std::vector<CGroupsDBNode*>& DirectoryPaths::children(std::uint32_t group) const {
    static const std::vector<CGroupsDBNode*> none;
    const auto found = byParent_.find(group);
    return found == byParent_.end() ? none : found->second;
}

CGroupsDBNode* DirectoryPaths::find(std::string_view text) const {
    if (text.starts_with('#')) return findId(directory_, text.substr(1));
    if (text.starts_with('/')) text.remove_prefix(1);
    CGroupsDBNode* node = directory_.FindNode(kRootGroup);
    while (node != nullptr && !text.empty()) {
        const std::size_t slash = std::min(text.find('/'), text.size());
        node = child(node->id, text.substr(0, slash));
        text.remove_prefix(std::min(slash + 1, text.size()));
    }
    return node;
}

std::string DirectoryPaths::pathOf(std::uint32_t id) const {
    if (id == kRootGroup) return "/";
    std::string number = "#" + std::to_string(id);
    std::vector<const CGroupsDBNode*> way;
    std::size_t length = 0;
    const CGroupsDBNode* node = directory_.FindNode(id);
    while (node != nullptr && node->id != kRootGroup) {
        length += node->name.size() + 1;
        // A damaged store may hold a circle, of empty names even.
        if (length > kLongestPath) return number;
        const bool unclear = node->name.empty() || node->name.find('/') != std::string::npos;
        if (unclear || child(node->parent, node->name) != node) return number;
        way.push_back(node);
        node = directory_.FindNode(node->parent);
    }
    if (node == nullptr) return number;
    std::string path;
    for (auto step = way.rbegin(); step != way.rend(); ++step)
        path += (path.empty() ? "" : "/") + (*step)->name;
    return path.starts_with('#') ? number : path;
}

const DirectoryNodes& DirectoryPaths::nodes() const {
    return directory_.nodes();
}

const CGroupsDBGroup* DirectoryPaths::group(std::uint32_t id) const {
    return directory_.FindGroup(id);
}

CGroupsDBNode* findNode(const CGroupsDB& directory, std::string_view text) {
    return DirectoryPaths(directory).find(text);
}

std::string pathOf(const CGroupsDB& directory, std::uint32_t id) {
    return DirectoryPaths(directory).pathOf(id);
}

}  // namespace velmora::ctl
