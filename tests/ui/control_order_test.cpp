// The order in which the Tab key visits controls, and the one in which their contents are read.

#include <algorithm>

#include "ipp/job_template.h"
#include "tests/ui/port_sheet_fixture.h"
#include "tests/ui/sent_messages.h"
#include "ui/dialog_printer.h"

namespace velmora::testing {
namespace {

using Controls = std::vector<int>;

/// The controls that the Tab key visits, from `first` until it returns there.
Controls tabOrder(const DialogDriver& dialog, int first) {
    Controls order;
    HWND control = dialog.control(first);
    do {
        order.push_back(GetDlgCtrlID(control));
        control = GetNextDlgTabItem(dialog.window(), control, FALSE);
    } while (control != dialog.control(first) && order.size() < 50);
    return order;
}

/// The controls of `dialog` that were asked for their contents, in order, for as long as this
/// lives.
class Reading {
  public:
    explicit Reading(const DialogDriver& dialog)
        : messages_(dialog.window(), [window = dialog.window()](const CWPSTRUCT& sent) {
              if (GetParent(sent.hwnd) != window) return false;
              // Buttons and group boxes are asked for their texts when they are painted.
              const bool isEdit =
                  (SendMessageA(sent.hwnd, WM_GETDLGCODE, 0, 0) & DLGC_HASSETSEL) != 0;
              return sent.message == (isEdit ? WM_GETTEXT : BM_GETCHECK);
          }) {}

    Controls take() {
        Controls controls;
        for (const auto& sent : messages_.take())
            controls.push_back(sent.control);
        return controls;
    }

  private:
    SentMessages messages_;
};

using ControlOrder = PortSheetTest;

TEST_F(ControlOrder, TabVisitsTheMainPage) {
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        page.click(IDC_PORT_AUTHENTICATION);
        EXPECT_EQ(tabOrder(page, IDC_PORT_NAME),
                  (Controls{IDC_PORT_NAME, IDC_PORT_SINGLE, IDC_PORT_URL, IDC_PORT_AUTHENTICATION,
                            IDC_PORT_USER_NAME, IDC_PORT_PASSWORD}));
        page.click(IDC_PORT_MULTI);
        EXPECT_EQ(tabOrder(page, IDC_PORT_NAME),
                  (Controls{IDC_PORT_NAME, IDC_PORT_MULTI, IDC_PORT_GROUPS}));
        sheet.cancel();
    }));
}

const Controls kJobTemplateOrder{IDC_JOB_PRIORITY,       IDC_JOB_RESOLUTION, IDC_JOB_HOLD_UNTIL,
                                 IDC_JOB_QUALITY_NORMAL, IDC_JOB_SIDES,      IDC_JOB_FINISHINGS,
                                 IDC_JOB_PAGES_RANGE,    IDC_JOB_PAGES_TEXT, IDC_JOB_COPIES,
                                 IDC_JOB_MEDIA,          IDC_JOB_PORTRAIT,   IDC_JOB_NUMBER_UP,
                                 IDC_JOB_SHEET,          IDC_JOB_FIDELITY};

TEST_F(ControlOrder, TabVisitsTheJobTemplatePage) {
    records.useSinglePort();
    jobTemplate.pageRanges = "1";
    EXPECT_FALSE(runConfigure([](const SheetDriver& sheet) {
        EXPECT_EQ(tabOrder(sheet.openPage(1), IDC_JOB_PRIORITY), kJobTemplateOrder);
        sheet.cancel();
    }));
}

TEST_F(ControlOrder, TabReachesRadioGroupsWithoutASelectionAndSelectsNothing) {
    records.useSinglePort();
    jobTemplate.pageRanges = "1";
    jobTemplate.printQuality = 7;
    jobTemplate.orientationRequested = 2;
    const std::vector<std::byte> before = records.packed();
    Controls expected = kJobTemplateOrder;
    std::ranges::replace(expected, IDC_JOB_QUALITY_NORMAL, IDC_JOB_QUALITY_DRAFT);
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.openPage(1);
        EXPECT_EQ(tabOrder(page, IDC_JOB_PRIORITY), expected);
        page.setFocus(IDC_JOB_HOLD_UNTIL);
        page.press(IDC_JOB_HOLD_UNTIL, VK_TAB);
        EXPECT_TRUE(waitUntil([&] { return page.hasFocus(IDC_JOB_QUALITY_DRAFT); }));
        page.press(IDC_JOB_QUALITY_DRAFT, VK_TAB);
        EXPECT_TRUE(waitUntil([&] { return page.hasFocus(IDC_JOB_SIDES); }));
        EXPECT_FALSE(page.checked(IDC_JOB_QUALITY_DRAFT));
        sheet.openPage(0);
        EXPECT_EQ(tabOrder(sheet.openPage(1), IDC_JOB_PRIORITY), expected) << "shown again";
        sheet.ok();
    }));
    EXPECT_EQ(records.packed(), before);
}

TEST_F(ControlOrder, TabVisitsTheGroupsPage) {
    records.useMultiPort({1});
    EXPECT_FALSE(runConfigure([](const SheetDriver& sheet) {
        EXPECT_EQ(tabOrder(sheet.openPage(2), IDC_GROUPS_TREE),
                  (Controls{IDC_GROUPS_TREE, IDC_GROUPS_NEW_GROUP, IDC_GROUPS_NEW_PRINTER,
                            IDC_GROUPS_DELETE, IDC_GROUPS_PROPERTIES}));
        sheet.cancel();
    }));
}

