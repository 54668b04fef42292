// How a job begins: the probe, passwords and certificates, the Print-Job request; and the effect of
// each result of the platform. No network: every call is answered by the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harness/wininet/fake_wininet.h"
#include "harness/wininet/import_patch.h"
#include "ipp/job_template.h"
#include "ipp/print_job.h"
#include "tests/ipp/expected_requests.h"

namespace velmora {
namespace {

using testing::chunk;
using ::testing::Contains;
using ::testing::ElementsAre;
using testing::expectedPrintJob;
using testing::expectedProbe;
using testing::FakeWinInet;
using testing::goodAnswer;
using testing::userName;

constexpr char kUrl[] = "ipp://printer.example/ipp/print";

class PrintJobCalls : public ::testing::Test {
  protected:
    PrintJobCalls() {
        internet.answers = {{.body = goodAnswer()}};
        target.url = kUrl;
    }

    std::unique_ptr<IppConnection> start() {
        return SendPrintJob(target, "Document", JobTemplate{});
    }
    std::size_t sends() const { return internet.count("HttpSendRequestExA"); }
    std::size_t dialogs() const { return internet.count("InternetErrorDlg"); }

    FakeWinInet internet;
    PrintTarget target;
};

TEST_F(PrintJobCalls, WholeJobMakesTheseCallsInThisOrder) {
    const std::string probe = expectedProbe(kUrl, userName());
    const std::string job = expectedPrintJob(kUrl, userName(), "Document", {});
    target.useAuthentication = 1;
    target.userName = "user";
    target.password = "password";
    {
        const auto connection = start();
        ASSERT_TRUE(connection);
        connection->writeData("%!PS", 4);
        EXPECT_TRUE(connection->finish());
    }
    const std::string probeSize = std::to_string(probe.size());
    EXPECT_THAT(
        internet.calls,
        ElementsAre(
            R"(InternetCrackUrlA("ipp://printer.example/ipp/print", 0, 0x0, 128, 128, 0, 0, 512, 0))",
            R"(InternetOpenA("IPP client", 0, null, null, 0x0))",
            R"(InternetConnectA(root, "printer.example", 631, null, null, 3, 0x0, 0))",
            R"(HttpOpenRequestA(connection, "POST", "/ipp/print", "HTTP/1.1", null, null, 0x4400000, 0))",
            R"(HttpAddRequestHeadersA(request, "Content-type: application/ipp\r\n", 0x20000000))",
            // The probe.
            R"(InternetSetOptionA(connection, 28, "user"))",
            R"(InternetSetOptionA(connection, 29, "password"))",
            R"(HttpAddRequestHeadersA(request, "Transfer-Encoding:\r\n", 0x80000000))",
            R"(HttpAddRequestHeadersA(request, "Content-Length: )" + probeSize +
                R"(\r\n", 0x80000000))",
            "HttpSendRequestExA(request, total " + probeSize + ", null, 0xc, 0)", "Sleep(1000)",
            "InternetWriteFile(request, " + probeSize + ")",
            "HttpEndRequestA(request, null, 0x0, 0)", "HttpQueryInfoA(request, 19, 4, null)",
            "InternetReadFile(request, 1024)", "InternetReadFile(request, 1024)",
            // The job.
            R"(HttpAddRequestHeadersA(request, "Transfer-Encoding: chunked\r\n", 0xa0000000))",
            R"(HttpAddRequestHeadersA(request, "Content-Length:\r\n", 0x80000000))",
            "HttpSendRequestExA(request, total 0, null, 0xc, 0)", "Sleep(1000)",
            "InternetWriteFile(request, 5)",
            "InternetWriteFile(request, " + std::to_string(job.size()) + ")",
            "InternetWriteFile(request, 2)",
            // The document.
            "InternetWriteFile(request, 3)", "InternetWriteFile(request, 4)",
            "InternetWriteFile(request, 2)",
            // Its end and the answer.
            "InternetWriteFile(request, 3)", "InternetWriteFile(request, 2)",
            "HttpEndRequestA(request, null, 0x0, 0)", "HttpQueryInfoA(request, 19, 4, null)",
            "InternetReadFile(request, 1024)", "InternetReadFile(request, 1024)",
            "InternetCloseHandle(request)", "InternetCloseHandle(connection)",
            "InternetCloseHandle(root)"));
    ASSERT_GE(internet.writes.size(), 1u);
    EXPECT_EQ(internet.writes[0], probe);
    EXPECT_EQ(internet.body(), chunk(job) + chunk("%!PS") + "0\r\n\r\n");
}

