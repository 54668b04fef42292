// The texts of the events in the Windows event log, as Windows finds them in the library.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <string>

#include "platform/text.h"

namespace velmora {
namespace {

// The severity is a part of a message's number.
constexpr DWORD kInformation = 0x40000000;
constexpr DWORD kWarning = 0x80000000;
constexpr DWORD kError = 0xC0000000;

struct EventText {
    DWORD number;
    const char* text;
};

class EventTexts : public ::testing::TestWithParam<EventText> {};

TEST_P(EventTexts, AreInTheLibrary) {
    const HMODULE library = LoadLibraryExA("Velmora.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(library, nullptr);
    std::array<DWORD_PTR, 7> strings{};
    std::size_t count = 0;
    for (const wchar_t* text :
         {L"PORT", L"PRINTER", L"DOCUMENT", L"17", L"USER", L"REASON", L" Not reported before: 3."})
        strings[count++] = reinterpret_cast<DWORD_PTR>(text);
    std::array<wchar_t, 1024> area{};
    const DWORD size = FormatMessageW(
        FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, library, GetParam().number, 0,
        area.data(), static_cast<DWORD>(area.size()), reinterpret_cast<va_list*>(strings.data()));
    std::string text = utf8FromWide({area.data(), size});
    while (text.ends_with('\n') || text.ends_with('\r'))
        text.pop_back();
    EXPECT_EQ(text, std::string(GetParam().text) + " Not reported before: 3.");
    FreeLibrary(library);
}

INSTANTIATE_TEST_SUITE_P(
    Outcomes, EventTexts,
    ::testing::Values(
        EventText{kInformation | 1,
                  "Printer PRINTER accepted job 17 \"DOCUMENT\" of user USER from port PORT."},
        EventText{kError | 2,
                  "Printer PRINTER refused job 17 \"DOCUMENT\" of user USER from port PORT: "
                  "REASON."},
        EventText{kWarning | 3,
                  "Printer PRINTER was sent all of job 17 \"DOCUMENT\" of user USER from port "
                  "PORT, but gave no usable answer: REASON."},
        EventText{kError | 4,
                  "Printer PRINTER got only a part of job 17 \"DOCUMENT\" of user USER from port "
                  "PORT: REASON."},
        EventText{kError | 5,
                  "Printer PRINTER got nothing of job 17 \"DOCUMENT\" of user USER from port PORT: "
                  "REASON."},
        EventText{kWarning | 6,
                  "The spooler never ended job 17 \"DOCUMENT\" of user USER from port PORT to "
                  "printer PRINTER."}));

}  // namespace
}  // namespace velmora
