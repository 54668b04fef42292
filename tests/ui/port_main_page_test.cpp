#include <windows.h>

#include <commctrl.h>

#include "port/port_config.h"
#include "tests/ui/port_sheet_fixture.h"

// The port main page, operated by control id.

namespace velmora::testing {
namespace {

using Messages = std::vector<RecordedBoxes::Message>;

const Messages kNameMissing = {{"Please enter port name.", MessageIcon::none}};
const Messages kNameUsed = {
    {"Specified port name is already used. Select another one please.", MessageIcon::none}};
const Messages kUrlMissing = {{"Please specify printer URI.", MessageIcon::none}};
const Messages kUrlInvalid = {{"URL has invalid format", MessageIcon::error}};

class PortMainPage : public PortSheetTest {
  protected:
    /// Pressing OK is refused with `messages`; the focus goes to `control`.
    void expectRefused(const SheetDriver& sheet, const Messages& messages, int control) {
        sheet.ok();
        EXPECT_EQ(boxes.take(), messages);
        EXPECT_TRUE(waitUntil([&] { return sheet.page().hasFocus(control); }))
            << "focus on " << control;
        EXPECT_TRUE(sheet.sheet().isOpen());
    }

    static std::string enabledControls(const DialogDriver& page) {
        std::string enabled;
        for (const auto& [id, letter] :
             std::initializer_list<std::pair<int, char>>{{IDC_PORT_URL, 'u'},
                                                         {IDC_PORT_URL_LABEL, 'U'},
                                                         {IDC_PORT_AUTHENTICATION, 'a'},
                                                         {IDC_PORT_USER_NAME, 'n'},
                                                         {IDC_PORT_USER_NAME_LABEL, 'N'},
                                                         {IDC_PORT_PASSWORD, 'p'},
                                                         {IDC_PORT_PASSWORD_LABEL, 'P'},
                                                         {IDC_PORT_GROUPS, 'g'}})
            if (page.enabled(id)) enabled += letter;
        return enabled;
    }
};

TEST_F(PortMainPage, NewPortStartsAsSinglePrinterWithEmptyFields) {
    EXPECT_FALSE(runNew([](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        EXPECT_TRUE(page.checked(IDC_PORT_SINGLE));
        EXPECT_FALSE(page.checked(IDC_PORT_MULTI));
        EXPECT_FALSE(page.checked(IDC_PORT_AUTHENTICATION));
        for (const int id : {IDC_PORT_NAME, IDC_PORT_URL, IDC_PORT_USER_NAME, IDC_PORT_PASSWORD})
            EXPECT_EQ(page.text(id), "") << id;
        EXPECT_TRUE(page.enabled(IDC_PORT_NAME));
        EXPECT_TRUE(page.enabled(IDC_PORT_NAME_LABEL));
        EXPECT_EQ(enabledControls(page), "uUa");
        EXPECT_TRUE(waitUntil([&] { return page.hasFocus(IDC_PORT_NAME); }));
        sheet.cancel();
    }));
}

TEST_F(PortMainPage, ModeAndAuthenticationDecideWhatCanBeUsed) {
    EXPECT_FALSE(runNew([](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        page.click(IDC_PORT_AUTHENTICATION);
        EXPECT_EQ(enabledControls(page), "uUanNpP");
        page.click(IDC_PORT_MULTI);
        EXPECT_EQ(enabledControls(page), "g");
        page.click(IDC_PORT_SINGLE);
        EXPECT_EQ(enabledControls(page), "uUanNpP") << "the box is still checked";
        page.click(IDC_PORT_AUTHENTICATION);
        EXPECT_EQ(enabledControls(page), "uUa");
        page.click(IDC_PORT_MULTI);
        page.click(IDC_PORT_SINGLE);
        EXPECT_EQ(enabledControls(page), "uUa");
        sheet.cancel();
    }));
}

TEST_F(PortMainPage, EmptyNameIsRefusedInEitherMode) {
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        expectRefused(sheet, kNameMissing, IDC_PORT_NAME);
        sheet.page().click(IDC_PORT_MULTI);
        expectRefused(sheet, kNameMissing, IDC_PORT_NAME);
        EXPECT_EQ(boxes.lastOwner(), sheet.sheet().window());
        sheet.cancel();
    }));
}

