#include <windows.h>

#include <commctrl.h>

#include <memory>

#include "harness/clean_state.h"
#include "harness/dialog_driver.h"
#include "harness/real_input.h"
#include "ui/dialog_printer.h"
#include "ui/resources/resource_ids.h"

namespace velmora::testing {
namespace {

using Messages = std::vector<RecordedBoxes::Message>;

const std::string kNameMissing = "Please specify printer name.";
const std::string kNameTaken =
    "A printer or a group with the name you specified already exists in this group.\n"
    "Please specify a different printer name.";
const std::string kUrlMissing = "Please specify printer URI.";
const std::string kUrlInvalid = "URL has invalid format";

void selectRow(const DialogDriver& dialog, int row) {
    LVITEMA item{};
    item.stateMask = item.state = LVIS_SELECTED | LVIS_FOCUSED;
    SendMessageA(dialog.control(IDC_PRINTER_PATTERNS), LVM_SETITEMSTATE, static_cast<WPARAM>(row),
                 reinterpret_cast<LPARAM>(&item));
}

PrinterForm shown(const DialogDriver& dialog) {
    return {dialog.text(IDC_PRINTER_NAME),
            {dialog.text(IDC_PRINTER_URL), dialog.checked(IDC_PRINTER_AUTHENTICATION),
             dialog.text(IDC_PRINTER_USER_NAME), dialog.text(IDC_PRINTER_PASSWORD)}};
}

void expectCredentialsEnabled(const DialogDriver& dialog, bool expected) {
    for (const int id : {IDC_PRINTER_USER_NAME, IDC_PRINTER_USER_NAME_LABEL, IDC_PRINTER_PASSWORD,
                         IDC_PRINTER_PASSWORD_LABEL})
        EXPECT_EQ(dialog.enabled(id), expected) << id;
}

class PrinterDialogs : public CleanStateTest {
  protected:
    bool run(PrinterDialog& dialog, const std::string& title,
             const std::function<void(const DialogDriver&)>& person) {
        dialog.useMessageBoxes(boxes);
        bool accepted = false;
        drive([&] { accepted = dialog.runModal(nullptr); },
              [&] {
                  const DialogDriver opened = waitForDialog(title);
                  if (!opened) return;
                  person(opened);
                  opened.waitUntilClosed();
              });
        EXPECT_EQ(boxes.count(), 0u) << "messages that the test did not expect";
        return accepted;
    }

    bool runNew(const std::function<void(const DialogDriver&)>& person) {
        CDialogNewPrinter dialog(taken, patterns);
        const bool accepted = run(dialog, "New Printer Properties", person);
        result = dialog.form();
        return accepted;
    }

    bool runProperties(const std::function<void(const DialogDriver&)>& person) {
        CDialogPrinterProperties dialog(start, taken);
        const bool accepted = run(dialog, "Printer properties", person);
        result = dialog.form();
        return accepted;
    }

    void addPattern(const std::string& name, const PrinterAddress& address) {
        auto printer = std::make_unique<CGroupsDBPrinter>();
        printer->name = name;
        printer->address = address;
        patterns[name] = std::move(printer);
    }

