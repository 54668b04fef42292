#include <atomic>
#include <stdexcept>
#include <thread>

#include "port/port_config.h"
#include "tests/ui/port_sheet_fixture.h"
#include "ui/kit/tree_view.h"

// The behaviour of both port sheets.

namespace velmora::testing {
namespace {

class PortSheetRun : public PortSheetTest {
  protected:
    /// Opens the dialog for a new printer in the first group.
    static DialogDriver startNewPrinter(const SheetDriver& sheet) {
        EXPECT_TRUE(waitUntil([&] { return static_cast<bool>(sheet.page()); }));
        const DialogDriver groups = sheet.openPage(2);
        const TreeView tree(groups.control(IDC_GROUPS_TREE));
        tree.select(tree.firstChild(nullptr));
        groups.clickWithoutWaiting(IDC_GROUPS_NEW_PRINTER);
        return waitForDialog("New Printer Properties");
    }
};

TEST_F(PortSheetRun, CancelHandsNothingBack) {
    config = singlePort();
    EXPECT_FALSE(runConfigure([](const SheetDriver& sheet) {
        sheet.page().type(IDC_PORT_URL, "ipp://elsewhere");
        sheet.page().click(IDC_PORT_MULTI);
        sheet.cancel();
    }));
    EXPECT_EQ(config, singlePort());
}

TEST_F(PortSheetRun, ClosingTheSheetHandsNothingBack) {
    config = singlePort();
    EXPECT_FALSE(runConfigure([](const SheetDriver& sheet) {
        sheet.page().type(IDC_PORT_URL, "ipp://elsewhere");
        PostMessageA(sheet.sheet().window(), WM_SYSCOMMAND, SC_CLOSE, 0);
    }));
    EXPECT_EQ(config, singlePort());
}

TEST_F(PortSheetRun, EscapeHandsNothingBack) {
    config = singlePort();
    EXPECT_FALSE(runConfigure([](const SheetDriver& sheet) {
        sheet.page().setFocus(IDC_PORT_URL);
        sheet.page().press(IDC_PORT_URL, VK_ESCAPE);
    }));
    EXPECT_EQ(config, singlePort());
}

TEST_F(PortSheetRun, MultiRemotePortComesBackWithoutUrlAndCredentials) {
    config = singlePort();
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        sheet.page().click(IDC_PORT_MULTI);
        sheet.page().checkRow(IDC_PORT_GROUPS, 1, true);
        sheet.ok();
    }));
    EXPECT_EQ(config, multiPort({2}));
}

TEST_F(PortSheetRun, SinglePrinterPortComesBackWithoutGroups) {
    config = multiPort({2, 5});
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        sheet.page().click(IDC_PORT_SINGLE);
        sheet.page().type(IDC_PORT_URL, "ipp://p");
        sheet.ok();
    }));
    EXPECT_TRUE(config.targetIds.empty());
    EXPECT_EQ(config.singleTarget, 1);
    EXPECT_EQ(config.printer.url, "ipp://p");
}

TEST_F(PortSheetRun, CredentialsWithoutAuthenticationComeBackEmpty) {
    config = singlePort();
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        sheet.page().click(IDC_PORT_AUTHENTICATION);
        EXPECT_EQ(sheet.page().text(IDC_PORT_USER_NAME), "user");
        sheet.ok();
    }));
    EXPECT_EQ(config.printer.useAuthentication, 0);
    EXPECT_EQ(config.printer.userName, "");
    EXPECT_EQ(config.printer.password, "");
}

TEST_F(PortSheetRun, PagesThatWereNotOpenedHandBackWhatTheyWereGiven) {
    config = singlePort();
    config.jobTemplate.jobPriority = 77;
    config.jobTemplate.media = "no such paper";
    config.jobTemplate.printQuality = 7;
    config.jobTemplate.pageRanges = "not,a range";
    const PortConfig before = config;
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) { sheet.ok(); }));
    EXPECT_EQ(config, before);
}

TEST_F(PortSheetRun, GroupsThatTheDirectoryDoesNotHaveAreDropped) {
    config = multiPort({99, 2, 3, 5});
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        sheet.page();
        records.deleteNode(2);
        sheet.ok();
    }));
    EXPECT_EQ(config.targetIds, Ids{5}) << "99 is nothing, 3 was a printer, 2 was deleted";
}

TEST_F(PortSheetRun, HasOkCancelAndHelpAndNoApply) {
    EXPECT_FALSE(runNew([](const SheetDriver& sheet) {
        constexpr int kApply = 0x3021;  // ID_APPLY_NOW of the platform's sheet
        constexpr int kHelp = 9;        // IDHELP
        const HWND window = sheet.sheet().window();
        EXPECT_TRUE(IsWindowVisible(GetDlgItem(window, IDOK)));
        EXPECT_TRUE(IsWindowVisible(GetDlgItem(window, IDCANCEL)));
        EXPECT_TRUE(IsWindowVisible(GetDlgItem(window, kHelp)));
        EXPECT_TRUE(IsWindowEnabled(GetDlgItem(window, kHelp)));
        EXPECT_FALSE(IsWindowVisible(GetDlgItem(window, kApply)));
        EXPECT_EQ(sheet.tabText(0), "PagePortMain");
        sheet.cancel();
    }));
}