TEST_F(PrintJobCalls, EveryFieldOfTheTemplateIsSent) {
    const JobTemplate values = testing::changedTemplate();
    ASSERT_TRUE(SendPrintJob(target, "D", values));
    EXPECT_EQ(internet.body(),
              chunk(expectedPrintJob(kUrl, userName(), "D", values, {{1, 5}, {9, 9}})));
}

TEST_F(PrintJobCalls, FieldsAreSentWhateverTheirValue) {
    JobTemplate values;
    values.jobPriority = 0;
    values.jobHoldUntil = "";
    values.copies = 0xFFFFFFFF;
    values.printerResolution = {0, 0x80000000, 255};
    values.media = "a medium\xE9";
    values.ippAttributeFidelity = 200;
    ASSERT_TRUE(SendPrintJob(target, "", values));
    EXPECT_EQ(internet.body(), chunk(expectedPrintJob(kUrl, userName(), "", values)));
}

TEST_F(PrintJobCalls, PageRangesThatSayNothingAreLeftOut) {
    for (const char* text : {"", "   ", "all", "5-2", "1,,3", "1 2", "4294967296"}) {
        JobTemplate values;
        values.pageRanges = text;
        ASSERT_TRUE(SendPrintJob(target, "D", values));
        EXPECT_EQ(internet.body(), chunk(expectedPrintJob(kUrl, userName(), "D", values))) << text;
    }
}

TEST_F(PrintJobCalls, PageRangesAreSentWithAll32Bits) {
    JobTemplate values;
    values.pageRanges = "1-2147483646,2147483648-3000000000,4294967294-4294967295";
    ASSERT_TRUE(SendPrintJob(target, "D", values));
    EXPECT_EQ(internet.body(),
              chunk(expectedPrintJob(
                  kUrl, userName(), "D", values,
                  {{1, 2147483646}, {2147483648, 3000000000}, {4294967294, 4294967295}})));
}

TEST_F(PrintJobCalls, NamesAreSentInUtf8) {
    ASSERT_EQ(GetACP(), 1252u);
    ASSERT_TRUE(SendPrintJob(target, "Caf\xE9 \x80", {}));
    EXPECT_EQ(internet.body(),
              chunk(expectedPrintJob(kUrl, userName(), "Caf\xC3\xA9 \xE2\x82\xAC", {})));
}

std::string platformUserName;

/// Like the platform: fills the buffer including the terminator, or fails if it is too small.
BOOL WINAPI tellUserName(LPSTR area, LPDWORD size) {
    if (platformUserName.size() >= *size) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    platformUserName.copy(area, platformUserName.size());
    area[platformUserName.size()] = '\0';
    return TRUE;
}

TEST_F(PrintJobCalls, UserIsNamedInUtf8AndLeftUnnamedWhenThePlatformDoesNotTell) {
    const testing::ImportPatch patch("ADVAPI32.dll", "GetUserNameA",
                                     reinterpret_cast<void (*)()>(&tellUserName));
    const std::pair<std::string, std::string> names[] = {
        {"J\xF6rg", "J\xC3\xB6rg"},
        {std::string(1023, 'u'), std::string(1023, 'u')},
        {std::string(1024, 'u'), ""},  // longer than the area for it
    };
    for (const auto& [ansi, utf8] : names) {
        platformUserName = ansi;
        internet.writes.clear();
        ASSERT_TRUE(start());
        EXPECT_EQ(internet.writes[0], expectedProbe(kUrl, utf8));
        EXPECT_EQ(internet.body(), chunk(expectedPrintJob(kUrl, utf8, "Document", {})));
    }
}