    PortPrinters patterns;
    std::vector<std::string> taken{"Archive", "Scanner"};
    PrinterForm start{"Laser", {"ipp://laser/p", true, "user", "secret"}};
    PrinterForm result;
    RecordedBoxes boxes;
};

TEST_F(PrinterDialogs, PropertiesShowThePrinterAndHandItBack) {
    EXPECT_TRUE(runProperties([&](const DialogDriver& dialog) {
        EXPECT_EQ(shown(dialog), start);
        expectCredentialsEnabled(dialog, true);
        dialog.clickWithoutWaiting(IDOK);
    }));
    EXPECT_EQ(result, start) << "its own name is accepted";
}

TEST_F(PrinterDialogs, ANewPrinterStartsEmptyWithoutAuthentication) {
    EXPECT_TRUE(runNew([&](const DialogDriver& dialog) {
        EXPECT_EQ(shown(dialog), PrinterForm());
        expectCredentialsEnabled(dialog, false);
        dialog.click(IDC_PRINTER_AUTHENTICATION);
        expectCredentialsEnabled(dialog, true);
        dialog.type(IDC_PRINTER_NAME, "Plotter");
        dialog.type(IDC_PRINTER_URL, "printer1/ipp");
        dialog.type(IDC_PRINTER_USER_NAME, "me");
        dialog.type(IDC_PRINTER_PASSWORD, "pw");
        dialog.clickWithoutWaiting(IDOK);
    }));
    EXPECT_EQ(result, (PrinterForm{"Plotter", {"printer1/ipp", true, "me", "pw"}}));
}

TEST_F(PrinterDialogs, CancelAndTheCloseBoxHandNothingBack) {
    EXPECT_FALSE(runProperties([](const DialogDriver& dialog) {
        dialog.type(IDC_PRINTER_NAME, "x");
        dialog.clickWithoutWaiting(IDCANCEL);
    }));
    EXPECT_FALSE(runNew([](const DialogDriver& dialog) {
        PostMessageA(dialog.window(), WM_SYSCOMMAND, SC_CLOSE, 0);
    }));
}

TEST_F(PrinterDialogs, RefusalsComeInOrderAndPutTheFocusThere) {
    const auto refused = [&](const DialogDriver& dialog, int field, const std::string& message,
                             MessageIcon icon) {
        dialog.clickWithoutWaiting(IDOK);
        EXPECT_EQ(boxes.take(), (Messages{{message, icon}}));
        EXPECT_TRUE(waitUntil([&] { return dialog.hasFocus(field); })) << message;
        EXPECT_TRUE(dialog.isOpen());
    };
    EXPECT_TRUE(runNew([&](const DialogDriver& dialog) {
        refused(dialog, IDC_PRINTER_NAME, kNameMissing, MessageIcon::none);
        dialog.type(IDC_PRINTER_NAME, "Archive");
        refused(dialog, IDC_PRINTER_NAME, kNameTaken, MessageIcon::none);
        dialog.type(IDC_PRINTER_NAME, "archive");
        refused(dialog, IDC_PRINTER_URL, kUrlMissing, MessageIcon::none);
        dialog.type(IDC_PRINTER_URL, "http://" + std::string(200, 'h') + "/p");
        refused(dialog, IDC_PRINTER_URL, kUrlInvalid, MessageIcon::error);
        dialog.type(IDC_PRINTER_URL, "https://h/p");
        dialog.clickWithoutWaiting(IDOK);
    }));
    EXPECT_EQ(result.name, "archive");
}

TEST_F(PrinterDialogs, PatternsAreThePrintersOfPortsInTheirOrder) {
    addPattern("b port", {"ipp://b", true, "ub", "pb"});
    addPattern("a port", {"ipp://a", false, "", ""});
    EXPECT_FALSE(runNew([&](const DialogDriver& dialog) {
        const HWND list = dialog.control(IDC_PRINTER_PATTERNS);
        ASSERT_EQ(dialog.rows(IDC_PRINTER_PATTERNS), 2);
        EXPECT_EQ(dialog.cell(IDC_PRINTER_PATTERNS, 0, 0), "a port");
        EXPECT_EQ(dialog.cell(IDC_PRINTER_PATTERNS, 0, 1), "ipp://a");
        EXPECT_EQ(dialog.cell(IDC_PRINTER_PATTERNS, 1, 0), "b port");
        EXPECT_EQ(SendMessageA(list, LVM_GETCOLUMNWIDTH, 0, 0), 100);
        EXPECT_EQ(SendMessageA(list, LVM_GETCOLUMNWIDTH, 1, 0), 160);
        constexpr LRESULT kStyles = LVS_EX_GRIDLINES | LVS_EX_HEADERDRAGDROP | LVS_EX_FULLROWSELECT;
        EXPECT_EQ(SendMessageA(list, LVM_GETEXTENDEDLISTVIEWSTYLE, 0, 0) & kStyles, kStyles);
        EXPECT_EQ(dialog.heading(IDC_PRINTER_PATTERNS, 0), "Name");
        EXPECT_EQ(dialog.heading(IDC_PRINTER_PATTERNS, 1), "URL");
        dialog.clickWithoutWaiting(IDCANCEL);
    }));
}

TEST_F(PrinterDialogs, TheButtonCopiesTheSelectedPatternAndNothingWithoutOne) {
    addPattern("a port", {"ipp://a", false, "", ""});
    addPattern("b port", {"ipp://b", true, "ub", "pb"});
    EXPECT_FALSE(runNew([&](const DialogDriver& dialog) {
        dialog.type(IDC_PRINTER_NAME, "mine");
        dialog.click(IDC_PRINTER_COPY_PATTERN);
        EXPECT_EQ(dialog.text(IDC_PRINTER_NAME), "mine");
        selectRow(dialog, 1);
        dialog.click(IDC_PRINTER_COPY_PATTERN);
        EXPECT_EQ(shown(dialog), (PrinterForm{"b port", {"ipp://b", true, "ub", "pb"}}));
        expectCredentialsEnabled(dialog, true);
        selectRow(dialog, 0);
        dialog.click(IDC_PRINTER_COPY_PATTERN);
        EXPECT_EQ(shown(dialog), (PrinterForm{"a port", {"ipp://a", false, "", ""}}));
        expectCredentialsEnabled(dialog, false);
        dialog.clickWithoutWaiting(IDCANCEL);
    }));
}

TEST_F(PrinterDialogs, ADoubleClickOnARowCopiesIt) {
    addPattern("a port", {"ipp://a", false, "", ""});
    EXPECT_FALSE(runNew([&](const DialogDriver& dialog) {
        const HWND list = dialog.control(IDC_PRINTER_PATTERNS);
        RECT row{};
        row.left = LVIR_LABEL;
        SendMessageA(list, LVM_GETITEMRECT, 0, reinterpret_cast<LPARAM>(&row));
        const RealInput input(dialog.window());
        input.doubleClick(list, {row.left + 10, (row.top + row.bottom) / 2});
        EXPECT_TRUE(waitUntil([&] { return dialog.text(IDC_PRINTER_NAME) == "a port"; }));
        dialog.clickWithoutWaiting(IDCANCEL);
    }));
}

TEST_F(PrinterDialogs, TenThousandPatternsAreShownInOneDrawing) {
    for (int i = 0; i < 10000; ++i)
        addPattern("port " + std::to_string(100000 + i), {"ipp://p", 0, "", ""});
    EXPECT_FALSE(runNew([&](const DialogDriver& dialog) {
        EXPECT_EQ(dialog.rows(IDC_PRINTER_PATTERNS), 10000);
        EXPECT_EQ(dialog.cell(IDC_PRINTER_PATTERNS, 9999, 0), "port 109999");
        EXPECT_EQ(dialog.cell(IDC_PRINTER_PATTERNS, 9999, 1), "ipp://p");
        selectRow(dialog, 9999);
        dialog.click(IDC_PRINTER_COPY_PATTERN);
        EXPECT_EQ(dialog.text(IDC_PRINTER_NAME), "port 109999");
        dialog.clickWithoutWaiting(IDCANCEL);
    }));
}

TEST_F(PrinterDialogs, WithoutAuthenticationCredentialsAreStillHandedBack) {
    start.address.useAuthentication = 1;
    EXPECT_TRUE(runProperties([&](const DialogDriver& dialog) {
        dialog.click(IDC_PRINTER_AUTHENTICATION);
        dialog.clickWithoutWaiting(IDOK);
    }));
    PrinterForm expected = start;
    expected.address.useAuthentication = 0;
    EXPECT_EQ(result, expected) << "the caller drops what is not used";
}

TEST_F(PrinterDialogs, TextsOfEveryLengthComeBack) {
    for (const std::size_t length : {1u, 255u, 1023u}) {
        const std::string text(length, 'n');
        EXPECT_TRUE(runNew([&](const DialogDriver& dialog) {
            dialog.type(IDC_PRINTER_NAME, text);
            dialog.type(IDC_PRINTER_URL, "http://h/" + text);
            dialog.clickWithoutWaiting(IDOK);
        }));
        EXPECT_EQ(result.name, text);
        EXPECT_EQ(result.address.url, "http://h/" + text);
    }
}

TEST_F(PrinterDialogs, MoreThanTheStoreReadsCannotBeTyped) {
    EXPECT_FALSE(runNew([&](const DialogDriver& dialog) {
        for (const int id :
             {IDC_PRINTER_NAME, IDC_PRINTER_URL, IDC_PRINTER_USER_NAME, IDC_PRINTER_PASSWORD})
            EXPECT_EQ(SendMessageA(dialog.control(id), EM_GETLIMITTEXT, 0, 0), 1023) << id;
        // A text set by a message may have any length.
        dialog.type(IDC_PRINTER_NAME, std::string(32000, 'n'));
        dialog.type(IDC_PRINTER_URL, std::string(32000, '/'));
        dialog.clickWithoutWaiting(IDOK);
        EXPECT_EQ(boxes.take(), (Messages{{kUrlInvalid, MessageIcon::error}}));
        dialog.clickWithoutWaiting(IDCANCEL);
    }));
}

}  // namespace
}  // namespace velmora::testing
