#include "harness/real_input.h"
#include "tests/ui/groups_page_fixture.h"
#include "ui/kit/window.h"

// Characters outside the code page, which an edit box can hold but our records cannot.

namespace velmora::testing {
namespace {

using Messages = std::vector<RecordedBoxes::Message>;

const std::string kForeign =
    "The text contains a character that the system's code page does not have.\n"
    "Please use other characters.";

class ForeignCharacters : public GroupsPageTest {
  protected:
    static void typeWide(const DialogDriver& dialog, int id, const std::wstring& text) {
        SendMessageW(dialog.control(id), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
    }

    /// `leave` is refused while the field has such a character, and works without it.
    void expectRefused(const DialogDriver& dialog, int id, const std::function<void()>& leave,
                       const std::string& good) {
        // A Cyrillic word, and a letter that best-fit conversion would replace by another one.
        for (const wchar_t* text : {L"\u043F\u0430\u0440\u043E\u043B\u044C", L"p\u0101ss"}) {
            SCOPED_TRACE(id);
            typeWide(dialog, id, text);
            leave();
            EXPECT_EQ(boxes.take(), (Messages{{kForeign, MessageIcon::none}}));
            EXPECT_TRUE(waitUntil([&] { return dialog.hasFocus(id); }));
            EXPECT_EQ(wideWindowText(dialog.control(id)), text) << "stays to be mended";
        }
        dialog.type(id, good);
    }
};

TEST_F(ForeignCharacters, KeepTheMainPage) {
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        page.type(IDC_PORT_NAME, "New");
        page.type(IDC_PORT_URL, "ipp://h/p");
        page.click(IDC_PORT_AUTHENTICATION);
        for (const int id : {IDC_PORT_NAME, IDC_PORT_USER_NAME, IDC_PORT_PASSWORD})
            expectRefused(
                page, id, [&] { sheet.chooseTab(1); }, "x");
        expectRefused(
            page, IDC_PORT_URL, [&] { sheet.ok(); }, "ipp://h/p");

        // Disabled fields are not read.
        typeWide(page, IDC_PORT_PASSWORD, L"\u0434");
        page.click(IDC_PORT_AUTHENTICATION);
        sheet.openPage(1);
        sheet.cancel();
    }));
}

TEST_F(ForeignCharacters, KeepTheJobTemplatePageWhilePagesAreChosen) {
    EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.openPage(1);
        page.click(IDC_JOB_PAGES_RANGE);
        expectRefused(
            page, IDC_JOB_PAGES_TEXT, [&] { sheet.chooseTab(0); }, "1-2");
        typeWide(page, IDC_JOB_PAGES_TEXT, L"\uFF11");
        page.click(IDC_JOB_PAGES_ALL);
        sheet.openPage(0);
        sheet.cancel();
    }));
}

TEST_F(ForeignCharacters, KeepThePrinterDialogs) {
    work([&](const Page& page) {
        page.tree.select("All groups/A/a1");
        page.postCommand(ID_GROUPS_PROPERTIES);
        const DialogDriver dialog = waitForDialog("Printer properties");
        dialog.type(IDC_PRINTER_URL, "ipp://h/p");
        if (!dialog.checked(IDC_PRINTER_AUTHENTICATION)) dialog.click(IDC_PRINTER_AUTHENTICATION);
        const auto ok = [&] { dialog.clickWithoutWaiting(IDOK); };
        for (const int id : {IDC_PRINTER_NAME, IDC_PRINTER_USER_NAME, IDC_PRINTER_PASSWORD})
            expectRefused(dialog, id, ok, "x");
        expectRefused(dialog, IDC_PRINTER_URL, ok, "ipp://h/p");
        dialog.clickWithoutWaiting(IDOK);
        dialog.waitUntilClosed();
    });
    EXPECT_NE(named("x"), nullptr);
}

TEST_F(ForeignCharacters, ComeIntoTheFieldWhenTheyAreTyped) {
    // An ANSI window or message loop would turn it into "?", which no check could refuse.
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        const HWND name = page.control(IDC_PORT_NAME);
        EXPECT_TRUE(IsWindowUnicode(name));
        EXPECT_TRUE(IsWindowUnicode(page.window()));
        EXPECT_TRUE(IsWindowUnicode(sheet.sheet().window()));
        PostMessageW(name, WM_CHAR, L'\u0434', 1);
        EXPECT_TRUE(waitUntil([&] { return wideWindowText(name) == L"\u0434"; }));
        sheet.cancel();
    }));
}

TEST_F(ForeignCharacters, KeepTheEditorOfALabelOpen) {
    work([&](const Page& page) {
        page.tree.select("All groups/A");
        page.command(ID_GROUPS_RENAME);
        SetWindowTextW(page.tree.editor(), L"\u0413\u0440\u0443\u043F\u043F\u0430");
        PostMessageA(page.tree.editor(), WM_KEYDOWN, VK_RETURN, 1);
        EXPECT_EQ(boxes.take(), (Messages{{kForeign, MessageIcon::none}}));
        EXPECT_TRUE(waitUntil([&] { return page.tree.editor() != nullptr; }));
        EXPECT_NE(named("A"), nullptr);
        page.tree.enterLabel("Group");
        page.tree.waitUntilEdited();
        EXPECT_NE(named("Group"), nullptr);
    });
}

}  // namespace
}  // namespace velmora::testing