TEST_F(PrintJobCalls, PrinterUriIsTheUrlAsConfigured) {
    target.url = "printer.example/printers/lp";
    ASSERT_TRUE(start());
    EXPECT_EQ(internet.writes[0], expectedProbe(target.url, userName()));
}

TEST_F(PrintJobCalls, CredentialsAreGivenOnlyWhenTheTargetUsesThem) {
    target.userName = "user";
    target.password = "password";
    ASSERT_TRUE(start());
    EXPECT_EQ(internet.count("InternetSetOptionA"), 0u);
}

TEST_F(PrintJobCalls, AnyFlagButZeroGivesTheCredentials) {
    target.userName = "user";
    target.password = "password";
    for (const unsigned flag : {1u, 2u, 128u, 200u, 255u}) {
        SCOPED_TRACE(flag);
        target.useAuthentication = static_cast<std::uint8_t>(flag);
        internet.calls.clear();
        internet.answers = {{.body = goodAnswer()}};
        ASSERT_TRUE(start());
        EXPECT_EQ(internet.count("InternetSetOptionA"), 2u);
        // And again for the connection after one whose answer was left unread.
        internet.calls.clear();
        internet.answers = {{.body = std::string("\x01\0\0\0\x01\0\0\0\x0f", 9)},
                            {.body = goodAnswer()}};
        ASSERT_TRUE(start());
        ASSERT_EQ(internet.count("InternetOpenA"), 2u);
        EXPECT_EQ(internet.count("InternetSetOptionA"), 4u);
    }
}

TEST_F(PrintJobCalls, CertificateQuestionsAreAskedAndTheProbeIsSentAgain) {
    for (const DWORD error :
         {ERROR_INTERNET_SEC_CERT_DATE_INVALID, ERROR_INTERNET_SEC_CERT_CN_INVALID,
          ERROR_INTERNET_INCORRECT_PASSWORD, ERROR_INTERNET_INVALID_CA}) {
        SCOPED_TRACE(error);
        internet.calls.clear();
        internet.fail("HttpSendRequestExA", error);
        internet.dialogResults = {ERROR_SUCCESS};
        const auto connection = start();
        ASSERT_TRUE(connection);
        EXPECT_EQ(connection->lastError(), 0u);
        EXPECT_THAT(internet.calls, Contains("InternetErrorDlg(desktop, request, " +
                                             std::to_string(error) + ", 0x7, null)"));
        EXPECT_EQ(sends(), 3u);
        EXPECT_EQ(dialogs(), 1u);
    }
}

TEST_F(PrintJobCalls, EachCertificateFaultIsAskedAboutInTurn) {
    for (const DWORD error : {ERROR_INTERNET_SEC_CERT_DATE_INVALID, ERROR_INTERNET_INVALID_CA,
                              ERROR_INTERNET_SEC_CERT_CN_INVALID}) {
        internet.fail("HttpSendRequestExA", error);
    }
    EXPECT_TRUE(start());
    EXPECT_EQ(dialogs(), 3u);
    EXPECT_EQ(sends(), 5u);
}

TEST_F(PrintJobCalls, RetryAskedForByTheDialogSendsTheProbeAgain) {
    internet.fail("HttpSendRequestExA", ERROR_INTERNET_INCORRECT_PASSWORD);
    internet.dialogResults = {ERROR_INTERNET_FORCE_RETRY};
    EXPECT_TRUE(start());
    EXPECT_EQ(sends(), 3u);
}

TEST_F(PrintJobCalls, RefusedCertificateGivesTheJobUpAndClosesEverything) {
    for (const DWORD result : {DWORD{ERROR_CANCELLED}, DWORD{0xFFFFFFFF}}) {
        internet.calls.clear();
        internet.fail("HttpSendRequestExA", ERROR_INTERNET_INVALID_CA);
        internet.dialogResults = {result};
        EXPECT_FALSE(start());
        EXPECT_EQ(sends(), 1u);
        EXPECT_EQ(internet.openHandles(), 0);
    }
}

