#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "harness/ipp_dump.h"
#include "harness/wire.h"

// Answers of ippeveprinter and cupsd, as captured by fuzz/capture_answers.py.

namespace velmora::testing {
namespace {

struct Answer {
    const char* file;
    int strict;            ///< result of the reader that printing uses
    std::uint32_t status;  ///< as both readers see it
    const char* holds;     ///< how a line of the lenient reader's dump starts
};

constexpr Answer kAnswers[] = {
    {"cups-jobs", 1, 0x0000, "1/0 57 job-uri = 16384("},
    {"cups-print-job", 1, 0x0000, "1/0 58 job-id = 4("},
    {"cups-print-job-unsupported", 1, 0x0400,
     "0/0 6 status-message = 2048('No file in print request.')"},
    {"cups-printer-attributes", -1, 0x0000, "2/0 88 printer-name = 4096('raw')"},
    {"cups-some-printer-attributes", 1, 0x0000, "2/0 48 copies-supported = 256(1:9999)"},
    {"cups-unknown-operation", 1, 0x0501, "0/0 6 status-message = "},
    {"cups-validate-job", 1, 0x0000, "0/0 0 attributes-charset = 65536('utf-8')"},
    {"ippeve-jobs", 1, 0x0000, "1/0 58 job-id = 4("},
    {"ippeve-print-job", 1, 0x0000, "1/0 58 job-id = 4("},
    {"ippeve-print-job-unsupported", 1, 0x040B, "3/0 10 document-format = 262144('x/y')"},
    {"ippeve-printer-attributes", -1, 0x0000, "2/0 88 printer-name = 4096("},
    {"ippeve-some-printer-attributes", 1, 0x0000, "2/0 54 media-supported = 8192('A4')"},
    {"ippeve-validate-job", 1, 0x0000, "0/0 0 attributes-charset = 65536('utf-8')"},
};

Bytes contentsOf(const std::string& name) {
    std::ifstream file(VELMORA_ANSWERS "/" + name + ".ipp", std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

TEST(RealAnswers, AreReadAsFarAsEachPolicyGoes) {
    for (const Answer& answer : kAnswers) {
        SCOPED_TRACE(answer.file);
        const Bytes bytes = contentsOf(answer.file);
        ASSERT_FALSE(bytes.empty());
        const auto strict = parsed(bytes);
        EXPECT_EQ(strict.result, answer.strict);
        EXPECT_EQ(strict.message->operationOrStatus, answer.status);
        const auto lenient = parsed(bytes, IppReadMode::response, {.keepUnknownKinds = true});
        EXPECT_EQ(lenient.result, 1);
        const std::string dump = dumpOf(*lenient.message);
        EXPECT_NE(dump.find(std::string("\n") + answer.holds), std::string::npos) << dump;
        if (strict.result == 1) {
            EXPECT_EQ(dumpOf(*strict.message), dump);
        }
    }
}

TEST(RealAnswers, WebPageOfAServerThatRefusedTheRequestIsNoMessage) {
    const Bytes page = contentsOf("cups-malformed");
    ASSERT_FALSE(page.empty());
    EXPECT_EQ(page.front(), '<');
    EXPECT_EQ(parsed(page).result, -1);
    EXPECT_EQ(parsed(page, IppReadMode::response, {.keepUnknownKinds = true}).result, -1);
}

TEST(RealAnswers, AreWrittenAndReadAgainAsTheSame) {
    constexpr IppReadPolicy kLenient{.keepUnknownKinds = true};
    for (const Answer& answer : kAnswers) {
        SCOPED_TRACE(answer.file);
        const auto first = parsed(contentsOf(answer.file), IppReadMode::response, kLenient);
        const auto second = parsed(encoded(*first.message, true), IppReadMode::response, kLenient);
        EXPECT_EQ(second.result, 1);
        EXPECT_EQ(dumpOf(*second.message), dumpOf(*first.message));
    }
}

}  // namespace
}  // namespace velmora::testing
