#include <windows.h>

#include <commctrl.h>

#include <algorithm>
#include <map>

#include "harness/real_input.h"
#include "ipp/job_template.h"
#include "ipp/job_template_choices.h"
#include "tests/ui/port_sheet_fixture.h"
#include "tests/ui/sent_messages.h"
#include "ui/kit/fonts.h"
#include "ui/kit/window.h"
#include "ui/page_job_template.h"

namespace velmora::testing {
namespace {

constexpr int kPage = 1;
using Messages = std::vector<RecordedBoxes::Message>;

const std::string kRangeOfPriority = "Please enter an integer between 1 and 100.";
const std::string kRangeOfCopies = "Please enter an integer between 1 and 2147483647.";
const std::string kNoInteger = "Please enter an integer.";
const std::string kPageRanges =
    "Please enter page numbers and/or page ranges\nseparated by commas. For example, 1,3,5-12";

int selection(const DialogDriver& page, int list) {
    return static_cast<int>(SendMessageA(page.control(list), CB_GETCURSEL, 0, 0));
}

std::vector<std::string> items(const DialogDriver& page, int list) {
    std::vector<std::string> texts;
    const LRESULT count = SendMessageA(page.control(list), CB_GETCOUNT, 0, 0);
    for (WPARAM i = 0; i < static_cast<WPARAM>(count); ++i) {
        char area[256] = "";
        SendMessageA(page.control(list), CB_GETLBTEXT, i, reinterpret_cast<LPARAM>(area));
        texts.emplace_back(area);
    }
    return texts;
}

int droppedWidth(const DialogDriver& page, int list) {
    return static_cast<int>(SendMessageA(page.control(list), CB_GETDROPPEDWIDTH, 0, 0));
}

/// The widest item, an average character and both edges.
int neededWidth(const DialogDriver& page, int list) {
    const TextMeasure measure(page.control(list));
    int widest = 0;
    for (const std::string& item : items(page, list))
        widest = std::max(widest, measure.width(item));
    return widest + measure.averageCharWidth() + 2 * GetSystemMetrics(SM_CXEDGE);
}

template <class Choices>
std::vector<std::string> textsOf(const Choices& choices) {
    std::vector<std::string> texts;
    for (const auto& choice : choices) {
        if constexpr (requires { choice.text; })
            texts.emplace_back(choice.text);
        else
            texts.emplace_back(choice);
    }
    return texts;
}

class JobTemplatePage : public PortSheetTest {
  protected:
    void SetUp() override {
        PortSheetTest::SetUp();
        records.useSinglePort();
    }

    /// Opens the page of the port's sheet, lets `person` work and presses OK.
    bool edit(const std::function<void(const DialogDriver&)>& person) {
        return runConfigure([&](const SheetDriver& sheet) {
            person(sheet.openPage(kPage));
            sheet.ok();
        });
    }

