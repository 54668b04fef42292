#include "harness/resources.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "harness/built_dll.h"

namespace velmora::testing {
namespace {

constexpr int kNone = -1;
// The part of a style that distinguishes controls of one class.
constexpr DWORD kButtonKinds = BS_TYPEMASK;

/// The fixed properties of a control: the rest of its style and its position are layout.
struct Expected {
    int id;
    const char* windowClass;
    const char* text;
    DWORD mask;   ///< bits of the style that are fixed
    DWORD style;  ///< their values
};

constexpr Expected groupBox(const char* text) {
    return {kNone, "Button", text, kButtonKinds | WS_TABSTOP, BS_GROUPBOX};
}
constexpr Expected label(int id, const char* text) {
    return {id, "Static", text, SS_TYPEMASK | WS_TABSTOP, SS_LEFT};
}
constexpr Expected edit(int id, DWORD style, DWORD without = 0) {
    return {id, "Edit", "", WS_TABSTOP | style | without, WS_TABSTOP | style};
}
constexpr Expected radio(int id, const char* text, DWORD group) {
    return {id, "Button", text, kButtonKinds | WS_GROUP, BS_AUTORADIOBUTTON | group};
}
constexpr Expected checkBox(int id, const char* text) {
    return {id, "Button", text, kButtonKinds | WS_TABSTOP | WS_GROUP, BS_AUTOCHECKBOX | WS_TABSTOP};
}

constexpr Expected dropDownList(int id, DWORD sorted) {
    return {id, "ComboBox", "", CBS_DROPDOWNLIST | CBS_SORT | WS_TABSTOP,
            CBS_DROPDOWNLIST | sorted | WS_TABSTOP};
}
constexpr Expected button(int id, const char* text, DWORD kind) {
    return {id, "Button", text, kButtonKinds | WS_TABSTOP, kind | WS_TABSTOP};
}

bool isDropDownList(const ControlResource& control) {
    return lstrcmpiA(control.windowClass.c_str(), "ComboBox") == 0;
}

void expectControls(const DialogResource& dialog, const std::vector<Expected>& expected) {
    ASSERT_EQ(dialog.controls.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE("control " + std::to_string(i) + ", " + expected[i].text);
        const ControlResource& control = dialog.controls[i];
        EXPECT_EQ(control.id, expected[i].id);
        EXPECT_STRCASEEQ(control.windowClass.c_str(), expected[i].windowClass);
        EXPECT_EQ(control.text, expected[i].text);
        EXPECT_EQ(control.style & expected[i].mask, expected[i].style);
        EXPECT_EQ(control.style & (WS_CHILD | WS_VISIBLE | WS_DISABLED), WS_CHILD | WS_VISIBLE);
        EXPECT_GE(control.place.left, 0);
        EXPECT_GE(control.place.top, 0);
        EXPECT_LE(control.place.right, dialog.width);
        // The height of a drop-down list is that of its open state.
        if (!isDropDownList(control)) {
            EXPECT_LE(control.place.bottom, dialog.height);
        }
    }
}

void expectPage(const DialogResource& page, const char* caption) {
    EXPECT_EQ(page.width, 320);
    EXPECT_EQ(page.height, 206);
    EXPECT_EQ(page.font, "MS Sans Serif");
    EXPECT_EQ(page.fontSize, 8);
    EXPECT_EQ(page.caption, caption);
    EXPECT_EQ(page.style & (WS_CHILD | WS_DISABLED | WS_POPUP), WS_CHILD | WS_DISABLED);
}

void expectDistinctMnemonics(const DialogResource& dialog) {
    std::string letters = dialog.mnemonics();
    std::sort(letters.begin(), letters.end());
    EXPECT_EQ(std::adjacent_find(letters.begin(), letters.end()), letters.end()) << letters;
}

class Resources : public ::testing::Test {
  protected:
    DialogResource dialog(int id) const {
        auto found = readDialog(dll_.module(), id);
        EXPECT_TRUE(found) << "no dialog " << id;
        return found.value_or(DialogResource{});
    }