TEST_F(PortMainPage, NameOfAnExistingPortIsRefusedAndCaseCounts) {
    server = "\\\\host";
    EXPECT_TRUE(runNew([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        page.type(IDC_PORT_URL, "ipp://p");
        page.type(IDC_PORT_NAME, "Taken");
        expectRefused(sheet, kNameUsed, IDC_PORT_NAME);
        page.type(IDC_PORT_NAME, "FILE:");
        expectRefused(sheet, kNameUsed, IDC_PORT_NAME);
        page.type(IDC_PORT_NAME, "taken");
        sheet.ok();
    }));
    EXPECT_EQ(config.name, "taken");
    EXPECT_EQ(spooler.servers(), (std::vector<std::string>{"\\\\host", "\\\\host", "\\\\host"}));
}

TEST_F(PortMainPage, NameIsAskedForBeforeTheUrl) {
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        sheet.page().type(IDC_PORT_URL, "http://[");
        expectRefused(sheet, kNameMissing, IDC_PORT_NAME);
        sheet.page().type(IDC_PORT_NAME, "New");
        sheet.page().type(IDC_PORT_URL, "");
        expectRefused(sheet, kUrlMissing, IDC_PORT_URL);
        sheet.cancel();
    }));
    EXPECT_EQ(spooler.servers().front(), "(null)") << "no server means this machine";
}

TEST_F(PortMainPage, ConfigureSheetLocksTheNameAndNeverChecksIt) {
    config = singlePort();
    config.name = "Taken";
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        EXPECT_FALSE(sheet.page().enabled(IDC_PORT_NAME));
        EXPECT_FALSE(sheet.page().enabled(IDC_PORT_NAME_LABEL));
        EXPECT_EQ(sheet.page().text(IDC_PORT_NAME), "Taken");
        sheet.ok();
    }));
    PortConfig expected = singlePort();
    expected.name = "Taken";
    EXPECT_EQ(config, expected);
    EXPECT_TRUE(spooler.servers().empty());
}

TEST_F(PortMainPage, SinglePrinterNeedsAUrlThatThePlatformCracks) {
    config = singlePort();
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        page.type(IDC_PORT_URL, "");
        expectRefused(sheet, kUrlMissing, IDC_PORT_URL);
        for (const std::string& url :
             {"http://" + std::string(200, 'h') + "/x", "http://" + std::string(32000, 'h')}) {
            page.type(IDC_PORT_URL, url);
            sheet.ok();
            EXPECT_EQ(boxes.take(), kUrlInvalid) << url.substr(0, 40);
        }
        page.type(IDC_PORT_URL, "printer1/ipp/port1");
        sheet.ok();
    }));
    EXPECT_EQ(config.printer.url, "printer1/ipp/port1");
}

TEST_F(PortMainPage, UrlOfAMultiRemotePortIsNotLookedAt) {
    config = multiPort({2});
    config.printer.url = "http://[";
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) { sheet.ok(); }));
    EXPECT_EQ(config, multiPort({2}));
}

TEST_F(PortMainPage, ListShowsEveryGroupWithItsPrintersAndItsTick) {
    config = multiPort({5, 7});
    EXPECT_FALSE(runConfigure([](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        const std::tuple<std::string, std::string, bool> expected[] = {
            {"All groups", "4", false}, {"A", "3", false}, {"B", "1", true}, {"C", "1", true}};
        ASSERT_EQ(page.rows(IDC_PORT_GROUPS), 4);
        for (int row = 0; row < 4; ++row) {
            EXPECT_EQ(
                std::tuple(page.cell(IDC_PORT_GROUPS, row, 0), page.cell(IDC_PORT_GROUPS, row, 1),
                           page.rowChecked(IDC_PORT_GROUPS, row)),
                expected[row]);
        }
        const HWND list = page.control(IDC_PORT_GROUPS);
        EXPECT_EQ(page.heading(IDC_PORT_GROUPS, 0), "Group");
        EXPECT_EQ(page.heading(IDC_PORT_GROUPS, 1), "Printers number");
        EXPECT_EQ(SendMessageA(list, LVM_GETCOLUMNWIDTH, 0, 0), 150);
        EXPECT_EQ(SendMessageA(list, LVM_GETCOLUMNWIDTH, 1, 0), 115);
        EXPECT_NE(SendMessageA(list, LVM_GETEXTENDEDLISTVIEWSTYLE, 0, 0) & LVS_EX_CHECKBOXES, 0);
        sheet.cancel();
    }));
}