    /// Leaving the page with `text` in `field` shows `message` and stays on the page.
    void expectRefused(const SheetDriver& sheet, const DialogDriver& page, int field,
                       const std::string& text, const std::string& message) {
        SCOPED_TRACE(text.substr(0, 20));
        page.type(field, text);
        sheet.chooseTab(0);
        EXPECT_EQ(boxes.take(), (Messages{{message, MessageIcon::none}}));
        EXPECT_TRUE(waitUntil([&] { return page.hasFocus(field); }));
        EXPECT_EQ(sheet.page().window(), page.window());
        page.type(field, "2");
    }
};

TEST_F(JobTemplatePage, ListsHoldTheirItemsInOrderAndDropWideEnough) {
    EXPECT_TRUE(edit([](const DialogDriver& page) {
        EXPECT_EQ(items(page, IDC_JOB_HOLD_UNTIL), textsOf(holdUntilChoices()));
        EXPECT_EQ(items(page, IDC_JOB_SIDES), textsOf(sidesChoices()));
        EXPECT_EQ(items(page, IDC_JOB_MEDIA), textsOf(mediaChoices()));
        EXPECT_EQ(items(page, IDC_JOB_RESOLUTION), textsOf(resolutionChoices()));
        EXPECT_EQ(items(page, IDC_JOB_FINISHINGS), textsOf(finishingsChoices()));
        EXPECT_EQ(items(page, IDC_JOB_NUMBER_UP), textsOf(numberUpChoices()));
        for (const int list : {IDC_JOB_HOLD_UNTIL, IDC_JOB_SIDES, IDC_JOB_MEDIA, IDC_JOB_RESOLUTION,
                               IDC_JOB_FINISHINGS, IDC_JOB_NUMBER_UP}) {
            EXPECT_GE(droppedWidth(page, list), neededWidth(page, list)) << list;
        }
    }));
}

TEST_F(JobTemplatePage, AListDropsAsWideAsItsWidestTranslation) {
    writeSettingsFile("[Strings]\r\nhead-to-toe=" + std::string(100, 'W') + "\r\n");
    EXPECT_TRUE(edit([](const DialogDriver& page) {
        RECT closed{};
        GetClientRect(page.control(IDC_JOB_SIDES), &closed);
        const int width = droppedWidth(page, IDC_JOB_SIDES);
        EXPECT_GT(width, closed.right);
        EXPECT_EQ(width, neededWidth(page, IDC_JOB_SIDES));
    }));
}

TEST_F(JobTemplatePage, EveryListDropsAsWideAsItsWidestTranslation) {
    const std::string wide(100, 'W');
    writeSettingsFile("[Strings]\r\nno-hold=" + wide + "\r\n300 dpi=" + wide + "\r\none-sided=" +
                      wide + "\r\nstaple=" + wide + "\r\nCustom Paper Size=" + wide + "\r\n");
    EXPECT_TRUE(edit([&](const DialogDriver& page) {
        // The numbers of the last list are not translated and fit.
        for (const int list : {IDC_JOB_HOLD_UNTIL, IDC_JOB_RESOLUTION, IDC_JOB_SIDES,
                               IDC_JOB_FINISHINGS, IDC_JOB_MEDIA}) {
            EXPECT_EQ(std::ranges::count(items(page, list), wide), 1) << list;
            EXPECT_EQ(droppedWidth(page, list), neededWidth(page, list)) << list;
        }
    }));
}

TEST_F(JobTemplatePage, EveryListIsToldTheWidthOfItsWidestItem) {
    // A list whose items are narrower than the list itself does not report the width that was set.
    EXPECT_TRUE(runConfigure([](const SheetDriver& sheet) {
        SentMessages widened(sheet.sheet().window(), [](const CWPSTRUCT& sent) {
            return sent.message == CB_SETDROPPEDWIDTH;
        });
        const DialogDriver page = sheet.openPage(kPage);
        std::map<int, int> told;
        for (const auto& message : widened.take())
            told[message.control] = static_cast<int>(message.wParam);
        std::map<int, int> needed;
        for (const int list : {IDC_JOB_HOLD_UNTIL, IDC_JOB_SIDES, IDC_JOB_MEDIA, IDC_JOB_RESOLUTION,
                               IDC_JOB_FINISHINGS, IDC_JOB_NUMBER_UP})
            needed[list] = neededWidth(page, list);
        EXPECT_EQ(told, needed);
        sheet.ok();
    }));
}

TEST_F(JobTemplatePage, ARestingPointerShowsTheWholeTextOfAClosedList) {
    const std::string whole = "two-sided-short-edge";
    const auto tip = []() -> HWND {
        HWND tips = nullptr;
        while ((tips = FindWindowExA(nullptr, tips, TOOLTIPS_CLASSA, nullptr)) != nullptr)
            if (IsWindowVisible(tips)) return tips;
        return nullptr;
    };
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.openPage(kPage);
        const RealInput input(sheet.sheet().window());
        const auto rest = [&](int control) {
            RECT area{};
            GetClientRect(page.control(control), &area);
            input.moveTo(page.control(control), {area.right / 3, area.bottom / 2});
        };
        page.choose(IDC_JOB_SIDES, 4);
        rest(IDC_JOB_SIDES);
        EXPECT_TRUE(waitUntil([&] { return tip() != nullptr; })) << "no tip";
        EXPECT_EQ(windowText(tip()), whole);
        rest(IDC_JOB_COPIES);
        EXPECT_TRUE(waitUntil([&] { return tip() == nullptr; })) << "the tip stays";
        sheet.ok();
    }));
}

