// Whether the delivered texts fit their controls, in the languages of the code page that the
// program runs under.

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/ui/groups_page_fixture.h"
#include "ui/kit/fonts.h"
#include "ui/kit/window.h"
#include "ui/text_table.h"

namespace velmora::testing {
namespace {

constexpr UINT kJapanese = 932;

std::vector<std::string> languagesOfCodePage() {
    if (GetACP() == kJapanese) return {"Velmora.ja.dat"};
    return {"Velmora.dat", "Velmora.de.dat", "Velmora.fr.dat", "Velmora.es.dat"};
}

std::string contentOf(const std::string& file) {
    std::ifstream in(std::string(VELMORA_LANGUAGES "/") + file, std::ios::binary);
    EXPECT_TRUE(in) << file;
    return {std::istreambuf_iterator<char>(in), {}};
}

/// What is drawn of a text: without the "&" of the mnemonic.
std::string drawn(const std::string& text) {
    std::string shown;
    for (const char c : text)
        if (c != '&') shown += c;
    return shown;
}

/// What a control's text may not use of its width, in pixels: a mark and its gap, or borders.
int takenByTheControl(HWND control, const std::string& windowClass) {
    if (windowClass == "Static") return 0;
    switch (GetWindowLongPtrA(control, GWL_STYLE) & BS_TYPEMASK) {
        case BS_AUTOCHECKBOX:
        case BS_AUTORADIOBUTTON:
            return 17;
        case BS_GROUPBOX:
            return 16;
        default:
            return 8;
    }
}

BOOL CALLBACK visit(HWND control, LPARAM parameter) {
    std::size_t& measured = *reinterpret_cast<std::size_t*>(parameter);
    char name[16] = "";
    GetClassNameA(control, name, sizeof name);
    const std::string windowClass = name;
    const std::string text = drawn(windowText(control));
    if ((windowClass != "Static" && windowClass != "Button") || text.empty()) return TRUE;
    RECT area{};
    GetClientRect(control, &area);
    const TextMeasure measure(control);
    // In a font without the language's characters every text would be a row of narrow boxes.
    EXPECT_EQ(measure.charset(), GetACP() == kJapanese ? SHIFTJIS_CHARSET : ANSI_CHARSET) << text;
    EXPECT_LE(measure.width(text) + takenByTheControl(control, windowClass), area.right) << text;
    ++measured;
    return TRUE;
}

void expectTextsFit(const DialogDriver& dialog, std::size_t controls) {
    std::size_t measured = 0;
    EnumChildWindows(dialog.window(), &visit, reinterpret_cast<LPARAM>(&measured));
    EXPECT_EQ(measured, controls);
}

class TextFit : public GroupsPageTest {
  protected:
    DialogDriver openedBy(const SheetDriver& sheet, HWND& before) {
        HWND popup = nullptr;
        EXPECT_TRUE(waitUntil([&] {
            popup = GetLastActivePopup(sheet.sheet().window());
            return popup != sheet.sheet().window() && popup != before && IsWindowVisible(popup);
        }));
        before = popup;
        return DialogDriver(popup);
    }
};

TEST_F(TextFit, OnEveryPageAndDialog) {
    // The run for Japanese must not pass because the machine lacks the locale.
    const char* const expected = std::getenv("VELMORA_CODE_PAGE");
    ASSERT_TRUE(expected == nullptr || GetACP() == static_cast<UINT>(std::atoi(expected)));
    for (const std::string& language : languagesOfCodePage()) {
        SCOPED_TRACE(language);
        writeSettingsFile(contentOf(language));
        title = CTextTable("DialogPortProperties").Lookup("Configure Port Monitor");
        EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
            expectTextsFit(sheet.page(), 9);
            expectTextsFit(sheet.openPage(1), 25);
            const Page page(sheet, sheet.openPage(2));
            expectTextsFit(page, 5);
            HWND before = nullptr;
            page.tree.expandAll();
            page.tree.select("All groups/A");
            page.postCommand(ID_GROUPS_NEW_PRINTER);
            const DialogDriver newPrinter = openedBy(sheet, before);
            expectTextsFit(newPrinter, 11);
            newPrinter.clickWithoutWaiting(IDCANCEL);
            newPrinter.waitUntilClosed();
            page.tree.select("All groups/A/a1");
            page.postCommand(ID_GROUPS_PROPERTIES);
            const DialogDriver properties = openedBy(sheet, before);
            expectTextsFit(properties, 9);
            properties.clickWithoutWaiting(IDCANCEL);
            properties.waitUntilClosed();
            sheet.cancel();
        }));
    }
}

}  // namespace
}  // namespace velmora::testing