TEST_F(PortSheetRun, MessageComesInTheBoxOfThePlatform) {
    CDialogNewPort sheet(nullptr, directory, "", spooler.functions());
    drive([&] { EXPECT_FALSE(sheet.edit(config)); },
          [&] {
              const SheetDriver opened(waitForDialog(title).window());
              opened.ok();
              HWND box = nullptr;
              EXPECT_TRUE(waitUntil([&] {
                  box = GetLastActivePopup(opened.sheet().window());
                  return box != opened.sheet().window() && GetDlgItem(box, 0xFFFF) != nullptr;
              }));
              EXPECT_EQ(DialogDriver(box).text(0xFFFF), "Please enter port name.");
              EXPECT_EQ(DialogDriver(box).title(), title);
              EXPECT_FALSE(IsWindowEnabled(opened.sheet().window()));
              PostMessageA(box, WM_COMMAND, IDOK, 0);
              DialogDriver(box).waitUntilClosed();
              EXPECT_TRUE(waitUntil([&] { return opened.page().hasFocus(IDC_PORT_NAME); }));
              opened.cancel();
              opened.waitUntilClosed();
          });
}

struct BoxSearch {
    HWND sheet;
    std::vector<HWND> found;
};

BOOL CALLBACK visitBox(HWND window, LPARAM parameter) {
    auto& search = *reinterpret_cast<BoxSearch*>(parameter);
    if (window != search.sheet && GetDlgItem(window, 0xFFFF) != nullptr && IsWindowVisible(window))
        search.found.push_back(window);
    return TRUE;
}

/// The message boxes that are open over a sheet.
std::vector<HWND> openBoxes(HWND sheet) {
    BoxSearch search{sheet, {}};
    EnumThreadWindows(GetWindowThreadProcessId(sheet, nullptr), &visitBox,
                      reinterpret_cast<LPARAM>(&search));
    return search.found;
}

HWND waitForBox(HWND sheet) {
    EXPECT_TRUE(waitUntil([&] { return !openBoxes(sheet).empty(); }));
    const auto boxes = openBoxes(sheet);
    return boxes.empty() ? nullptr : boxes.front();
}

void closeBox(HWND box) {
    PostMessageA(box, WM_COMMAND, IDOK, 0);
    DialogDriver(box).waitUntilClosed();
}