/// The page in its own sheet, so that it can be inspected without OK.
class PageSheet : public SheetWindow {
  public:
    explicit PageSheet(CPageJobTemplate& page) : SheetWindow("Page", nullptr, IDM_VISUAL_STYLES) {
        addPage(page);
    }
};

TEST_F(JobTemplatePage, NothingIsStoredBeforeEverythingHasBeenChecked) {
    CPageJobTemplate page;
    page.useMessageBoxes(boxes);
    PageSheet sheet(page);
    drive([&] { EXPECT_FALSE(sheet.runModal()); },
          [&] {
              const SheetDriver opened(waitForDialog("Page").window());
              EXPECT_TRUE(waitUntil([&] { return static_cast<bool>(opened.page()); }));
              opened.page().type(IDC_JOB_PRIORITY, "7");
              opened.page().choose(IDC_JOB_SIDES, 3);
              opened.page().click(IDC_JOB_QUALITY_HIGH);
              opened.page().type(IDC_JOB_COPIES, "0");
              opened.ok();
              EXPECT_EQ(boxes.take().size(), 1u);
              opened.cancel();
              opened.waitUntilClosed();
          });
    EXPECT_EQ(page.jobTemplate(), JobTemplate());
}

TEST_F(JobTemplatePage, UncheckedBoxesAreStored) {
    jobTemplate.ippAttributeFidelity = 1;
    jobTemplate.jobSheets = "standard";
    EXPECT_TRUE(edit([](const DialogDriver& page) {
        page.click(IDC_JOB_FIDELITY);
        page.click(IDC_JOB_SHEET);
    }));
    EXPECT_EQ(jobTemplate.ippAttributeFidelity, 0);
    EXPECT_EQ(jobTemplate.jobSheets, "none");
}

TEST_F(JobTemplatePage, ShowsTheDefaultsOfANewPort) {
    // Whatever the record holds.
    jobTemplate.copies = 9;
    jobTemplate.sides = "tumble";
    jobTemplate.pageRanges = "7";
    server.clear();
    EXPECT_FALSE(runNew([&](const SheetDriver& sheet) {
        sheet.page().type(IDC_PORT_NAME, "New");
        sheet.page().type(IDC_PORT_URL, "ipp://h/p");
        const DialogDriver page = sheet.openPage(kPage);
        EXPECT_EQ(page.text(IDC_JOB_PRIORITY), "10");
        EXPECT_EQ(page.text(IDC_JOB_COPIES), "1");
        EXPECT_EQ(selection(page, IDC_JOB_HOLD_UNTIL), 0);
        EXPECT_EQ(selection(page, IDC_JOB_RESOLUTION), 1);
        EXPECT_EQ(selection(page, IDC_JOB_SIDES), 0);
        EXPECT_EQ(selection(page, IDC_JOB_FINISHINGS), 0);
        EXPECT_EQ(selection(page, IDC_JOB_MEDIA), 4);
        EXPECT_EQ(selection(page, IDC_JOB_NUMBER_UP), 0);
        EXPECT_TRUE(page.checked(IDC_JOB_QUALITY_NORMAL));
        EXPECT_TRUE(page.checked(IDC_JOB_PORTRAIT));
        EXPECT_TRUE(page.checked(IDC_JOB_PAGES_ALL));
        EXPECT_FALSE(page.enabled(IDC_JOB_PAGES_TEXT));
        EXPECT_FALSE(page.checked(IDC_JOB_SHEET));
        EXPECT_FALSE(page.checked(IDC_JOB_FIDELITY));
        sheet.cancel();
    }));
}

