// The delivered settings file has exactly the texts that the interface looks up.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "directory/groups_store.h"
#include "port/settings.h"
#include "tests/ui/groups_page_fixture.h"
#include "ui/kit/window.h"

namespace velmora::testing {
namespace {

/// "section: key" for every line of a profile file.
std::set<std::string> keysOf(const std::string& file) {
    std::set<std::string> keys;
    std::istringstream lines(file);
    std::string section;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[')
            section = line.substr(1, line.size() - 2);
        else
            keys.insert(section + ": " + line.substr(0, line.find('=')));
    }
    return keys;
}

std::set<std::string> without(const std::set<std::string>& all, const std::set<std::string>& some) {
    std::set<std::string> rest;
    std::set_difference(all.begin(), all.end(), some.begin(), some.end(),
                        std::inserter(rest, rest.end()));
    return rest;
}

std::string delivered() {
    std::ifstream in(VELMORA_LANGUAGES "/Velmora.dat", std::ios::binary);
    EXPECT_TRUE(in);
    return {std::istreambuf_iterator<char>(in), {}};
}

class AskedTexts : public GroupsPageTest {
  protected:
    void expectMessage(const std::function<void()>& cause) {
        cause();
        EXPECT_EQ(boxes.take().size(), 1u);
    }

    void provokeMainPage(const SheetDriver& sheet) {
        const DialogDriver page = sheet.page();
        const auto refused = [&] { expectMessage([&] { sheet.chooseTab(1); }); };
        page.type(IDC_PORT_NAME, "");
        refused();
        page.type(IDC_PORT_NAME, "Taken");
        refused();
        page.type(IDC_PORT_NAME, "New");
        refused();  // not a URL
        page.type(IDC_PORT_URL, "http://" + std::string(200, 'h') + "/");
        refused();
        page.type(IDC_PORT_URL, "ipp://h/p");
        SetWindowTextW(page.control(IDC_PORT_NAME), L"\u4E00");
        refused();
        page.type(IDC_PORT_NAME, "New");
        askForHelp(sheet);
    }

    static void closeHelp() {
        const DialogDriver help = waitForDialog("Help");
        help.clickWithoutWaiting(IDCANCEL);
        help.waitUntilClosed();
    }

    static void askForHelp(const SheetDriver& sheet) {
        sheet.help();
        closeHelp();
    }

    void provokeJobTemplatePage(const SheetDriver& sheet) {
        const DialogDriver page = sheet.openPage(1);
        const auto refused = [&] { expectMessage([&] { sheet.chooseTab(2); }); };
        page.type(IDC_JOB_PRIORITY, "x");
        refused();
        page.type(IDC_JOB_PRIORITY, "0");
        refused();
        page.type(IDC_JOB_PRIORITY, "1");
        page.click(IDC_JOB_PAGES_RANGE);
        refused();
        page.click(IDC_JOB_PAGES_ALL);
        askForHelp(sheet);
    }

    void provokeGroupsPage(const Page& page) {
        askForHelp(page.sheet);
        for (const char* path : {"All groups", "All groups/A", "All groups/A/C", "All groups/B"})
            page.tree.view().expand(page.tree.item(path));
        page.tree.select("All groups");
        page.command(ID_GROUPS_COPY);
        expectMessage([&] { page.command(ID_GROUPS_PASTE); });
        page.command(ID_GROUPS_NEW_GROUP);
        expectMessage([&] { page.tree.enterLabel("A"); });
        PostMessageA(page.tree.editor(), WM_KEYDOWN, VK_RETURN, 1);
        page.tree.waitUntilEdited();
        const RealInput input(page.sheet.sheet().window());
        input.dragTo(page.tree.window(), page.tree.middle("All groups/A"),
                     page.tree.middle("All groups/A/C"));
        expectMessage([&] { input.buttonUp(); });
        for (const char* path : {"All groups", "All groups/B", "All groups/B/b1"}) {
            input.rightClick(page.tree.window(), page.tree.middle(path));
            EXPECT_TRUE(waitUntil([] { return FindWindowA("#32768", nullptr) != nullptr; }));
            input.keys({VK_ESCAPE});
            EXPECT_TRUE(waitUntil([] { return FindWindowA("#32768", nullptr) == nullptr; }));
        }
    }

    void provokeDepth(const Page& page) {
        page.tree.select("All groups/deep");
        page.command(ID_GROUPS_COPY);
        page.tree.select("All groups/B");
        expectMessage([&] { page.command(ID_GROUPS_PASTE); });
    }

    void SetUp() override {
        GroupsPageTest::SetUp();
        addChain("deep", 1, 499);
    }

    void provokePrinterDialogs(const Page& page) {
        page.tree.select("All groups/B");
        page.postCommand(ID_GROUPS_NEW_PRINTER);
        const DialogDriver dialog = waitForDialog("New Printer Properties");
        expectMessage([&] { dialog.clickWithoutWaiting(IDOK); });
        dialog.type(IDC_PRINTER_NAME, "b1");
        expectMessage([&] { dialog.clickWithoutWaiting(IDOK); });
        dialog.setFocus(IDCANCEL);
        RealInput(dialog.window()).keys({VK_F1});
        closeHelp();
        dialog.clickWithoutWaiting(IDCANCEL);
        dialog.waitUntilClosed();
        page.tree.select("All groups/B/b1");
        page.postCommand(ID_GROUPS_PROPERTIES);
        const DialogDriver properties = waitForDialog("Printer properties");
        properties.clickWithoutWaiting(IDCANCEL);
        properties.waitUntilClosed();
    }

    void provokeAll(const SheetDriver& sheet) {
        provokeMainPage(sheet);
        provokeJobTemplatePage(sheet);
        const Page page(sheet, sheet.openPage(2));
        provokeGroupsPage(page);
        provokeDepth(page);
        provokePrinterDialogs(page);
        sheet.cancel();
    }
};

TEST_F(AskedTexts, AreThoseOfTheDeliveredFile) {
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) { provokeAll(sheet); }));
    // The texts that the monitor looks up: its names, and the root's name when a directory is read.
    monitorDisplayName();
    directoryStore().load(directory);
    readSetting("AppRegKey");

    const std::set<std::string> asked = keysOf(readSettingsFile());
    const std::set<std::string> ready = keysOf(delivered());
    EXPECT_EQ(without(asked, ready), std::set<std::string>()) << "asked for, but not delivered";
    EXPECT_EQ(without(ready, asked), std::set<std::string>()) << "delivered, but not asked for";
}

TEST_F(AskedTexts, AreNotWrittenOnceTheDeliveredFileIsInPlace) {
    writeSettingsFile(delivered());
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        EXPECT_EQ(sheet.tabText(0), "Port");
        EXPECT_EQ(sheet.tabText(1), "Job Template");
        EXPECT_EQ(sheet.tabText(2), "Printer Groups");
        provokeAll(sheet);
    }));
    EXPECT_EQ(readSettingsFile(), delivered());
    EXPECT_EQ(names(1), (Lines{"A", "B", "deep", "New Group"}));
}

}  // namespace
}  // namespace velmora::testing