class PrinterDialogOrder : public CleanStateTest {
  protected:
    void run(PrinterDialog& dialog, const std::string& title,
             const std::function<void(const DialogDriver&)>& person) {
        RecordedBoxes boxes;
        dialog.useMessageBoxes(boxes);
        drive([&] { dialog.runModal(nullptr); },
              [&] {
                  const DialogDriver opened = waitForDialog(title);
                  if (!opened) return;
                  person(opened);
                  if (!opened.isOpen()) return;
                  opened.clickWithoutWaiting(IDOK);
                  opened.waitUntilClosed();
              });
    }

    const PrinterForm form{"Laser", {"ipp://laser/p", 1, "user", "secret"}};
};

TEST_F(PrinterDialogOrder, TabVisitsTheNewPrinterDialog) {
    PortPrinters patterns;
    patterns["P"] = std::make_unique<CGroupsDBPrinter>();
    CDialogNewPrinter dialog({}, patterns);
    run(dialog, "New Printer Properties", [](const DialogDriver& opened) {
        opened.type(IDC_PRINTER_NAME, "n");
        opened.type(IDC_PRINTER_URL, "ipp://p");
        opened.click(IDC_PRINTER_AUTHENTICATION);
        EXPECT_EQ(tabOrder(opened, IDC_PRINTER_NAME),
                  (Controls{IDC_PRINTER_NAME, IDC_PRINTER_URL, IDC_PRINTER_AUTHENTICATION,
                            IDC_PRINTER_USER_NAME, IDC_PRINTER_PASSWORD, IDC_PRINTER_PATTERNS,
                            IDC_PRINTER_COPY_PATTERN, IDOK, IDCANCEL}));
    });
}

TEST_F(PrinterDialogOrder, TabVisitsThePropertiesAndOkReadsThemInTheirOrderOnce) {
    CDialogPrinterProperties dialog(form, {});
    Controls read;
    run(dialog, "Printer properties", [&](const DialogDriver& opened) {
        EXPECT_EQ(tabOrder(opened, IDC_PRINTER_NAME),
                  (Controls{IDC_PRINTER_NAME, IDC_PRINTER_URL, IDC_PRINTER_AUTHENTICATION,
                            IDC_PRINTER_USER_NAME, IDC_PRINTER_PASSWORD, IDOK, IDCANCEL}));
        Reading reading(opened);
        opened.clickWithoutWaiting(IDOK);
        opened.waitUntilClosed();
        read = reading.take();
    });
    EXPECT_EQ(read, (Controls{IDC_PRINTER_AUTHENTICATION, IDC_PRINTER_NAME, IDC_PRINTER_URL,
                              IDC_PRINTER_USER_NAME, IDC_PRINTER_PASSWORD}));
}

TEST_F(ControlOrder, TabVisitsTheHelpWindow) {
    EXPECT_FALSE(runNew([](const SheetDriver& sheet) {
        sheet.help();
        const DialogDriver help = waitForDialog("Help");
        EXPECT_EQ(tabOrder(help, IDC_HELP_TEXT), (Controls{IDC_HELP_TEXT, IDCANCEL}));
        help.clickWithoutWaiting(IDCANCEL);
        help.waitUntilClosed();
        sheet.cancel();
    }));
}

TEST_F(ControlOrder, OkReadsThePageThatShowsOnceAndTheOthersNotAgain) {
    records.useSinglePort();
    Controls main, jobTemplate;
    for (Controls* read : {&main, &jobTemplate}) {
        EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
            const DialogDriver other = sheet.openPage(1);
            const DialogDriver shown = sheet.openPage(0);
            Reading reading(read == &main ? shown : other);
            sheet.ok();
            sheet.waitUntilClosed();
            *read = reading.take();
        }));
    }
    EXPECT_EQ(main, (Controls{IDC_PORT_AUTHENTICATION, IDC_PORT_SINGLE, IDC_PORT_MULTI,
                              IDC_PORT_NAME, IDC_PORT_USER_NAME, IDC_PORT_PASSWORD, IDC_PORT_URL}));
    EXPECT_EQ(jobTemplate, Controls{});
}

TEST_F(ControlOrder, LeavingReadsTheMainPageInItsOrderOnce) {
    records.useSinglePort();
    EXPECT_FALSE(runConfigure([](const SheetDriver& sheet) {
        Reading reading(sheet.page());
        sheet.openPage(1);
        EXPECT_EQ(reading.take(),
                  (Controls{IDC_PORT_AUTHENTICATION, IDC_PORT_SINGLE, IDC_PORT_MULTI, IDC_PORT_NAME,
                            IDC_PORT_USER_NAME, IDC_PORT_PASSWORD, IDC_PORT_URL}));
        sheet.cancel();
    }));
}

TEST_F(ControlOrder, LeavingReadsTheJobTemplatePageInItsOrderOnce) {
    records.useSinglePort();
    EXPECT_FALSE(runConfigure([](const SheetDriver& sheet) {
        Reading reading(sheet.openPage(1));
        sheet.openPage(0);
        EXPECT_EQ(reading.take(),
                  (Controls{IDC_JOB_PRIORITY, IDC_JOB_QUALITY_DRAFT, IDC_JOB_QUALITY_NORMAL,
                            IDC_JOB_QUALITY_HIGH, IDC_JOB_PAGES_ALL, IDC_JOB_PAGES_RANGE,
                            IDC_JOB_PORTRAIT, IDC_JOB_LANDSCAPE, IDC_JOB_REVERSE_LANDSCAPE,
                            IDC_JOB_REVERSE_PORTRAIT, IDC_JOB_SHEET, IDC_JOB_PAGES_TEXT,
                            IDC_JOB_FIDELITY, IDC_JOB_COPIES}));
        sheet.cancel();
    }));
}

}  // namespace
}  // namespace velmora::testing