TEST_F(JobTemplatePage, EveryEditComesBack) {
    EXPECT_TRUE(edit([](const DialogDriver& page) {
        page.type(IDC_JOB_PRIORITY, "100");
        page.type(IDC_JOB_COPIES, "2147483647");
        page.choose(IDC_JOB_HOLD_UNTIL, 6);
        page.choose(IDC_JOB_RESOLUTION, 2);
        page.click(IDC_JOB_QUALITY_HIGH);
        page.choose(IDC_JOB_SIDES, 2);
        page.choose(IDC_JOB_FINISHINGS, 18);
        page.click(IDC_JOB_PAGES_RANGE);
        EXPECT_TRUE(waitUntil([&] { return page.hasFocus(IDC_JOB_PAGES_TEXT); }));
        page.type(IDC_JOB_PAGES_TEXT, "1,3,5-12");
        page.choose(IDC_JOB_MEDIA, 11);
        page.click(IDC_JOB_REVERSE_PORTRAIT);
        page.choose(IDC_JOB_NUMBER_UP, 2);
        page.click(IDC_JOB_SHEET);
        page.click(IDC_JOB_FIDELITY);
    }));
    JobTemplate expected;
    expected.jobPriority = 100;
    expected.copies = 2147483647;
    expected.jobHoldUntil = "second-shift";
    expected.printerResolution = {1200, 1200, 3};
    expected.printQuality = 5;
    expected.sides = "duplex";
    expected.finishings = 31;
    expected.pageRanges = "1,3,5-12";
    expected.media = "Custom Paper Size";
    expected.orientationRequested = 6;
    expected.numberUp = 4;
    expected.jobSheets = "standard";
    expected.ippAttributeFidelity = 1;
    EXPECT_EQ(jobTemplate, expected);
}

TEST_F(JobTemplatePage, AnUntouchedVisitKeepsWhatNoControlShows) {
    JobTemplate strange;
    strange.jobHoldUntil = "lunch";
    strange.sides = "both";
    strange.media = "a4";
    strange.printerResolution = {600, 300, 4};
    strange.printQuality = 7;
    strange.orientationRequested = 2;
    strange.finishings = 99;
    strange.numberUp = 16;
    strange.multipleDocumentHandling = "single-document";
    jobTemplate = strange;
    EXPECT_TRUE(edit([](const DialogDriver& page) {
        for (const int list : {IDC_JOB_HOLD_UNTIL, IDC_JOB_SIDES, IDC_JOB_MEDIA, IDC_JOB_RESOLUTION,
                               IDC_JOB_FINISHINGS, IDC_JOB_NUMBER_UP})
            EXPECT_EQ(selection(page, list), -1) << list;
        for (const int radio :
             {IDC_JOB_QUALITY_DRAFT, IDC_JOB_QUALITY_NORMAL, IDC_JOB_QUALITY_HIGH, IDC_JOB_PORTRAIT,
              IDC_JOB_LANDSCAPE, IDC_JOB_REVERSE_LANDSCAPE, IDC_JOB_REVERSE_PORTRAIT})
            EXPECT_FALSE(page.checked(radio)) << radio;
    }));
    EXPECT_EQ(jobTemplate, strange);
}

TEST_F(JobTemplatePage, DuplexStaysDuplexAndOtherJobSheetsBecomeNone) {
    jobTemplate.sides = "duplex";
    jobTemplate.jobSheets = "confidential";
    jobTemplate.pageRanges = "7";
    EXPECT_TRUE(edit([](const DialogDriver& page) {
        EXPECT_EQ(selection(page, IDC_JOB_SIDES), 2);
        EXPECT_FALSE(page.checked(IDC_JOB_SHEET));
        EXPECT_TRUE(page.checked(IDC_JOB_PAGES_RANGE));
        EXPECT_TRUE(page.enabled(IDC_JOB_PAGES_TEXT));
        EXPECT_EQ(page.text(IDC_JOB_PAGES_TEXT), "7");
    }));
    EXPECT_EQ(jobTemplate.sides, "duplex");
    EXPECT_EQ(jobTemplate.jobSheets, "none");
    EXPECT_EQ(jobTemplate.pageRanges, "7");
}

TEST_F(JobTemplatePage, NumbersOutsideTheirBoundsAreRefused) {
    const std::string nines(2000, '9');
    const struct {
        int field;
        std::string text;
        std::string message;
    } cases[] = {
        {IDC_JOB_PRIORITY, "0", kRangeOfPriority},
        {IDC_JOB_PRIORITY, "101", kRangeOfPriority},
        {IDC_JOB_PRIORITY, "-1", kRangeOfPriority},
        {IDC_JOB_PRIORITY, "", kNoInteger},
        {IDC_JOB_PRIORITY, "ten", kNoInteger},
        {IDC_JOB_COPIES, "0", kRangeOfCopies},
        {IDC_JOB_COPIES, "2147483648", kRangeOfCopies},
        {IDC_JOB_COPIES, "99999999999", kRangeOfCopies},
        {IDC_JOB_COPIES, "1x", kNoInteger},
        {IDC_JOB_COPIES, nines, kRangeOfCopies},
    };
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.openPage(kPage);
        for (const auto& [field, text, message] : cases)
            expectRefused(sheet, page, field, text, message);
        sheet.ok();
    }));
    EXPECT_EQ(jobTemplate.jobPriority, 2u);
    EXPECT_EQ(jobTemplate.copies, 2u);
}