TEST_F(PrintJobCalls, OtherFailuresOfTheProbeAskNothingAndGiveTheJobUp) {
    for (const DWORD error : {ERROR_INTERNET_CANNOT_CONNECT, ERROR_INTERNET_NAME_NOT_RESOLVED}) {
        internet.calls.clear();
        internet.fail("HttpSendRequestExA", error);
        EXPECT_FALSE(start());
        EXPECT_EQ(sends(), 1u);
        EXPECT_EQ(dialogs(), 0u);
        EXPECT_EQ(internet.openHandles(), 0);
    }
}

TEST_F(PrintJobCalls, ProbeThatIsToBeSentAgainIsSentWithoutAQuestion) {
    internet.fail("HttpSendRequestExA", ERROR_INTERNET_FORCE_RETRY);
    internet.fail("HttpSendRequestExA", ERROR_INTERNET_FORCE_RETRY);
    target.useAuthentication = 1;
    EXPECT_TRUE(start());
    EXPECT_EQ(sends(), 4u);
    EXPECT_EQ(dialogs(), 0u);
    EXPECT_EQ(internet.count("InternetSetOptionA"), 6u) << "credentials go with every try";
}

TEST_F(PrintJobCalls, UnauthorizedProbeIsAnsweredByThePasswordDialogAndSentAgain) {
    internet.answers = {{.status = "401"}, {.body = goodAnswer()}};
    internet.dialogResults = {ERROR_INTERNET_FORCE_RETRY};
    const auto connection = start();
    ASSERT_TRUE(connection);
    EXPECT_THAT(internet.calls, Contains("InternetErrorDlg(desktop, request, 12014, 0x7, null)"));
    EXPECT_EQ(dialogs(), 1u);
    EXPECT_EQ(sends(), 3u);
    const std::string probe = expectedProbe(kUrl, userName());
    EXPECT_EQ(internet.writes[0], probe);
    EXPECT_EQ(internet.writes[1], probe);
}

TEST_F(PrintJobCalls, WrongCredentialsAreAskedForUntilTheyAreRight) {
    internet.answers = {
        {.status = "401"}, {.status = "401"}, {.status = "401"}, {.body = goodAnswer()}};
    internet.dialogResults.assign(3, ERROR_INTERNET_FORCE_RETRY);
    target.useAuthentication = 1;
    target.userName = "user";
    target.password = "wrong";
    EXPECT_TRUE(start());
    EXPECT_EQ(dialogs(), 3u);
    EXPECT_EQ(sends(), 5u);
}

TEST_F(PrintJobCalls, CancelledPasswordDialogGivesTheJobUpAndClosesEverything) {
    internet.answers = {{.status = "401"}};
    internet.dialogResults = {ERROR_SUCCESS};
    EXPECT_FALSE(start());
    EXPECT_EQ(sends(), 1u);
    EXPECT_EQ(internet.openHandles(), 0);
}

TEST_F(PrintJobCalls, PasswordDialogThatFailsNeverLetsTheJobGoOnUnauthenticated) {
    for (const DWORD result :
         {DWORD{ERROR_CANCELLED}, DWORD{ERROR_INVALID_HANDLE}, DWORD{0xFFFFFFFF}}) {
        internet.calls.clear();
        internet.answers = {{.status = "401"}};
        internet.dialogResults = {result};
        EXPECT_FALSE(start());
        EXPECT_EQ(sends(), 1u);
        EXPECT_EQ(internet.openHandles(), 0);
    }
}

TEST_F(PrintJobCalls, ResendThatIsToBeRepeatedRunsThePasswordDialogAgain) {
    internet.answers = {{.status = "401"}, {.body = goodAnswer()}};
    internet.fail("HttpSendRequestExA", 0);
    internet.fail("HttpSendRequestExA", ERROR_INTERNET_FORCE_RETRY);
    internet.dialogResults.assign(2, ERROR_INTERNET_FORCE_RETRY);
    EXPECT_TRUE(start());
    EXPECT_EQ(dialogs(), 2u);
    EXPECT_EQ(sends(), 4u);
}