/// The icon of a message box; null if it has none.
HICON pictureOf(HWND box) {
    for (HWND child = GetWindow(box, GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
        const auto picture = reinterpret_cast<HICON>(SendMessageA(child, STM_GETICON, 0, 0));
        if (picture != nullptr && IsWindowVisible(child)) return picture;
    }
    return nullptr;
}

TEST_F(PortSheetRun, OnlyAnInvalidUrlHasAPictureInItsBox) {
    CDialogNewPort sheet(nullptr, directory, "", spooler.functions());
    drive([&] { EXPECT_FALSE(sheet.edit(config)); },
          [&] {
              const SheetDriver opened(waitForDialog(title).window());
              opened.ok();
              const HWND plain = waitForBox(opened.sheet().window());
              EXPECT_EQ(pictureOf(plain), nullptr);
              closeBox(plain);
              opened.page().type(IDC_PORT_NAME, "New");
              opened.page().type(IDC_PORT_URL, "http://" + std::string(200, 'h') + "/");
              opened.ok();
              const HWND error = waitForBox(opened.sheet().window());
              EXPECT_EQ(pictureOf(error), LoadIconA(nullptr, IDI_ERROR));
              closeBox(error);
              opened.cancel();
              opened.waitUntilClosed();
          });
}

TEST_F(PortSheetRun, PressesThatWaitWhileABoxIsOpenOpenNoMore) {
    CDialogNewPort sheet(nullptr, directory, "", spooler.functions());
    drive([&] { EXPECT_FALSE(sheet.edit(config)); },
          [&] {
              const SheetDriver opened(waitForDialog(title).window());
              opened.ok();
              opened.ok();
              opened.chooseTab(1);
              const HWND box = waitForBox(opened.sheet().window());
              opened.page().settle();
              EXPECT_EQ(openBoxes(opened.sheet().window()), std::vector<HWND>{box});
              closeBox(box);
              opened.page().settle();
              EXPECT_EQ(openBoxes(opened.sheet().window()), std::vector<HWND>{});
              EXPECT_TRUE(waitUntil([&] { return opened.page().hasFocus(IDC_PORT_NAME); }));
              opened.cancel();
              opened.waitUntilClosed();
          });
}

TEST_F(PortSheetRun, RefusedPastesThatWaitOpenOneBox) {
    config = multiPort({1});
    CDialogConfigPort sheet(nullptr, directory, spooler.functions());
    drive([&] { EXPECT_FALSE(sheet.edit(config)); },
          [&] {
              const SheetDriver opened(waitForDialog(title).window());
              const DialogDriver groups = opened.openPage(2);
              const TreeView tree(groups.control(IDC_GROUPS_TREE));
              tree.select(tree.firstChild(nullptr));
              for (const int command :
                   {ID_GROUPS_COPY, ID_GROUPS_PASTE, ID_GROUPS_PASTE, ID_GROUPS_PASTE})
                  PostMessageA(groups.window(), WM_COMMAND, static_cast<WPARAM>(command), 0);
              const HWND box = waitForBox(opened.sheet().window());
              groups.settle();
              EXPECT_EQ(openBoxes(opened.sheet().window()), std::vector<HWND>{box});
              closeBox(box);
              opened.cancel();
              opened.waitUntilClosed();
          });
}

TEST_F(PortSheetRun, TwoSheetsAtOnceDoNotDisturbEachOther) {
    SheetRecords other;
    other.useMultiPort({2});
    config = singlePort();
    CDialogConfigPort sheet(nullptr, directory, spooler.functions());
    drive([&] { EXPECT_TRUE(sheet.edit(config)); },
          [&, first = GetCurrentThreadId()] {
              const SheetDriver one(waitForDialogOf(first, title).window());
              // One after the other: Wine sometimes crashes if two threads show their first windows
              // at the same time.
              std::atomic<DWORD> secondThread = 0;
              std::thread second([&] {
                  secondThread = GetCurrentThreadId();
                  CDialogConfigPort otherSheet(nullptr, other.directory, spooler.functions());
                  EXPECT_TRUE(otherSheet.edit(other.config));
              });
              EXPECT_TRUE(waitUntil([&] { return secondThread != 0; }));
              const SheetDriver two(waitForDialogOf(secondThread, title).window());
              two.page().checkRow(IDC_PORT_GROUPS, 2, true);
              one.page().type(IDC_PORT_URL, "ipp://one");
              two.ok();
              two.waitUntilClosed();
              second.join();
              one.ok();
              one.waitUntilClosed();
          });
    EXPECT_EQ(config.printer.url, "ipp://one");
    EXPECT_EQ(other.config.targetIds, (Ids{2, 5}));
}

/// Throws when the page is left.
class ThrowingBoxes : public MessageBoxes {
  public:
    void show(HWND, const std::string&, MessageIcon) override {
        throw std::runtime_error("thrown in a handler");
    }
};

TEST_F(PortSheetRun, WhatAHandlerThrowsComesOutOfTheModalCall) {
    ThrowingBoxes throwing;
    CDialogNewPort sheet(nullptr, directory, "", spooler.functions());
    sheet.useMessageBoxes(throwing);
    drive([&] { EXPECT_THROW(sheet.edit(config), std::runtime_error); },
          [&] {
              const SheetDriver opened(waitForDialog(title).window());
              opened.ok();
              opened.waitUntilClosed();
          });
    EXPECT_EQ(config, PortConfig());
}

TEST_F(PortSheetRun, WhatADialogOfAPageThrowsComesOutToo) {
    ThrowingBoxes throwing;
    config = multiPort({1});
    CDialogConfigPort sheet(nullptr, directory, spooler.functions());
    sheet.useMessageBoxes(throwing);
    drive([&] { EXPECT_THROW(sheet.edit(config), std::runtime_error); },
          [&] {
              const SheetDriver opened(waitForDialog(title).window());
              startNewPrinter(opened).clickWithoutWaiting(IDOK);
              opened.waitUntilClosed();
          });
    EXPECT_EQ(config, multiPort({1}));
}

TEST_F(PortSheetRun, AnOwnerThatEndsTakesSheetAndDialogsWithItAndHandsNothingBack) {
    config = multiPort({1});
    drive(
        [&] {
            const HWND owner = CreateWindowA("STATIC", "owner", WS_POPUP | WS_VISIBLE, 0, 0, 50, 50,
                                             nullptr, nullptr, nullptr, nullptr);
            CDialogConfigPort sheet(owner, directory, spooler.functions());
            EXPECT_FALSE(sheet.edit(config));
            EXPECT_FALSE(IsWindow(owner));
        },
        [&] {
            const SheetDriver opened(waitForDialog(title).window());
            const DialogDriver dialog = startNewPrinter(opened);
            PostMessageA(GetWindow(opened.sheet().window(), GW_OWNER), WM_CLOSE, 0, 0);
            dialog.waitUntilClosed();
            opened.waitUntilClosed();
        });
    EXPECT_EQ(config, multiPort({1}));
    EXPECT_EQ(records.nodeCount(), SheetRecords().nodeCount());
}

}  // namespace
}  // namespace velmora::testing