TEST_F(JobTemplatePage, BadPageRangesAreRefusedWhilePagesIsSelected) {
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.openPage(kPage);
        page.click(IDC_JOB_PAGES_RANGE);
        for (const std::string& text :
             {std::string(), std::string("x"), std::string("1,,3"), std::string("5-2"),
              std::string(2000, '-'), std::string("4294967296")})
            expectRefused(sheet, page, IDC_JOB_PAGES_TEXT, text, kPageRanges);
        sheet.ok();
    }));
    EXPECT_EQ(jobTemplate.pageRanges, "2");
}

TEST_F(JobTemplatePage, AllPagesIgnoresABadTextAndDropsIt) {
    EXPECT_TRUE(edit([](const DialogDriver& page) {
        page.click(IDC_JOB_PAGES_RANGE);
        page.type(IDC_JOB_PAGES_TEXT, "nonsense");
        page.click(IDC_JOB_PAGES_ALL);
        EXPECT_FALSE(page.enabled(IDC_JOB_PAGES_TEXT));
        EXPECT_EQ(page.text(IDC_JOB_PAGES_TEXT), "nonsense");
    }));
    EXPECT_EQ(jobTemplate.pageRanges, "");
}

TEST_F(JobTemplatePage, LongPageRangesAreKept) {
    std::string ranges = "1";
    while (ranges.size() < 31998)
        ranges += ",1";
    EXPECT_TRUE(edit([&](const DialogDriver& page) {
        page.click(IDC_JOB_PAGES_RANGE);
        page.type(IDC_JOB_PAGES_TEXT, ranges);
    }));
    EXPECT_EQ(jobTemplate.pageRanges, ranges);
}

TEST_F(JobTemplatePage, ARefusedPageKeepsTheRecordWhenTheSheetIsCancelled) {
    const JobTemplate before = jobTemplate;
    EXPECT_FALSE(runConfigure([&](const SheetDriver& sheet) {
        const DialogDriver page = sheet.openPage(kPage);
        page.choose(IDC_JOB_SIDES, 3);
        page.type(IDC_JOB_PRIORITY, "0");
        sheet.ok();
        EXPECT_EQ(boxes.take().size(), 1u);
        sheet.cancel();
    }));
    EXPECT_EQ(jobTemplate, before);
}

TEST_F(JobTemplatePage, TranslatedItemsShowAndTheirKeywordsAreStored) {
    writeSettingsFile(
        "[PageJobTemplate]\r\nPageJobTemplate=Vorlage\r\nCopies:=&Kopien:\r\n"
        "[Strings]\r\nduplex=beidseitig \xFC\r\nno-hold=%s%n\r\n1=eins\r\n"
        "Please enter an integer between %1!d! and %2!d!.=%s%n %3!d! %1!d\r\n");
    EXPECT_TRUE(runConfigure([&](const SheetDriver& sheet) {
        EXPECT_EQ(sheet.tabText(kPage), "Vorlage");
        const DialogDriver page = sheet.openPage(kPage);
        EXPECT_EQ(items(page, IDC_JOB_SIDES)[2], "beidseitig \xFC");
        EXPECT_EQ(items(page, IDC_JOB_HOLD_UNTIL)[0], "%s%n");
        EXPECT_EQ(items(page, IDC_JOB_NUMBER_UP)[0], "1") << "is not looked up";
        page.choose(IDC_JOB_SIDES, 2);
        page.type(IDC_JOB_PRIORITY, "0");
        sheet.ok();
        EXPECT_EQ(boxes.take(), (Messages{{kRangeOfPriority, MessageIcon::none}}))
            << "a broken translation falls back";
        page.type(IDC_JOB_PRIORITY, "1");
        sheet.ok();
    }));
    EXPECT_EQ(jobTemplate.sides, "duplex");
    EXPECT_EQ(jobTemplate.jobHoldUntil, "no-hold");
}

}  // namespace
}  // namespace velmora::testing