TEST_F(PortMainPage, GroupsAreHandedBackInTheOrderOfTicking) {
    config = multiPort({7, 2});
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        page.checkRow(IDC_PORT_GROUPS, 2, true);   // B, id 5
        page.checkRow(IDC_PORT_GROUPS, 3, false);  // C, id 7
        page.checkRow(IDC_PORT_GROUPS, 0, true);   // the root, id 1
        page.checkRow(IDC_PORT_GROUPS, 3, true);
        sheet.ok();
    }));
    EXPECT_EQ(config.targetIds, (Ids{2, 5, 1, 7}));
}

TEST_F(PortMainPage, SpaceTicksTheSelectedRow) {
    config = multiPort({});
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        page.setFocus(IDC_PORT_GROUPS);
        page.press(IDC_PORT_GROUPS, VK_DOWN);
        page.press(IDC_PORT_GROUPS, VK_SPACE);
        EXPECT_TRUE(waitUntil([&] {
            return page.rowChecked(IDC_PORT_GROUPS, 0) || page.rowChecked(IDC_PORT_GROUPS, 1);
        }));
        sheet.ok();
    }));
    EXPECT_EQ(config.targetIds.size(), 1u);
}

TEST_F(PortMainPage, ARowHasTheFocusAsSoonAsTabReachesTheList) {
    config = multiPort({});
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        page.setFocus(IDC_PORT_MULTI);
        page.press(IDC_PORT_MULTI, VK_TAB);
        EXPECT_TRUE(waitUntil([&] { return page.hasFocus(IDC_PORT_GROUPS); }));
        page.press(IDC_PORT_GROUPS, VK_SPACE);
        EXPECT_TRUE(waitUntil([&] { return page.rowChecked(IDC_PORT_GROUPS, 0); }));
        sheet.ok();
    }));
    EXPECT_EQ(config.targetIds, Ids{1});
}

TEST_F(PortMainPage, TheListIsFoundAgainAsItWasLeft) {
    for (int i = 0; i < 200; ++i)
        records.addGroup("group " + std::to_string(i), 1);
    config = multiPort({5});
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const HWND list = sheet.page().control(IDC_PORT_GROUPS);
        const auto send = [&](UINT message, int row, LPARAM what) {
            return SendMessageA(list, message, static_cast<WPARAM>(row), what);
        };
        const auto setState = [&](int row, UINT state) {
            LVITEMA item{};
            item.stateMask = item.state = state;
            send(LVM_SETITEMSTATE, row, reinterpret_cast<LPARAM>(&item));
        };
        setState(103, LVIS_FOCUSED | LVIS_SELECTED);
        send(LVM_ENSUREVISIBLE, 150, FALSE);
        send(LVM_ENSUREVISIBLE, 100, FALSE);
        ASSERT_EQ(send(LVM_GETTOPINDEX, 0, 0), 100);
        sheet.openPage(1);
        records.deleteNode(7);  // in the row above
        sheet.openPage(0);
        EXPECT_EQ(send(LVM_GETTOPINDEX, 0, 0), 99);
        EXPECT_EQ(send(LVM_GETNEXTITEM, -1, LVNI_FOCUSED), 102);
        EXPECT_EQ(send(LVM_GETNEXTITEM, -1, LVNI_SELECTED), 102);
        EXPECT_EQ(send(LVM_GETNEXTITEM, 102, LVNI_SELECTED), -1);
        sheet.ok();
    }));
    EXPECT_EQ(config.targetIds, Ids{5});
}

TEST_F(PortMainPage, AnIndeterminateBoxCountsAsChecked) {
    EXPECT_FALSE(runNew([](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        const HWND box = page.control(IDC_PORT_AUTHENTICATION);
        // A check box with two states cannot become indeterminate.
        SetWindowLongPtrA(box, GWL_STYLE,
                          (GetWindowLongPtrA(box, GWL_STYLE) & ~0xF) | BS_AUTO3STATE);
        SendMessageA(box, BM_SETCHECK, BST_INDETERMINATE, 0);
        ASSERT_EQ(SendMessageA(box, BM_GETCHECK, 0, 0), BST_INDETERMINATE);
        page.click(IDC_PORT_MULTI);
        page.click(IDC_PORT_SINGLE);
        EXPECT_EQ(enabledControls(page), "uUanNpP");
        sheet.cancel();
    }));
}

