#include <windows.h>

#include <commctrl.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "harness/dialog_driver.h"
#include "harness/real_input.h"
#include "harness/sheet_records.h"
#include "platform/profile_file.h"
#include "ui/kit/combo_list.h"
#include "ui/port_sheet.h"
#include "ui/resources/resource_ids.h"
#include "ui/text_table.h"

// dialog-pictures FOLDER [SETTINGS-FILE]: shows every page and dialog of the interface and writes
// what the screen shows of each as a bitmap into FOLDER. SETTINGS-FILE: texts to show.

namespace velmora {
namespace {

using testing::DialogDriver;
using testing::SheetDriver;

std::string folder;

/// Writes a 24-bit bitmap of the window as it is on the screen.
void savePicture(HWND window, const std::string& name) {
    // Paint everything and flush it to the screen: Wine collects drawing for a while.
    DialogDriver(window).settle();
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ALLCHILDREN | RDW_UPDATENOW);
    Sleep(200);
    DialogDriver(window).settle();
    RECT place{};
    GetWindowRect(window, &place);
    const int width = place.right - place.left;
    const int height = place.bottom - place.top;
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;

    const HDC screen = GetDC(nullptr);
    const HDC memory = CreateCompatibleDC(screen);
    void* pixels = nullptr;
    const HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
    const HGDIOBJ before = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, screen, place.left, place.top, SRCCOPY);
    GdiFlush();

    const DWORD size = static_cast<DWORD>((width * 3 + 3) / 4 * 4 * height);
    BITMAPFILEHEADER header{};
    header.bfType = 0x4D42;
    header.bfOffBits = sizeof header + sizeof info.bmiHeader;
    header.bfSize = header.bfOffBits + size;
    std::ofstream out(folder + "/" + name + ".bmp", std::ios::binary);
    out.write(reinterpret_cast<const char*>(&header), sizeof header);
    out.write(reinterpret_cast<const char*>(&info.bmiHeader), sizeof info.bmiHeader);
    out.write(static_cast<const char*>(pixels), size);

    SelectObject(memory, before);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    std::printf("%s\n", name.c_str());
}

/// Two floors, and a port of both.
void fill(testing::SheetRecords& records) {
    records.clearDirectory();
    const auto floor = records.addGroup("First floor", 1);
    const auto office = records.addGroup("Accounting", floor);
    records.addPrinter("Laser 1", {"ipp://laser1/ipp", false, "", ""}, floor);
    records.addPrinter("Laser 2", {"https://laser2.example/printers/lp", true, "u", "p"}, office);
    const auto cellar = records.addGroup("Cellar", 1);
    records.setPortPrinter("Reception", {"ipp://reception/ipp", true, "user", "secret"});
    records.setPortPrinter("Warehouse",
                           {"ipp://warehouse.example:8631/printers/raw", false, "", ""});
    records.useMultiPort({floor, cellar}, "Everywhere");
}

/// The window that `owner` has opened on top of itself.
DialogDriver openedBy(HWND owner) {
    HWND popup = owner;
    testing::waitUntil([&] {
        popup = GetLastActivePopup(owner);
        return popup != owner && IsWindowVisible(popup);
    });
    return DialogDriver(popup);
}

void selectItem(const DialogDriver& page, HTREEITEM item) {
    SendMessageA(page.control(IDC_GROUPS_TREE), TVM_SELECTITEM, TVGN_CARET,
                 reinterpret_cast<LPARAM>(item));
}

HTREEITEM nextItem(const DialogDriver& page, UINT relation, HTREEITEM item) {
    return reinterpret_cast<HTREEITEM>(SendMessageA(page.control(IDC_GROUPS_TREE), TVM_GETNEXTITEM,
                                                    relation, reinterpret_cast<LPARAM>(item)));
}

void expandAll(const DialogDriver& page) {
    for (HTREEITEM item = nextItem(page, TVGN_ROOT, nullptr); item != nullptr;
         item = nextItem(page, TVGN_NEXTVISIBLE, item))
        SendMessageA(page.control(IDC_GROUPS_TREE), TVM_EXPAND, TVE_EXPAND,
                     reinterpret_cast<LPARAM>(item));
}

