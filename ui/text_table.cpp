#include "ui/text_table.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/library.h"
#include "platform/text.h"
#include "port/settings.h"
#include "ui/kit/window.h"
#include "ui/resources/resource_ids.h"

namespace velmora {
namespace {

bool hasTranslatableText(HWND child) {
    std::array<char, 32> name{};
    GetClassNameA(child, name.data(), static_cast<int>(name.size()));
    return lstrcmpiA(name.data(), "static") == 0 || lstrcmpiA(name.data(), "button") == 0;
}

std::string menuText(HMENU menu, UINT position) {
    const int length = GetMenuStringA(menu, position, nullptr, 0, MF_BYPOSITION);
    if (length <= 0) return {};
    std::vector<char> area(static_cast<std::size_t>(length) + 1);
    GetMenuStringA(menu, position, area.data(), static_cast<int>(area.size()), MF_BYPOSITION);
    return area.data();
}

}  // namespace

CTextTable::CTextTable(std::string section)
    : CTextTable(settingsFile().path(), std::move(section)) {}

void CTextTable::TranslateWindow(HWND window) const {
    setWindowText(window, Lookup(windowText(window)));
    for (HWND child = GetWindow(window, GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
        if (hasTranslatableText(child)) setWindowText(child, Lookup(windowText(child)));
    }
}

void CTextTable::TranslateMenu(HMENU menu) const {
    const int count = GetMenuItemCount(menu);
    for (int i = 0; i < count; ++i) {
        const UINT position = static_cast<UINT>(i);
        std::string text = Lookup(menuText(menu, position));
        if (!text.empty()) {
            // Setting the string alone leaves id, state and popup of the item as they are.
            MENUITEMINFOA item{};
            item.cbSize = sizeof item;
            item.fMask = MIIM_STRING;
            item.dwTypeData = text.data();
            SetMenuItemInfoA(menu, position, TRUE, &item);
        }
        if (const HMENU popup = GetSubMenu(menu, i)) TranslateMenu(popup);
    }
}

std::string loadResourceText(UINT id) {
    std::array<char, 1024> area{};
    const int length = LoadStringA(currentModule(), id, area.data(), static_cast<int>(area.size()));
    return {area.data(), static_cast<std::size_t>(std::max(length, 0))};
}

std::string LoadMessage(UINT id) {
    return lookupString(loadResourceText(id));
}

std::string lookupString(const std::string& text) {
    return CTextTable("Strings").Lookup(text);
}

std::size_t lookupString(const std::string& text, std::span<wchar_t> area) {
    const std::wstring wide = toWide(lookupString(text));
    const std::size_t length = std::min(wide.size(), area.size() - 1);
    std::copy_n(wide.data(), length, area.data());
    area[length] = L'\0';
    return length;
}

std::string interfaceTitle() {
    return CTextTable("DialogPortProperties").Lookup(loadResourceText(IDS_CAPTION));
}

}  // namespace velmora