TEST_F(PortMainPage, AUrlWithoutAuthenticationIsEnteredWithItsCredentialsAsTheyAreTyped) {
    config = singlePort();
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        sheet.page().click(IDC_PORT_AUTHENTICATION);
        sheet.ok();
    }));
    ASSERT_EQ(records.portPrinters().count("Port"), 1u);
    EXPECT_EQ(records.portPrinters().at("Port"),
              (PrinterAddress{"ipp://printer/queue", 0, "user", "secret"}));
}

TEST_F(PortMainPage, LeavingWithoutAUrlDropsAnEntryOfTheNameThatWasTyped) {
    records.setPortPrinter("Stale", {"ipp://old", 0, "", ""});
    EXPECT_TRUE(runNew([&](const SheetDriver& sheet) {
        sheet.page().type(IDC_PORT_NAME, "Stale");
        sheet.page().click(IDC_PORT_MULTI);
        EXPECT_EQ(records.portPrinters().count("Stale"), 1u) << "until the page is left";
        sheet.ok();
    }));
    EXPECT_EQ(records.portPrinters().count("Stale"), 0u);
}

TEST_F(PortMainPage, AModeThatNoButtonShowsNeedsNoUrlAndKeepsGroups) {
    config = multiPort({2});
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        SendMessageA(page.control(IDC_PORT_MULTI), BM_SETCHECK, BST_UNCHECKED, 0);
        sheet.openPage(1);
        EXPECT_FALSE(sheet.openPage(0).checked(IDC_PORT_SINGLE));
        EXPECT_FALSE(page.checked(IDC_PORT_MULTI));
        EXPECT_EQ(enabledControls(page), "g");
        sheet.ok();
    }));
    EXPECT_EQ(config, multiPort({2}));
}

TEST_F(PortMainPage, ADirectoryWithoutItsRootIsListedAsItIs) {
    records.deleteNode(1);
    const std::uint32_t lost = records.addGroup("lost", 1);
    config = multiPort({1, lost});
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        ASSERT_EQ(sheet.page().rows(IDC_PORT_GROUPS), 1);
        EXPECT_EQ(sheet.page().cell(IDC_PORT_GROUPS, 0, 0), "lost");
        sheet.ok();
    }));
    EXPECT_EQ(config.targetIds, Ids{lost});
    records.deleteNode(lost);
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        EXPECT_EQ(sheet.page().rows(IDC_PORT_GROUPS), 0);
        sheet.ok();
    }));
    EXPECT_EQ(config.targetIds, Ids{});
}

TEST_F(PortMainPage, SelectingRowsTicksNothingAndKeepsTheOrder) {
    config = multiPort({7, 2, 5});
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        for (int row = 0; row < 4; ++row) {
            LVITEMA item{};
            item.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
            item.state = item.stateMask;
            SendMessageA(page.control(IDC_PORT_GROUPS), LVM_SETITEMSTATE, static_cast<WPARAM>(row),
                         reinterpret_cast<LPARAM>(&item));
        }
        sheet.ok();
    }));
    EXPECT_EQ(config.targetIds, (Ids{7, 2, 5}));
}

TEST_F(PortMainPage, PrinterOfThePortIsAbsentWhileThePageShowsAndEnteredWhenItIsLeft) {
    config = singlePort();
    records.setPortPrinter("Port", {"ipp://old", false, "", ""});
    records.setPortPrinter("Other", {"ipp://other", false, "", ""});
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        EXPECT_EQ(records.portPrinters().count("Port"), 0u);
        EXPECT_EQ(records.portPrinters().count("Other"), 1u);
        sheet.ok();
    }));
    ASSERT_EQ(records.portPrinters().count("Port"), 1u);
    EXPECT_EQ(records.portPrinters().at("Port"),
              (PrinterAddress{"ipp://printer/queue", 1, "user", "secret"}));
}

TEST_F(PortMainPage, MultiRemotePortKeepsThePrinterWhoseUrlStillStandsInTheBox) {
    config = singlePort();
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        sheet.page().click(IDC_PORT_MULTI);
        sheet.ok();
    }));
    ASSERT_EQ(records.portPrinters().count("Port"), 1u);
    EXPECT_EQ(records.portPrinters().at("Port").url, "ipp://printer/queue");
    EXPECT_EQ(config.printer.url, "");
}

