#include "tests/ui/port_sheet_fixture.h"

// Texts of the sheet and its first page, looked up in the settings file.

namespace velmora::testing {
namespace {

/// The lines that the first run of the sheet leaves in the file, by section.
const std::string kSheetSection =
    "[DialogPortProperties]\r\nConfigure Port Monitor=Configure Port Monitor\r\n";
const std::string kMainPageSection =
    "[PagePortMain]\r\n"
    "PagePortMain=PagePortMain\r\n"
    "Port=Port\r\n"
    "Name:=&Name:\r\n"
    "Printing target=Printing target\r\n"
    "Single Printer=&Single Printer\r\n"
    "Multi-remote Printing=Multi-re&mote Printing\r\n"
    "URL:=U&RL:\r\n"
    "Printer requires authentication=Printer requires &authentication\r\n"
    "User name:=&User name:\r\n"
    "Password:=Pass&word:\r\n"
    "Group=Group\r\n"
    "Printers number=Printers number\r\n";

class SheetTexts : public PortSheetTest {
  protected:
    void openAndCancel(const std::function<void(const SheetDriver&)>& look = {}) {
        EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
            if (look) look(sheet);
            sheet.cancel();
        }));
    }
};

TEST_F(SheetTexts, FirstRunWritesEveryTextAndTheSecondShowsTheSame) {
    openAndCancel();
    const std::string file = readSettingsFile();
    EXPECT_NE(file.find(kSheetSection), std::string::npos) << file;
    EXPECT_NE(file.find(kMainPageSection), std::string::npos) << file;
    openAndCancel([](const SheetDriver& sheet) {
        EXPECT_EQ(sheet.tabText(0), "PagePortMain");
        EXPECT_EQ(sheet.page().text(IDC_PORT_AUTHENTICATION), "Printer requires &authentication");
    });
    EXPECT_EQ(readSettingsFile(), file);
}

TEST_F(SheetTexts, TranslationsShowAndAreNotLookedUpAgain) {
    writeSettingsFile(
        "[DialogPortProperties]\r\nConfigure Port Monitor=Anschluss einrichten\r\n"
        "[PagePortMain]\r\nPagePortMain=Anschluss\r\nURL:=Adresse (&R)\\nzweite Zeile:\r\n"
        "Single Printer=&Ein Drucker \xE4\xF6\xFC\r\nGroup=Gruppe\r\n"
        "[Strings]\r\nPlease enter port name.=Name fehlt.\\nBitte eingeben.\r\n");
    title = "Anschluss einrichten";
    openAndCancel([&](const SheetDriver& sheet) {
        EXPECT_EQ(sheet.tabText(0), "Anschluss");
        EXPECT_EQ(sheet.page().text(IDC_PORT_URL_LABEL), "Adresse (&R)\nzweite Zeile:");
        EXPECT_EQ(sheet.page().text(IDC_PORT_SINGLE), "&Ein Drucker \xE4\xF6\xFC");
        EXPECT_EQ(sheet.page().text(IDC_PORT_MULTI), "Multi-re&mote Printing");
        sheet.ok();
        EXPECT_EQ(boxes.take().front().text, "Name fehlt.\nBitte eingeben.");
    });
    const std::string file = readSettingsFile();
    for (const char* translated : {"Anschluss=", "Anschluss einrichten=", "Gruppe=",
                                   "Name fehlt"
                                   ".\\nBitte eingeben.="})
        EXPECT_EQ(file.find(std::string("\n") + translated), std::string::npos)
            << translated << '\n'
            << file;
}

TEST_F(SheetTexts, FilesThatCannotBeUsedLeaveTheDefaults) {
    const auto showsDefaults = [](const SheetDriver& sheet) {
        EXPECT_EQ(sheet.page().text(IDC_PORT_NAME_LABEL), "&Name:");
        EXPECT_EQ(sheet.tabText(0), "PagePortMain");
    };
    writeSettingsFile("[Strings]\r\n");
    SetFileAttributesA(settingsFilePath().c_str(), FILE_ATTRIBUTE_READONLY);
    openAndCancel(showsDefaults);
    SetFileAttributesA(settingsFilePath().c_str(), FILE_ATTRIBUTE_NORMAL);

    // A directory of the file's name can be neither read nor written, even by an administrator.
    DeleteFileA(settingsFilePath().c_str());
    ASSERT_TRUE(CreateDirectoryA(settingsFilePath().c_str(), nullptr));
    openAndCancel(showsDefaults);
    EXPECT_TRUE(RemoveDirectoryA(settingsFilePath().c_str()));

    writeSettingsFile(std::string(100000, '['));
    openAndCancel(showsDefaults);
    writeSettingsFile("[PagePortMain\r\nName:\r\n=x\r\n\xFF\xFF\xFF[PagePortMain]\r\nName:=\r\n");
    openAndCancel(showsDefaults);
}

TEST_F(SheetTexts, OverlongTranslationIsShownAsFarAsTheFileIsRead) {
    writeSettingsFile("[PagePortMain]\r\nName:=" + std::string(2000, 'x') + "\r\n");
    openAndCancel([](const SheetDriver& sheet) {
        EXPECT_EQ(sheet.page().text(IDC_PORT_NAME_LABEL), std::string(1023, 'x'));
    });
}

}  // namespace
}  // namespace velmora::testing
