#include <windows.h>

#include <commctrl.h>
#include <oleacc.h>

#include "tests/ui/groups_page_fixture.h"
#include "ui/kit/window.h"

// The names of controls for screen readers: read through the platform's accessibility interface
// where Wine implements it, otherwise checked by the order of the controls.

namespace velmora::testing {
namespace {

std::string classOf(HWND control) {
    std::array<char, 64> name{};
    GetClassNameA(control, name.data(), static_cast<int>(name.size()));
    return name.data();
}

/// The name by which the platform's accessibility interface knows a control.
std::wstring accessibleName(HWND control) {
    IAccessible* object = nullptr;
    // Not IID_IAccessible: the 64-bit import library of oleacc has something else of that name.
    if (FAILED(AccessibleObjectFromWindow(control, static_cast<DWORD>(OBJID_CLIENT),
                                          __uuidof(IAccessible),
                                          reinterpret_cast<void**>(&object))))
        return {};
    VARIANT self{};
    self.vt = VT_I4;
    self.lVal = CHILDID_SELF;
    BSTR name = nullptr;
    std::wstring text;
    if (object->get_accName(self, &name) == S_OK && name != nullptr) text = name;
    SysFreeString(name);
    object->Release();
    return text;
}

/// The text that names a list or tree for screen readers: that of the static or group box directly
/// before it.
std::string labelBefore(HWND control) {
    const HWND label = GetWindow(control, GW_HWNDPREV);
    if (label == nullptr || (SendMessageA(label, WM_GETDLGCODE, 0, 0) & DLGC_STATIC) == 0)
        return {};
    EXPECT_NE(GetWindowLongPtrA(label, GWL_STYLE) & WS_VISIBLE, 0);
    return windowText(label);
}

void expectColumnsNamed(HWND list) {
    const auto header = reinterpret_cast<HWND>(SendMessageA(list, LVM_GETHEADER, 0, 0));
    const LRESULT columns = SendMessageA(header, HDM_GETITEMCOUNT, 0, 0);
    EXPECT_GT(columns, 0);
    for (LRESULT i = 0; i < columns; ++i) {
        std::array<char, 64> text{};
        HDITEMA item{};
        item.mask = HDI_TEXT;
        item.pszText = text.data();
        item.cchTextMax = static_cast<int>(text.size());
        SendMessageA(header, HDM_GETITEMA, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(&item));
        EXPECT_STRNE(text.data(), "");
    }
}

/// Checks that every control that can be operated has a name. Returns how many there are.
int expectControlsNamed(HWND dialog) {
    int worked = 0;
    std::wstring groupBox;
    for (HWND control = GetWindow(dialog, GW_CHILD); control != nullptr;
         control = GetWindow(control, GW_HWNDNEXT)) {
        const std::string windowClass = classOf(control);
        const LRESULT code = SendMessageA(control, WM_GETDLGCODE, 0, 0);
        SCOPED_TRACE(windowClass + " " + std::to_string(GetDlgCtrlID(control)));
        if (windowClass == "Static") continue;
        if (windowClass == "Button" && (code & DLGC_STATIC) != 0) {
            groupBox = accessibleName(control);
            EXPECT_NE(groupBox, L"");
            continue;
        }
        ++worked;
        if (windowClass == "Button") {
            EXPECT_NE(accessibleName(control), L"");
            if ((code & DLGC_RADIOBUTTON) != 0) {
                EXPECT_NE(groupBox, L"") << "a radio button outside a group box";
            }
        } else if (windowClass == "Edit") {
            EXPECT_NE(accessibleName(control), L"");
        } else {
            EXPECT_NE(labelBefore(control), "");
            if (windowClass == WC_LISTVIEWA) expectColumnsNamed(control);
        }
    }
    return worked;
}

class Accessibility : public GroupsPageTest {};

TEST_F(Accessibility, EveryControlHasAName) {
    ASSERT_HRESULT_SUCCEEDED(CoInitialize(nullptr));
    work([&](const Page& page) {
        const HRESULT initialized = CoInitialize(nullptr);
        EXPECT_HRESULT_SUCCEEDED(initialized);
        EXPECT_EQ(expectControlsNamed(page.window()), 5);
        page.tree.select("All groups/A");
        page.postCommand(ID_GROUPS_NEW_PRINTER);
        const DialogDriver dialog = waitForDialog("New Printer Properties");
        EXPECT_EQ(expectControlsNamed(dialog.window()), 9);
        EXPECT_EQ(labelBefore(dialog.control(IDC_PRINTER_PATTERNS)), "Patterns");
        dialog.clickWithoutWaiting(IDCANCEL);
        dialog.waitUntilClosed();
        EXPECT_EQ(expectControlsNamed(page.sheet.openPage(1).window()), 20);
        const DialogDriver main = page.sheet.openPage(0);
        EXPECT_EQ(expectControlsNamed(main.window()), 8);
        EXPECT_EQ(labelBefore(main.control(IDC_PORT_GROUPS)), "Multi-remote Printing");
        EXPECT_EQ(accessibleName(main.control(IDC_PORT_URL)), L"URL:");
        page.sheet.help();
        const DialogDriver help = waitForDialog("Help");
        EXPECT_EQ(expectControlsNamed(help.window()), 2);
        help.clickWithoutWaiting(IDCANCEL);
        help.waitUntilClosed();
        CoUninitialize();
    });
    CoUninitialize();
}

TEST_F(Accessibility, ListsOfThePagesHaveTheirLabelDirectlyBefore) {
    EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.openPage(1);
        const std::pair<int, const char*> lists[] = {
            {IDC_JOB_RESOLUTION, "&Resolution:"}, {IDC_JOB_HOLD_UNTIL, "Hold &until:"},
            {IDC_JOB_SIDES, "&Sides:"},           {IDC_JOB_FINISHINGS, "&Finishings:"},
            {IDC_JOB_MEDIA, "Med&ia:"},           {IDC_JOB_NUMBER_UP, "Pa&ges per Sheet:"},
            {IDC_JOB_PAGES_TEXT, "Pages:"}};
        for (const auto& [list, label] : lists)
            EXPECT_EQ(labelBefore(page.control(list)), label);
        sheet.cancel();
    }));
}

}  // namespace
}  // namespace velmora::testing
