#include "tests/support/resources.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/built_dll.h"

namespace velmora::testing {
namespace {

constexpr int kNone = -1;
// The part of a style that tells controls of one class apart.
constexpr DWORD kButtonKinds = BS_TYPEMASK;

/// What is fixed about a control: the rest of its style and its place are layout.
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
        EXPECT_LE(control.place.bottom, dialog.height);
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
