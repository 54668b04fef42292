// The delivered settings files: what every translation must share with the English one.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/escaped_text.h"
#include "ui/help.h"

namespace velmora {
namespace {

struct Text {
    std::string section;
    std::string key;
    std::string value;
};

bool singleBytes(unsigned char) {
    return false;
}

bool leadByte932(unsigned char byte) {
    return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

bool leadByte936(unsigned char byte) {
    return byte >= 0x81 && byte <= 0xFE;
}

// Whether a byte beyond ASCII, or a pair of them, may be in a file: bytes of another encoding would
// break these rules.

/// Code page 1252 without the positions that have no character, and without its block of rare
/// signs.
bool in1252(unsigned char byte, unsigned char) {
    return byte >= 0xA0;
}

/// The Polish letters of code page 1250.
bool in1250(unsigned char byte, unsigned char) {
    return std::string_view(
               "\xA5\xC6\xCA\xA3\xD1\xD3\x8C\x8F\xAF"
               "\xB9\xE6\xEA\xB3\xF1\xF3\x9C\x9F\xBF")
               .find(static_cast<char>(byte)) != std::string_view::npos;
}

bool in932(unsigned char lead, unsigned char trail) {
    return leadByte932(lead) && trail >= 0x40 && trail <= 0xFC && trail != 0x7F;
}

/// The characters of GB 2312, which every font for simplified Chinese has.
bool in936(unsigned char lead, unsigned char trail) {
    return lead >= 0xA1 && lead <= 0xF7 && trail >= 0xA1 && trail <= 0xFE;
}

struct Language {
    const char* file;
    LeadBytePredicate isLeadByte;
    bool (*contains)(unsigned char, unsigned char);
};

void PrintTo(const Language& language, std::ostream* out) {
    *out << language.file;
}

constexpr Language kLanguages[] = {
    {"Velmora.dat", &singleBytes, &in1252},      {"Velmora.de.dat", &singleBytes, &in1252},
    {"Velmora.fr.dat", &singleBytes, &in1252},   {"Velmora.es.dat", &singleBytes, &in1252},
    {"Velmora.it.dat", &singleBytes, &in1252},   {"Velmora.pt-BR.dat", &singleBytes, &in1252},
    {"Velmora.pl.dat", &singleBytes, &in1250},   {"Velmora.ja.dat", &leadByte932, &in932},
    {"Velmora.zh-CN.dat", &leadByte936, &in936},
};

std::string contentOf(const std::string& file) {
    std::ifstream in(std::string(VELMORA_LANGUAGES) + "/" + file, std::ios::binary);
    EXPECT_TRUE(in) << file;
    return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<Text> textsOf(const std::string& file) {
    std::vector<Text> texts;
    std::string content = contentOf(file);
    std::string section;
    for (std::size_t start = 0; start < content.size();) {
        std::size_t end = content.find("\r\n", start);
        EXPECT_NE(end, std::string::npos) << file << ": a line without its end";
        end = std::min(end, content.size());
        const std::string line = content.substr(start, end - start);
        start = end + 2;
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[') {
            section = line.substr(1, line.size() - 2);
            continue;
        }
        const std::size_t equals = line.find('=');
        EXPECT_NE(equals, std::string::npos) << file << ": " << line;
        if (equals == std::string::npos) continue;
        texts.push_back({section, line.substr(0, equals), line.substr(equals + 1)});
    }
    return texts;
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

/// The letter after the "&", in lower case; 0 if there is none.
char mnemonic(const std::string& text) {
    const std::size_t at = text.find('&');
    if (at == std::string::npos || at + 1 == text.size()) return 0;
    const char letter = text[at + 1];
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

class Languages : public ::testing::TestWithParam<Language> {
  protected:
    const std::vector<Text> english = textsOf("Velmora.dat");
    const std::vector<Text> texts = textsOf(GetParam().file);
};

TEST_P(Languages, HaveTheEnglishKeysInTheSameOrder) {
    ASSERT_EQ(texts.size(), english.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(texts[i].section, english[i].section);
        EXPECT_EQ(texts[i].key, english[i].key);
    }
}

TEST_P(Languages, HaveEveryKeyOnceInItsSection) {
    std::set<std::string> seen;
    for (const Text& text : texts) {
        std::string id = text.section + "/" + text.key;
        // Keys of profile files are not case-sensitive.
        std::transform(id.begin(), id.end(), id.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        EXPECT_TRUE(seen.insert(id).second) << id;
    }
}

TEST_P(Languages, HoldTextsThatAProfileFileKeeps) {
    for (const Text& text : texts) {
        SCOPED_TRACE(text.key);
        ASSERT_FALSE(text.value.empty());
        EXPECT_LE(text.value.size(), 1023u);
        EXPECT_EQ(text.value.find_first_of("\"\t"), std::string::npos);
        EXPECT_NE(text.value.front(), ' ');
        EXPECT_NE(text.value.back(), ' ');
        EXPECT_EQ(text.key, textKey(text.key));
        EXPECT_EQ(text.key.find('='), std::string::npos);
    }
}

TEST_P(Languages, KeepPlaceholdersAndLineEnds) {
    for (std::size_t i = 0; i < texts.size() && i < english.size(); ++i) {
        SCOPED_TRACE(texts[i].key);
        for (const char* part : {"%1!d!", "%2!d!", "%", "!", "\\n"})
            EXPECT_EQ(count(texts[i].value, part), count(english[i].value, part)) << part;
        EXPECT_EQ(count(texts[i].value, "\\r") + count(texts[i].value, "\\t"), 0u);
        EXPECT_EQ(count(unescapeText(texts[i].value, GetParam().isLeadByte), "\n"),
                  count(english[i].value, "\\n"));
    }
}

TEST_P(Languages, HaveAMnemonicWhereEnglishHasOne) {
    for (std::size_t i = 0; i < texts.size() && i < english.size(); ++i) {
        EXPECT_EQ(count(texts[i].value, "&"), count(english[i].value, "&")) << texts[i].key;
        const char letter = mnemonic(texts[i].value);
        if (letter != 0) {
            EXPECT_TRUE((letter >= 'a' && letter <= 'z') || (letter & 0x80) != 0) << texts[i].key;
        }
    }
}

TEST_P(Languages, HaveDistinctMnemonicsOnEveryPageAndInEveryMenu) {
    // A menu's section holds the items of four popups.
    const std::string menu = "PagePrinterGroupsMenu";
    const std::vector<std::vector<std::string>> popups = {
        {"New", "Cut", "Copy", "Paste", "Delete", "Rename"},
        {"Group", "Printer"},
        {"Cut", "Copy", "Paste", "Delete", "Rename", "Properties"},
    };
    std::map<std::string, std::multiset<char>> letters;
    for (const Text& text : texts) {
        const char letter = mnemonic(text.value);
        if (letter == 0) continue;
        if (text.section != menu) letters[text.section].insert(letter);
        for (std::size_t i = 0; text.section == menu && i < popups.size(); ++i)
            if (std::count(popups[i].begin(), popups[i].end(), text.key) != 0)
                letters[menu + std::to_string(i)].insert(letter);
    }
    EXPECT_EQ(letters.size(), 5u + popups.size());
    for (const auto& [page, used] : letters)
        EXPECT_EQ(std::set<char>(used.begin(), used.end()).size(), used.size())
            << page << ": " << std::string(used.begin(), used.end());
}

/// A text without its mnemonic and the colon of a label.
std::string plain(std::string text) {
    // "(&N)" in languages whose characters cannot be typed with one key.
    const std::size_t bracket = text.find("(&");
    if (bracket != std::string::npos) text.erase(bracket, 4);
    std::erase(text, '&');
    std::erase(text, ':');
    return text;
}

TEST_P(Languages, KeepDifferentTextsOfAPageOrAListDifferent) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (texts[i].section != "PageJobTemplate" && texts[i].section != "Strings") continue;
        for (std::size_t j = 0; j < i; ++j) {
            if (texts[j].section != texts[i].section) continue;
            EXPECT_NE(plain(texts[i].value), plain(texts[j].value)) << texts[i].key;
        }
    }
}

TEST_P(Languages, AreWrittenInTheirCodePage) {
    const std::string content = contentOf(GetParam().file);
    EXPECT_NE(content.substr(0, 2), "\xFF\xFE");
    EXPECT_NE(content.substr(0, 3), "\xEF\xBB\xBF");
    for (std::size_t i = 0; i < content.size(); ++i) {
        const auto byte = static_cast<unsigned char>(content[i]);
        if (byte < 0x80) continue;
        unsigned char trail = 0;
        if (GetParam().isLeadByte(byte)) {
            ASSERT_LT(i + 1, content.size());
            trail = static_cast<unsigned char>(content[++i]);
        }
        EXPECT_TRUE(GetParam().contains(byte, trail)) << "at " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Delivered, Languages, ::testing::ValuesIn(kLanguages),
                         [](const auto& info) {
                             std::string name = info.param.file;
                             for (char& c : name)
                                 if (c == '.' || c == '-') c = '_';
                             return name;
                         });

TEST(DeliveredSettings, NameTheMonitorAndItsKeyAlikeInEveryLanguage) {
    // The spooler knows the monitor by its name, and the ports are kept under the key: a change of
    // language must not lose them.
    for (const Language& language : kLanguages) {
        std::map<std::string, std::string> names;
        for (const Text& text : textsOf(language.file))
            if (text.section == "Strings") names[text.key] = text.value;
        EXPECT_EQ(names["Port Monitor Name"], "Velmora IPP Port") << language.file;
        EXPECT_EQ(names["AppRegKey"], "Velmora") << language.file;
    }
}

/// Help texts are long and have keys of their own; the other texts are their own keys.
bool isHelp(const Text& text) {
    return text.section.starts_with("Help") && text.key != "Help" && text.key != "Close";
}

/// The URLs in a help text, in order.
std::vector<std::string> addressesIn(const std::string& text) {
    std::vector<std::string> found;
    for (std::size_t at = text.find("://"); at != std::string::npos; at = text.find("://", at)) {
        std::size_t start = at;
        while (start > 0 && std::isalpha(static_cast<unsigned char>(text[start - 1])) != 0 &&
               text.substr(start - 2, 2) != "\\n")
            --start;
        at += 3;
        while (at < text.size() && text[at] != '\\' &&
               (std::isalnum(static_cast<unsigned char>(text[at])) != 0 || text[at] == ':' ||
                text[at] == '/'))
            ++at;
        found.push_back(text.substr(start, at - start));
    }
    return found;
}

/// The numbers of two digits and more in a text, sorted, without separators of thousands. Single
/// digits are words in some languages and numbers in others.
std::multiset<std::string> numbersIn(const std::string& text) {
    const auto digit = [&](std::size_t at) { return at < text.size() && isdigit(text[at]) != 0; };
    std::multiset<std::string> found;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!digit(at)) continue;
        std::string number;
        for (;
             digit(at) || (number.size() == 1 && digit(at + 1) && digit(at + 2) && digit(at + 3) &&
                           std::string_view(",. \xA0").find(text[at]) != std::string_view::npos);
             ++at)
            if (digit(at)) number += text[at];
        if (number.size() > 1) found.insert(number);
    }
    return found;
}

TEST_P(Languages, KeepTheAddressesAndNumbersOfTheHelp) {
    std::size_t addresses = 0, numbers = 0;
    for (std::size_t i = 0; i < texts.size() && i < english.size(); ++i) {
        if (!isHelp(english[i])) continue;
        SCOPED_TRACE(english[i].section + ": " + english[i].key);
        EXPECT_EQ(addressesIn(texts[i].value), addressesIn(english[i].value));
        EXPECT_EQ(numbersIn(texts[i].value), numbersIn(english[i].value));
        addresses += addressesIn(english[i].value).size();
        numbers += numbersIn(english[i].value).size();
    }
    EXPECT_GE(addresses, 7u) << "an example of each form";
    EXPECT_GE(numbers, 10u);
}

TEST(DeliveredSettings, EnglishHelpIsTheBuiltIn) {
    std::map<std::string, std::string> builtIn;
    for (const auto& topics :
         {portMainHelp(), jobTemplateHelp(), printerGroupsHelp(), newPrinterHelp()})
        for (const HelpTopic& topic : topics)
            builtIn[std::string(topic.section) + "/" + topic.key] = escapeText(topic.text);
    std::map<std::string, std::string> delivered;
    for (const Text& text : textsOf("Velmora.dat"))
        if (isHelp(text)) delivered[text.section + "/" + text.key] = text.value;
    EXPECT_EQ(delivered, builtIn);
}

TEST(DeliveredSettings, EnglishDiffersFromTheBuiltInTextsInNamesAlone) {
    std::set<std::string> changed;
    for (const Text& text : textsOf("Velmora.dat"))
        if (!isHelp(text) && textKey(text.value) != text.key)
            changed.insert(text.section + ": " + text.value);
    EXPECT_EQ(changed, (std::set<std::string>{"PageJobTemplate: Job Template", "PagePortMain: Port",
                                              "PagePrinterGroups: New Group",
                                              "PagePrinterGroups: Printer Groups",
                                              "Strings: Velmora", "Strings: Velmora IPP Port"}));
}

}  // namespace
}  // namespace velmora