TEST_F(PortMainPage, LeavingWithoutAUrlDropsThePrinterOfThePort) {
    config = multiPort({2});
    records.setPortPrinter("Port", {"ipp://old", false, "", ""});
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) { sheet.ok(); }));
    EXPECT_EQ(records.portPrinters().count("Port"), 0u);
}

TEST_F(PortMainPage, ShowsTheDirectoryAsOtherPagesLeaveIt) {
    config = multiPort({7, 2, 5});
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        sheet.openPage(2);
        records.deleteNode(5);
        records.addPrinter("c2", {"ipp://c2", false, "", ""}, 7);
        records.addGroup("D", 1);
        const DialogDriver page = sheet.openPage(0);
        ASSERT_EQ(page.rows(IDC_PORT_GROUPS), 4);
        EXPECT_EQ(page.cell(IDC_PORT_GROUPS, 2, 0), "C");
        EXPECT_EQ(page.cell(IDC_PORT_GROUPS, 2, 1), "2");
        EXPECT_TRUE(page.rowChecked(IDC_PORT_GROUPS, 2));
        EXPECT_EQ(page.cell(IDC_PORT_GROUPS, 3, 0), "D");
        EXPECT_FALSE(page.rowChecked(IDC_PORT_GROUPS, 3));
        sheet.ok();
    }));
    EXPECT_EQ(config.targetIds, (Ids{7, 2})) << "in the order of ticking, refilled or not";
}

TEST_F(PortMainPage, OtherTabIsRefusedLikeOk) {
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        const HWND page = sheet.page().window();
        sheet.chooseTab(1);
        EXPECT_EQ(boxes.take(), kNameMissing);
        EXPECT_TRUE(waitUntil([&] { return sheet.page().hasFocus(IDC_PORT_NAME); }));
        EXPECT_EQ(sheet.page().window(), page);
        sheet.cancel();
    }));
}

TEST_F(PortMainPage, RenamedNewPortLeavesNoPrinterUnderItsFirstName) {
    EXPECT_TRUE(runNew([&](const SheetDriver& sheet) {
        sheet.page().type(IDC_PORT_NAME, "First");
        sheet.page().type(IDC_PORT_URL, "ipp://p");
        sheet.openPage(1);
        EXPECT_EQ(records.portPrinters().count("First"), 1u);
        const DialogDriver page = sheet.openPage(0);
        EXPECT_TRUE(records.portPrinters().empty());
        EXPECT_EQ(page.text(IDC_PORT_URL), "ipp://p");
        page.type(IDC_PORT_NAME, "Second");
        sheet.ok();
    }));
    EXPECT_EQ(records.portPrinters().size(), 1u);
    EXPECT_EQ(records.portPrinters().count("Second"), 1u);
}

TEST_F(PortMainPage, TabKeyVisitsTheControlsInTheirOrder) {
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        page.click(IDC_PORT_AUTHENTICATION);
        page.setFocus(IDC_PORT_NAME);
        int before = IDC_PORT_NAME;
        for (const int next : {IDC_PORT_SINGLE, IDC_PORT_URL, IDC_PORT_AUTHENTICATION,
                               IDC_PORT_USER_NAME, IDC_PORT_PASSWORD}) {
            page.press(before, VK_TAB);
            EXPECT_TRUE(waitUntil([&] { return page.hasFocus(next); })) << next;
            before = next;
        }
        sheet.cancel();
    }));
}

TEST_F(PortMainPage, TakesLongTextsAndTwoThousandGroups) {
    for (int i = 0; i < 2000; ++i)
        records.addGroup("group " + std::to_string(i), 1);
    const std::string longName(2000, 'n');
    const std::string veryLong(32000, '\xE4');
    EXPECT_TRUE(runNew([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        EXPECT_EQ(page.rows(IDC_PORT_GROUPS), 2004);
        page.type(IDC_PORT_NAME, longName);
        page.type(IDC_PORT_URL, "h");
        page.click(IDC_PORT_AUTHENTICATION);
        page.type(IDC_PORT_USER_NAME, veryLong);
        page.type(IDC_PORT_PASSWORD, std::string(255, 'p'));
        sheet.ok();
    }));
    EXPECT_EQ(config.name, longName);
    EXPECT_EQ(config.printer.userName, veryLong);
    EXPECT_EQ(config.printer.password, std::string(255, 'p'));
    EXPECT_EQ(records.portPrinters().count(longName), 1u);
}

}  // namespace
}  // namespace velmora::testing