void pictureOfDialog(const DialogDriver& page, int button, const std::string& name) {
    const HWND sheet = GetAncestor(page.window(), GA_ROOT);
    page.clickWithoutWaiting(button);
    const DialogDriver dialog = openedBy(sheet);
    savePicture(dialog.window(), name);
    PostMessageA(dialog.window(), WM_COMMAND, IDCANCEL, 0);
    dialog.waitUntilClosed();
}

/// The sheet while the pointer rests on a closed list that cuts its text, as no translation does.
void pictureOfTip(const SheetDriver& sheet, const DialogDriver& page) {
    constexpr int kShortEdge = 4;
    page.choose(IDC_JOB_SIDES, kShortEdge);
    const HWND list = page.control(IDC_JOB_SIDES);
    if (!ComboList(list).showsWholeText()) {
        RECT area{};
        GetClientRect(list, &area);
        testing::RealInput(sheet.sheet().window()).moveTo(list, {area.right / 3, area.bottom / 2});
        const auto tip = [] {
            const HWND tips = FindWindowA(TOOLTIPS_CLASSA, nullptr);
            return tips != nullptr && IsWindowVisible(tips) != FALSE;
        };
        if (testing::waitUntil(tip)) savePicture(sheet.sheet().window(), "job-template-tip");
    }
    page.choose(IDC_JOB_SIDES, 0);
}

void picturesOfGroups(const SheetDriver& sheet) {
    const DialogDriver page = sheet.openPage(2);
    expandAll(page);
    const HTREEITEM group = nextItem(page, TVGN_CHILD, nextItem(page, TVGN_ROOT, nullptr));
    selectItem(page, group);
    savePicture(sheet.sheet().window(), "groups");
    pictureOfDialog(page, IDC_GROUPS_NEW_PRINTER, "new-printer");
    for (HTREEITEM item = nextItem(page, TVGN_CHILD, group); item != nullptr;
         item = nextItem(page, TVGN_NEXT, item)) {
        selectItem(page, item);
        if (!page.enabled(IDC_GROUPS_PROPERTIES)) continue;
        pictureOfDialog(page, IDC_GROUPS_PROPERTIES, "printer-properties");
        return;
    }
}

void picturesOfNewPort(const SheetDriver& sheet) {
    savePicture(sheet.sheet().window(), "new-port");
    sheet.ok();
    const DialogDriver box = openedBy(sheet.sheet().window());
    savePicture(box.window(), "message");
    PostMessageA(box.window(), WM_COMMAND, IDOK, 0);
    box.waitUntilClosed();
    sheet.cancel();
}

void picturesOfPort(const SheetDriver& sheet) {
    savePicture(sheet.sheet().window(), "configure-port");
    sheet.help();
    const DialogDriver help = openedBy(sheet.sheet().window());
    savePicture(help.window(), "help");
    help.clickWithoutWaiting(IDCANCEL);
    help.waitUntilClosed();
    const DialogDriver jobTemplate = sheet.openPage(1);
    savePicture(sheet.sheet().window(), "job-template");
    pictureOfTip(sheet, jobTemplate);
    picturesOfGroups(sheet);
    sheet.cancel();
}

void show(PortSheet& sheet, PortConfig& config,
          const std::function<void(const SheetDriver&)>& work) {
    testing::drive([&] { sheet.edit(config); },
                   [&] {
                       const SheetDriver driver(testing::waitForDialog(interfaceTitle()).window());
                       testing::waitUntil([&] { return static_cast<bool>(driver.page()); });
                       work(driver);
                       driver.waitUntilClosed();
                   });
}

void takeAll() {
    testing::SheetRecords records;
    fill(records);
    const testing::SheetRecords fresh;
    CDialogNewPort newPort(nullptr, records.directory, "");
    show(newPort, fresh.config, picturesOfNewPort);

    CDialogConfigPort configPort(nullptr, records.directory);
    show(configPort, records.config, picturesOfPort);
}

}  // namespace
}  // namespace velmora

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "dialog-pictures FOLDER [SETTINGS-FILE]\n");
        return 2;
    }
    velmora::folder = argv[1];
    const std::string settings = velmora::systemDirectory() + "\\Velmora.dat";
    DeleteFileA(settings.c_str());
    if (argc > 2 && !CopyFileA(argv[2], settings.c_str(), FALSE)) {
        std::fprintf(stderr, "no settings file %s\n", argv[2]);
        return 1;
    }
    velmora::takeAll();
    DeleteFileA(settings.c_str());
    return 0;
}