TEST_F(PrintJobCalls, FailedResendGivesTheJobUp) {
    internet.answers = {{.status = "401"}};
    internet.fail("HttpSendRequestExA", 0);
    internet.fail("HttpSendRequestExA", ERROR_INTERNET_CANNOT_CONNECT);
    internet.dialogResults = {ERROR_INTERNET_FORCE_RETRY};
    EXPECT_FALSE(start());
    EXPECT_EQ(internet.openHandles(), 0);
}

TEST_F(PrintJobCalls, AnyOtherAnswerToTheProbeLetsTheJobGoOn) {
    const std::vector<FakeWinInet::Answer> answers = {
        {.status = "404"}, {.status = "500"},  {.status = "abc"},           {.status = "2000"},
        {.body = ""},      {.body = "<html>"}, {.body = goodAnswer(0x0406)}};
    for (const FakeWinInet::Answer& answer : answers) {
        SCOPED_TRACE(answer.status + answer.body);
        internet.answers = {answer, {.body = goodAnswer()}};
        const auto connection = start();
        ASSERT_TRUE(connection);
        EXPECT_EQ(connection->lastError(), 0u);
        EXPECT_TRUE(connection->finish());
    }
    internet.answers = {{.body = goodAnswer()}};
    for (const char* function : {"HttpQueryInfoA", "InternetReadFile"}) {
        SCOPED_TRACE(function);
        internet.fail(function, ERROR_INTERNET_CONNECTION_RESET);
        const auto connection = start();
        ASSERT_TRUE(connection);
        EXPECT_EQ(connection->lastError(), 0u);
    }
}

TEST_F(PrintJobCalls, JobRequestIsRepeatedWithoutAQuestion) {
    internet.fail("HttpSendRequestExA", 0);
    internet.fail("HttpSendRequestExA", ERROR_INTERNET_FORCE_RETRY);
    internet.fail("HttpSendRequestExA", ERROR_INTERNET_FORCE_RETRY);
    const auto connection = start();
    ASSERT_TRUE(connection);
    EXPECT_EQ(connection->lastError(), 0u);
    EXPECT_EQ(sends(), 4u);
    EXPECT_EQ(dialogs(), 0u);
}

TEST_F(PrintJobCalls, FailedJobRequestGivesAConnectionWithItsError) {
    for (const DWORD error : {ERROR_INTERNET_CONNECTION_RESET, ERROR_INTERNET_INVALID_CA}) {
        internet.calls.clear();
        internet.fail("HttpSendRequestExA", 0);
        internet.fail("HttpSendRequestExA", error);
        const auto connection = start();
        ASSERT_TRUE(connection);
        EXPECT_EQ(connection->lastError(), error);
        EXPECT_EQ(dialogs(), 0u);
        const std::size_t writes = internet.writes.size();
        connection->writeData("x", 1);
        EXPECT_FALSE(connection->finish());
        EXPECT_EQ(internet.writes.size(), writes);
    }
}

TEST_F(PrintJobCalls, UrlThatCannotBeUsedGivesTheJobUp) {
    for (const std::string& url : {std::string(), "ipp://h/" + std::string(600, 'p')}) {
        target.url = url;
        EXPECT_FALSE(start());
        EXPECT_EQ(sends(), 0u);
    }
}

TEST_F(PrintJobCalls, LongNamesDoNotStopTheJob) {
    for (const std::size_t size : {10239u, 10240u, 50000u}) {
        const auto connection = SendPrintJob(target, std::string(size, 'n'), {});
        ASSERT_TRUE(connection);
        EXPECT_EQ(connection->lastError(), 0u);
    }
}

TEST_F(PrintJobCalls, TemplateTextThatNoMessageCanHoldFailsTheJobInsteadOfBeingCut) {
    JobTemplate values;
    values.media = std::string(70000, 'm');
    const auto connection = SendPrintJob(target, "D", values);
    ASSERT_TRUE(connection);
    EXPECT_NE(connection->lastError(), 0u);
    EXPECT_EQ(sends(), 1u);
}

}  // namespace
}  // namespace velmora
