#include "ui/text_table.h"

#include <gtest/gtest.h>

#include <array>

#include "harness/clean_state.h"
#include "ui/kit/window.h"
#include "ui/resources/resource_ids.h"

namespace velmora::testing {
namespace {

class TextTable : public CleanStateTest {
  protected:
    const CTextTable table{"Section"};
};

TEST_F(TextTable, MissingTextIsShownAsItIsAndEnteredWithoutMnemonicInItsKey) {
    EXPECT_EQ(table.Lookup("Printer requires &authentication"), "Printer requires &authentication");
    EXPECT_EQ(table.Lookup("two\nlines\tand\rmore"), "two\nlines\tand\rmore");
    EXPECT_EQ(readSettingsFile(),
              "[Section]\r\n"
              "Printer requires authentication=Printer requires &authentication\r\n"
              "two\\nlines\\tand\\rmore=two\\nlines\\tand\\rmore\r\n");
}

TEST_F(TextTable, EmptyTextsTouchNothing) {
    EXPECT_EQ(table.Lookup(""), "");
    EXPECT_EQ(table.Lookup("&&"), "");
    EXPECT_EQ(readSettingsFile(), "");
}

TEST_F(TextTable, StoredTextIsShownUnescaped) {
    writeSettingsFile("[Section]\r\nName:=N\\nA\\tM\\rE \xE4&x\r\nempty=\r\n");
    EXPECT_EQ(table.Lookup("&Name:"), "N\nA\tM\rE \xE4&x");
    EXPECT_EQ(table.Lookup("empty"), "empty");
    EXPECT_EQ(CTextTable("Other").Lookup("&Name:"), "&Name:");
}

TEST_F(TextTable, OtherFilesCanBeUsed) {
    const std::string path = settingsFilePath() + ".other";
    EXPECT_EQ(CTextTable(path, "S").Lookup("text"), "text");
    EXPECT_EQ(readSettingsFile(), "");
    EXPECT_TRUE(DeleteFileA(path.c_str()));
}

TEST_F(TextTable, MessagesComeFromTheStringTable) {
    EXPECT_EQ(LoadMessage(IDS_PORT_NAME_MISSING), "Please enter port name.");
    writeSettingsFile("[Strings]\r\nPlease enter port name.=Name?\\nJa.\r\n");
    EXPECT_EQ(LoadMessage(IDS_PORT_NAME_MISSING), "Name?\nJa.");
    EXPECT_EQ(LoadMessage(4711), "");
}

TEST_F(TextTable, Utf16FormFillsTheAreaAndNoMore) {
    writeSettingsFile("[Strings]\r\nkey=\x80uro\r\n");
    std::array<wchar_t, 8> area{};
    EXPECT_EQ(lookupString("key", area), 4u);
    EXPECT_STREQ(area.data(), L"\u20ACuro");
    area.fill(L'#');
    EXPECT_EQ(lookupString("key", std::span(area).first(3)), 2u);
    EXPECT_STREQ(area.data(), L"\u20ACu");
    EXPECT_EQ(area[3], L'#');
    EXPECT_EQ(lookupString("key", std::span(area).first(1)), 0u);
}

struct DestroyMenuHandle {
    HMENU menu = nullptr;
    ~DestroyMenuHandle() { DestroyMenu(menu); }
};

std::string itemText(HMENU menu, UINT position) {
    char area[64] = {};
    GetMenuStringA(menu, position, area, sizeof area, MF_BYPOSITION);
    return area;
}

TEST_F(TextTable, MenusAreTranslatedAllTheWayDown) {
    writeSettingsFile("[Section]\r\nNew=&Neu\r\nGroup=&Gruppe\r\nCut=&Ausschneiden\\tStrg+X\r\n");
    DestroyMenuHandle menu{CreatePopupMenu()};
    const HMENU popup = CreatePopupMenu();
    AppendMenuA(popup, MF_STRING, 32777, "&Group");
    AppendMenuA(popup, MF_STRING | MF_CHECKED, 32778, "&Printer");
    AppendMenuA(menu.menu, MF_POPUP, reinterpret_cast<UINT_PTR>(popup), "&New");
    AppendMenuA(menu.menu, MF_SEPARATOR, 0, nullptr);
    AppendMenuA(menu.menu, MF_STRING | MF_GRAYED, 32772, "Cu&t");
    table.TranslateMenu(menu.menu);
    EXPECT_EQ(itemText(menu.menu, 0), "&Neu");
    EXPECT_EQ(GetSubMenu(menu.menu, 0), popup);
    EXPECT_EQ(itemText(popup, 0), "&Gruppe");
    EXPECT_EQ(GetMenuItemID(popup, 0), 32777u);
    EXPECT_EQ(itemText(popup, 1), "&Printer");
    EXPECT_NE(GetMenuState(popup, 1, MF_BYPOSITION) & MF_CHECKED, 0u);
    EXPECT_NE(GetMenuState(menu.menu, 1, MF_BYPOSITION) & MF_SEPARATOR, 0u);
    EXPECT_EQ(itemText(menu.menu, 2), "&Ausschneiden\tStrg+X");
    EXPECT_NE(GetMenuState(menu.menu, 2, MF_BYPOSITION) & MF_GRAYED, 0u);
    EXPECT_EQ(GetMenuItemID(menu.menu, 2), 32772u);
}

TEST_F(TextTable, TitleStaticsAndButtonsOfAWindowAreTranslated) {
    writeSettingsFile("[Section]\r\nTitle=Titel\r\nlabel=Beschriftung\r\nbox=Kasten\r\n");
    const HWND window = CreateWindowA("STATIC", "Title", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                                      nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    const auto child = [&](HWND parent, const char* windowClass, const char* text) {
        return CreateWindowA(windowClass, text, WS_CHILD, 0, 0, 5, 5, parent, nullptr, nullptr,
                             nullptr);
    };
    const HWND label = child(window, "StAtIc", "&label");
    const HWND box = child(window, "Button", "bo&x");
    const HWND edit = child(window, "Edit", "label");
    const HWND combo = child(window, "ComboBox", "");
    const HWND grandchild = child(label, "Static", "label");
    table.TranslateWindow(window);
    EXPECT_EQ(windowText(window), "Titel");
    EXPECT_EQ(windowText(label), "Beschriftung");
    EXPECT_EQ(windowText(box), "Kasten");
    EXPECT_EQ(windowText(edit), "label");
    EXPECT_EQ(windowText(combo), "");
    EXPECT_EQ(windowText(grandchild), "label") << "only direct children";
    DestroyWindow(window);
}

TEST_F(TextTable, MessageBoxesAreTitledAsTheSheets) {
    EXPECT_EQ(interfaceTitle(), "Configure Port Monitor");
    writeSettingsFile("[DialogPortProperties]\r\nConfigure Port Monitor=Titel\r\n");
    EXPECT_EQ(interfaceTitle(), "Titel");
}

}  // namespace
}  // namespace velmora::testing
