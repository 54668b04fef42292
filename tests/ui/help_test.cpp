#include "ui/help.h"
#include "harness/real_input.h"
#include "tests/ui/groups_page_fixture.h"
#include "ui/kit/window.h"
#include "ui/text_table.h"

// The Help button and F1.

namespace velmora::testing {
namespace {

/// What the help window should show of topics without translation.
std::string builtIn(std::span<const HelpTopic> topics) {
    std::string text;
    for (const HelpTopic& topic : topics)
        text += (text.empty() ? "" : "\n\n") + std::string(topic.text);
    return text;
}

class Help : public GroupsPageTest {
  protected:
    static std::string shown(const DialogDriver& help) {
        std::string text = help.text(IDC_HELP_TEXT);
        std::erase(text, '\r');
        return text;
    }

    static void close(const DialogDriver& help) {
        help.press(IDC_HELP_TEXT, VK_ESCAPE);
        help.waitUntilClosed();
    }

    /// Gives `control` the focus and presses F1.
    static DialogDriver f1(const DialogDriver& dialog, int control) {
        dialog.setFocus(control);
        EXPECT_TRUE(waitUntil([&] { return dialog.hasFocus(control); })) << control;
        RealInput(GetAncestor(dialog.window(), GA_ROOT)).keys({VK_F1});
        return waitForDialog("Help");
    }

    static void expectF1(const DialogDriver& dialog, int control,
                         std::span<const HelpTopic> topics) {
        const DialogDriver help = f1(dialog, control);
        EXPECT_EQ(shown(help), builtIn(helpFor(control, topics))) << control;
        close(help);
    }
};

TEST_F(Help, ButtonShowsTheHelpOfThePage) {
    EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
        const std::span<const HelpTopic> pages[] = {portMainHelp(), jobTemplateHelp(),
                                                    printerGroupsHelp()};
        for (int page = 0; page < 3; ++page) {
            sheet.openPage(page);
            sheet.help();
            const DialogDriver help = waitForDialog("Help");
            EXPECT_EQ(shown(help), builtIn(pages[page]));
            EXPECT_FALSE(IsWindowEnabled(sheet.sheet().window()));
            close(help);
        }
        sheet.cancel();
    }));
}

TEST_F(Help, F1ShowsTheHelpOfTheControlAndOtherwiseThatOfThePage) {
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        expectF1(sheet.page(), IDC_PORT_URL, portMainHelp());
        const DialogDriver page = sheet.page();
        page.type(IDC_PORT_NAME, "New");
        page.type(IDC_PORT_URL, "ipp://h/p");
        const DialogDriver jobTemplate = sheet.openPage(1);
        expectF1(jobTemplate, IDC_JOB_MEDIA, jobTemplateHelp());
        sheet.cancel();
    }));
}

TEST_F(Help, F1WorksInThePrinterDialogs) {
    work([&](const Page& page) {
        page.tree.select("All groups/A");
        page.postCommand(ID_GROUPS_NEW_PRINTER);
        const DialogDriver newPrinter = waitForDialog("New Printer Properties");
        expectF1(newPrinter, IDC_PRINTER_PATTERNS, newPrinterHelp());
        expectF1(newPrinter, IDCANCEL, newPrinterHelp());
        newPrinter.clickWithoutWaiting(IDCANCEL);
        newPrinter.waitUntilClosed();
        page.tree.select("All groups/A/a1");
        page.postCommand(ID_GROUPS_PROPERTIES);
        const DialogDriver properties = waitForDialog("Printer properties");
        expectF1(properties, IDC_PRINTER_URL, printerDialogHelp());
        properties.clickWithoutWaiting(IDCANCEL);
        properties.waitUntilClosed();
    });
}

TEST_F(Help, WindowIsReadableCanBeResizedAndScrolls) {
    EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
        sheet.help();
        const DialogDriver help = waitForDialog("Help");
        const HWND text = help.control(IDC_HELP_TEXT);
        EXPECT_TRUE(waitUntil([&] { return help.hasFocus(IDC_HELP_TEXT); }));
        const LONG_PTR style = GetWindowLongPtrA(text, GWL_STYLE);
        EXPECT_EQ(style & (ES_READONLY | ES_MULTILINE | WS_VSCROLL | WS_TABSTOP),
                  ES_READONLY | ES_MULTILINE | WS_VSCROLL | WS_TABSTOP);
        EXPECT_EQ(style & ES_AUTOHSCROLL, 0) << "long lines would not be broken";
        EXPECT_EQ(windowText(GetWindow(text, GW_HWNDPREV)), "Help") << "its name";
        DWORD start = 1, end = 1;
        EXPECT_TRUE(waitUntil([&] {
            SendMessageA(text, EM_GETSEL, reinterpret_cast<WPARAM>(&start),
                         reinterpret_cast<LPARAM>(&end));
            return start == 0 && end == 0;
        })) << "opens at the beginning with nothing selected";

        help.press(IDC_HELP_TEXT, VK_NEXT);
        EXPECT_TRUE(
            waitUntil([&] { return SendMessageA(text, EM_GETFIRSTVISIBLELINE, 0, 0) > 0; }));

        EXPECT_NE(GetWindowLongPtrA(help.window(), GWL_STYLE) & WS_THICKFRAME, 0);
        RECT before{}, after{}, place{}, button{};
        GetWindowRect(text, &before);
        GetWindowRect(help.window(), &place);
        MoveWindow(help.window(), place.left, place.top, place.right - place.left + 100,
                   place.bottom - place.top + 50, TRUE);
        help.settle();
        GetWindowRect(text, &after);
        GetWindowRect(help.control(IDCANCEL), &button);
        EXPECT_EQ(after.right - after.left, before.right - before.left + 100);
        EXPECT_EQ(after.bottom - after.top, before.bottom - before.top + 50);
        EXPECT_GT(button.top, after.bottom);
        MoveWindow(help.window(), place.left, place.top, 1, 1, TRUE);
        help.settle();
        GetWindowRect(text, &after);
        EXPECT_GT(after.bottom - after.top, 20) << "can be made too small";
        help.clickWithoutWaiting(IDCANCEL);
        help.waitUntilClosed();
        sheet.cancel();
    }));
}

TEST_F(Help, TextsAreLookedUpWhenHelpIsAskedFor) {
    EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
        EXPECT_EQ(readSettingsFile().find("[Help"), std::string::npos);
        writeSettingsFile(
            "[Help]\r\nHelp=Hilfe\r\nClose=Zu\r\nURL=URL\\nDie Adresse.\\r\\nEnde\r\n");
        sheet.help();
        const DialogDriver help = waitForDialog("Hilfe");
        EXPECT_EQ(help.text(IDCANCEL), "Zu");
        EXPECT_NE(help.text(IDC_HELP_TEXT).find("\r\n\r\nURL\r\nDie Adresse.\r\nEnde\r\n\r\n"),
                  std::string::npos);
        close(help);
        sheet.cancel();
    }));
    EXPECT_NE(readSettingsFile().find("[HelpPagePortMain]\r\nPort=Port\\nEach job"),
              std::string::npos)
        << "what is missing is entered for the translator";
}

}  // namespace
}  // namespace velmora::testing