    const BuiltDll dll_;
};

TEST_F(Resources, PortMainPage) {
    const DialogResource page = dialog(1001);
    expectPage(page, "");
    expectControls(page,
                   {
                       groupBox("Port"),
                       label(1052, "&Name:"),
                       edit(1004, ES_AUTOHSCROLL, ES_PASSWORD),
                       groupBox("Printing target"),
                       radio(1005, "&Single Printer", WS_GROUP),
                       radio(1006, "Multi-re&mote Printing", 0),
                       label(1051, "U&RL:"),
                       edit(1003, ES_AUTOHSCROLL | WS_GROUP, ES_PASSWORD),
                       checkBox(1007, "Printer requires &authentication"),
                       label(1049, "&User name:"),
                       edit(1001, 0, ES_PASSWORD),
                       label(1050, "Pass&word:"),
                       edit(1002, ES_PASSWORD),
                       {1008, WC_LISTVIEWA, "", LVS_TYPEMASK | WS_TABSTOP, LVS_REPORT | WS_TABSTOP},
                   });
    expectDistinctMnemonics(page);
}

TEST_F(Resources, JobTemplatePage) {
    const DialogResource page = dialog(1024);
    expectPage(page, "Job Template Attributes");
    expectControls(page, {
                             groupBox("Output Settings"),
                             label(kNone, "&Priority:"),
                             edit(1043, ES_NUMBER),
                             label(kNone, "&Resolution:"),
                             dropDownList(1027, 0),
                             label(kNone, "Hold &until:"),
                             dropDownList(1042, CBS_SORT),
                             label(kNone, "Quality:"),
                             radio(1039, "draf&t", WS_GROUP),
                             radio(1006, "&normal", 0),
                             radio(1028, "&high", 0),
                             groupBox("Document options"),
                             label(kNone, "&Sides:"),
                             dropDownList(1036, 0),
                             label(kNone, "&Finishings:"),
                             dropDownList(1038, 0),
                             groupBox("Page Range"),
                             radio(1029, "&All", WS_GROUP),
                             radio(1030, "Pag&es:", 0),
                             edit(1044, WS_GROUP, ES_NUMBER),
                             groupBox("Paper"),
                             label(kNone, "&Copies:"),
                             edit(1045, ES_NUMBER),
                             label(kNone, "Med&ia:"),
                             dropDownList(1031, 0),
                             label(kNone, "Orientation:"),
                             radio(1032, "p&ortrait", WS_GROUP),
                             radio(1033, "&landscape", 0),
                             radio(1034, "reverse-lan&dscape", 0),
                             radio(1035, "re&verse-portrait", 0),
                             label(kNone, "Pa&ges per Sheet:"),
                             dropDownList(1040, CBS_SORT),
                             checkBox(1041, "Print &job sheet"),
                             checkBox(1046, "All attributes are mandator&y"),
                         });
    expectDistinctMnemonics(page);
}

TEST_F(Resources, JobTemplateRadioGroupsEndBehindTheirButtons) {
    const DialogResource page = dialog(1024);
    for (const int last : {1028, 1030, 1035}) {
        const auto button = std::find_if(page.controls.begin(), page.controls.end(),
                                         [&](const ControlResource& c) { return c.id == last; });
        ASSERT_NE(button, page.controls.end());
        EXPECT_NE((button + 1)->style & WS_GROUP, 0u) << "the arrow keys would leave " << last;
    }
}

TEST_F(Resources, PrinterGroupsPage) {
    const DialogResource page = dialog(1016);
    expectPage(page, "");
    constexpr DWORD kTreeBits = TVS_HASBUTTONS | TVS_HASLINES | TVS_LINESATROOT | TVS_EDITLABELS |
                                TVS_SHOWSELALWAYS | TVS_NOTOOLTIPS | TVS_DISABLEDRAGDROP |
                                WS_TABSTOP;
    expectControls(page,
                   {
                       label(kNone, "Groups of printers"),
                       {1009, WC_TREEVIEWA, "", kTreeBits,
                        kTreeBits & ~static_cast<DWORD>(TVS_LINESATROOT | TVS_DISABLEDRAGDROP)},
                       button(1016, "New &group", BS_PUSHBUTTON),
                       button(1017, "New p&rinter ...", BS_PUSHBUTTON),
                       button(1018, "&Delete", BS_PUSHBUTTON),
                       button(1019, "&Properties ...", BS_PUSHBUTTON),
                   });
    expectDistinctMnemonics(page);
}

std::vector<Expected> printerFields() {
    return {
        groupBox("Common"),
        label(kNone, "&Name:"),
        edit(1020, ES_AUTOHSCROLL, ES_PASSWORD),
        label(kNone, "&Printer URL:"),
        edit(1021, ES_AUTOHSCROLL, ES_PASSWORD),
        groupBox("Authentication"),
        checkBox(1022, "Printer requires &authentication"),
        label(1049, "&User name:"),
        edit(1023, ES_AUTOHSCROLL, ES_PASSWORD),
        label(1050, "Pa&ssword:"),
        edit(1024, ES_PASSWORD),
    };
}

void expectPrinterDialog(const DialogResource& dialog, const char* caption, int height) {
    EXPECT_EQ(dialog.width, 215);
    EXPECT_EQ(dialog.height, height);
    EXPECT_EQ(dialog.font, "MS Sans Serif");
    EXPECT_EQ(dialog.fontSize, 8);
    EXPECT_EQ(dialog.caption, caption);
    EXPECT_EQ(dialog.style & (WS_CHILD | WS_POPUP | WS_CAPTION | WS_SYSMENU),
              WS_POPUP | WS_CAPTION | WS_SYSMENU);
    expectDistinctMnemonics(dialog);
}

TEST_F(Resources, PrinterPropertiesDialog) {
    const DialogResource properties = dialog(1017);
    expectPrinterDialog(properties, "Printer properties", 166);
    std::vector<Expected> expected = printerFields();
    expected.push_back(button(1, "OK", BS_DEFPUSHBUTTON));
    expected.push_back(button(2, "Cancel", BS_PUSHBUTTON));
    expectControls(properties, expected);
}

TEST_F(Resources, NewPrinterDialog) {
    const DialogResource newPrinter = dialog(1018);
    expectPrinterDialog(newPrinter, "New Printer Properties", 290);
    constexpr DWORD kListBits = LVS_TYPEMASK | LVS_SINGLESEL | LVS_SHOWSELALWAYS | WS_TABSTOP;
    std::vector<Expected> expected = printerFields();
    expected.push_back(groupBox("Patterns"));
    expected.push_back({1025, WC_LISTVIEWA, "", kListBits,
                        LVS_REPORT | LVS_SINGLESEL | LVS_SHOWSELALWAYS | WS_TABSTOP});
    expected.push_back(button(1026, "&Get data from pattern", BS_PUSHBUTTON));
    expected.push_back(button(1, "OK", BS_DEFPUSHBUTTON));
    expected.push_back(button(2, "Cancel", BS_PUSHBUTTON));
    expectControls(newPrinter, expected);
}

/// Items as text: a popup's in brackets, "-" for a separator, "!" before a greyed item.
std::string described(const std::vector<MenuItemResource>& items) {
    std::string text;
    for (const MenuItemResource& item : items) {
        if (!text.empty()) text += ", ";
        if ((item.flags & MF_GRAYED) != 0) text += '!';
        if ((item.flags & MF_POPUP) != 0)
            text += item.text + " [" + described(item.items) + "]";
        else
            text += item.text.empty() ? "-" : item.text + " " + std::to_string(item.id);
    }
    return text;
}

TEST_F(Resources, GroupsMenu) {
    const auto menu = readMenu(dll_.module(), 1020);
    ASSERT_TRUE(menu);
    ASSERT_EQ(menu->size(), 3u);
    EXPECT_EQ(described({(*menu)[0]}),
              "Root Menu [&New [&Group 32777, &Printer 32778], -, !Cu&t 32772, &Copy 32773, "
              "&Paste 32774]");
    EXPECT_EQ(described({(*menu)[1]}),
              "Group Menu [&New [&Group 32777, &Printer 32778], -, Cu&t 32772, &Copy 32773, "
              "&Paste 32774, -, &Delete 32776, Rena&me 32775]");
    EXPECT_EQ(described({(*menu)[2]}),
              "Printer Menu [Cu&t 32772, &Copy 32773, !&Paste 32774, -, &Delete 32776, "
              "Rena&me 32775, -, P&roperties 32781]");
}

TEST_F(Resources, GroupsAccelerators) {
    const auto keys = readAccelerators(dll_.module(), 1021);
    ASSERT_TRUE(keys);
    ASSERT_EQ(keys->size(), 3u);
    const int expected[3][2] = {{'C', 32773}, {'V', 32774}, {'X', 32772}};
    for (int i = 0; i < 3; ++i) {
        const AcceleratorResource& key = (*keys)[static_cast<std::size_t>(i)];
        EXPECT_EQ(key.flags, FVIRTKEY | FCONTROL);
        EXPECT_EQ(key.key, expected[i][0]);
        EXPECT_EQ(key.command, expected[i][1]);
    }
}

TEST_F(Resources, TreeIconsAreAStripAndItsMask) {
    const auto bitmapOf = [&](int id) {
        BITMAPINFOHEADER header{};
        const auto bytes = readResource(dll_.module(), RT_BITMAP, id);
        EXPECT_GE(bytes.size(), sizeof header);
        if (bytes.size() >= sizeof header) std::memcpy(&header, bytes.data(), sizeof header);
        return header;
    };
    const BITMAPINFOHEADER strip = bitmapOf(1018);
    EXPECT_EQ(strip.biWidth, 32);
    EXPECT_EQ(strip.biHeight, 16);
    EXPECT_EQ(strip.biBitCount, 32);
    const BITMAPINFOHEADER mask = bitmapOf(1019);
    EXPECT_EQ(mask.biWidth, 32);
    EXPECT_EQ(mask.biHeight, 16);
    EXPECT_EQ(mask.biBitCount, 1);
}

TEST_F(Resources, StringTable) {
    const std::map<int, std::string> expected = {
        {1, "Specified port name is already used. Select another one please."},
        {2, "Can't copy object."},
        {3, "Configure Port Monitor"},
        {4,
         "Please enter page numbers and/or page ranges\n"
         "separated by commas. For example, 1,3,5-12"},
        {5, "Error"},
        {6, "Please enter port name."},
        {7, "Can't move object."},
        {8, "New Group Pattern"},
        {9,
         "An object with the name you specified already exists.\n"
         "Please specify a different name."},
        {10, "Please specify printer name."},
        {11,
         "A printer or a group with the name you specified already exists in this group.\n"
         "Please specify a different printer name."},
        {12, "Please specify printer URI."},
        {13, "Please enter an integer between %1!d! and %2!d!."},
        {14, "URL has invalid format"},
    };
    EXPECT_EQ(readStrings(dll_.module()), expected);
}

TEST_F(Resources, ManifestNamesTheCurrentCommonControls) {
    const auto bytes = readResource(dll_.module(), RT_MANIFEST, 2);
    const std::string manifest(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    EXPECT_NE(manifest.find("Microsoft.Windows.Common-Controls"), std::string::npos);
    EXPECT_NE(manifest.find("6.0.0.0"), std::string::npos);
}

}  // namespace
}  // namespace velmora::testing
