#include "tests/ui/tree_driver.h"

#include <gtest/gtest.h>

#include "harness/dialog_driver.h"

namespace velmora::testing {

HTREEITEM TreeDriver::item(const std::string& path) const {
    HTREEITEM found = view_.firstChild(nullptr);
    for (std::size_t start = 0; found != nullptr;) {
        const std::size_t end = path.find('/', start);
        const std::string name = path.substr(start, end - start);
        while (found != nullptr && text(found) != name)
            found = view_.nextSibling(found);
        if (end == std::string::npos) break;
        if (found != nullptr) found = view_.firstChild(found);
        start = end + 1;
    }
    return found;
}

std::string TreeDriver::text(HTREEITEM item) const {
    std::vector<char> area(4096);
    TVITEMA query{};
    query.mask = TVIF_HANDLE | TVIF_TEXT;
    query.hItem = item;
    query.pszText = area.data();
    query.cchTextMax = static_cast<int>(area.size());
    SendMessageA(window(), TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&query));
    return query.pszText;
}

std::vector<std::string> TreeDriver::lines() const {
    std::vector<std::string> lines;
    addLines(view_.firstChild(nullptr), 0, lines);
    return lines;
}

void TreeDriver::addLines(HTREEITEM first, std::size_t level,
                          std::vector<std::string>& lines) const {
    for (HTREEITEM item = first; item != nullptr; item = view_.nextSibling(item)) {
        lines.push_back(std::string(level, ' ') + text(item));
        addLines(view_.firstChild(item), level + 1, lines);
    }
}

std::vector<std::string> TreeDriver::children(const std::string& path) const {
    std::vector<std::string> texts;
    const HTREEITEM parent = item(path);
    EXPECT_NE(parent, nullptr) << path;
    if (parent == nullptr) return texts;
    for (HTREEITEM child = view_.firstChild(parent); child != nullptr;
         child = view_.nextSibling(child))
        texts.push_back(text(child));
    return texts;
}

std::string TreeDriver::selectedPath() const {
    std::string path;
    for (HTREEITEM item = view_.selected(); item != nullptr; item = view_.parent(item))
        path = path.empty() ? text(item) : text(item) + "/" + path;
    return path;
}

int TreeDriver::image(const std::string& path) const {
    TVITEMA query{};
    query.mask = TVIF_HANDLE | TVIF_IMAGE;
    query.hItem = item(path);
    SendMessageA(window(), TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&query));
    return query.iImage;
}

void TreeDriver::select(const std::string& path) const {
    const HTREEITEM target = item(path);
    ASSERT_NE(target, nullptr) << path;
    view_.select(target);
}

void TreeDriver::expandAll() const {
    std::vector<HTREEITEM> pending{view_.firstChild(nullptr)};
    while (!pending.empty()) {
        const HTREEITEM next = pending.back();
        pending.pop_back();
        if (next == nullptr) continue;
        view_.expand(next);
        pending.push_back(view_.nextSibling(next));
        pending.push_back(view_.firstChild(next));
    }
}

POINT TreeDriver::middle(const std::string& path) const {
    const HTREEITEM target = item(path);
    EXPECT_NE(target, nullptr) << path;
    const RECT text = view_.textRect(target);
    EXPECT_LT(text.left, text.right) << path << " is out of sight";
    return {(text.left + text.right) / 2, (text.top + text.bottom) / 2};
}

HWND TreeDriver::editor() const {
    EXPECT_TRUE(waitUntil([&] { return view_.isEditing(); })) << "no label is being edited";
    return view_.editBox();
}

void TreeDriver::waitUntilEdited() const {
    EXPECT_TRUE(waitUntil([&] { return !view_.isEditing(); })) << "the label is still edited";
}

void TreeDriver::enterLabel(const std::string& text) const {
    const HWND box = editor();
    SendMessageA(box, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
    PostMessageA(box, WM_KEYDOWN, VK_RETURN, 1);
    EXPECT_TRUE(waitUntil([&] { return view_.editBox() != box; }));
}

}  // namespace velmora::testing
