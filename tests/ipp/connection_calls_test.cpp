// The calls that the connection makes on the platform's HTTP interface, and what it makes of their
// results. No network: every call is answered by the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harness/wininet/fake_wininet.h"
#include "ipp/connection.h"
#include "tests/ipp/expected_requests.h"

namespace velmora {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using testing::FakeWinInet;

constexpr char kUrl[] = "ipp://printer.example/ipp/print";

UniqueIppMessage probe() {
    return newIppRequest({1, 0}, IppOperation::getPrinterAttributes, 1);
}

/// The bytes of probe(): version, operation-id, request id, two attributes, end tag.
std::size_t probeSize() {
    return 2 + 2 + 4 + 1 + (1 + 2 + 18 + 2 + 5) + (1 + 2 + 27 + 2 + 5) + 1;
}

class ConnectionCalls : public ::testing::Test {
  protected:
    void forgetCalls() { internet.calls.clear(); }

    FakeWinInet internet;
};

TEST_F(ConnectionCalls, OpeningMakesTheThreeHandlesAndTheContentType) {
    const IppConnection connection(kUrl);
    EXPECT_THAT(
        internet.calls,
        ElementsAre(
            R"(InternetCrackUrlA("ipp://printer.example/ipp/print", 0, 0x0, 128, 128, 0, 0, 512, 0))",
            R"(InternetOpenA("IPP client", 0, null, null, 0x0))",
            R"(InternetConnectA(root, "printer.example", 631, null, null, 3, 0x0, 0))",
            R"(HttpOpenRequestA(connection, "POST", "/ipp/print", "HTTP/1.1", null, null, 0x4400000, 0))",
            R"(HttpAddRequestHeadersA(request, "Content-type: application/ipp\r\n", 0x20000000))"));
    EXPECT_EQ(connection.lastError(), 0u);
    EXPECT_EQ(connection.httpStatus(), 200u);
}

TEST_F(ConnectionCalls, WholeMessageIsSentWithItsLength) {
    IppConnection connection(kUrl);
    forgetCalls();
    connection.sendMessage(*probe(), false);
    const std::string size = std::to_string(probeSize());
    EXPECT_THAT(
        internet.calls,
        ElementsAre(
            R"(HttpAddRequestHeadersA(request, "Transfer-Encoding:\r\n", 0x80000000))",
            R"(HttpAddRequestHeadersA(request, "Content-Length: )" + size + R"(\r\n", 0x80000000))",
            "HttpSendRequestExA(request, total " + size + ", null, 0xc, 0)", "Sleep(1000)",
            "InternetWriteFile(request, " + size + ")", "HttpEndRequestA(request, null, 0x0, 0)"));
    EXPECT_EQ(connection.lastError(), 0u);
    EXPECT_EQ(connection.httpStatus(), 0u);
}

TEST_F(ConnectionCalls, ChunkedMessageLeavesTheBodyOpenUntilAnEmptyWrite) {
    IppConnection connection(kUrl);
    forgetCalls();
    connection.sendMessage(*probe(), true);
    connection.writeData(std::string(1024, 'x').data(), 1024);
    connection.writeData(nullptr, 0);
    EXPECT_THAT(
        internet.calls,
        ElementsAre(
            R"(HttpAddRequestHeadersA(request, "Transfer-Encoding: chunked\r\n", 0xa0000000))",
            R"(HttpAddRequestHeadersA(request, "Content-Length:\r\n", 0x80000000))",
            "HttpSendRequestExA(request, total 0, null, 0xc, 0)", "Sleep(1000)",
            "InternetWriteFile(request, 4)",
            "InternetWriteFile(request, " + std::to_string(probeSize()) + ")",
            "InternetWriteFile(request, 2)",     //
            "InternetWriteFile(request, 5)",     // 400 CR LF
            "InternetWriteFile(request, 1024)",  //
            "InternetWriteFile(request, 2)",
            "InternetWriteFile(request, 3)",  // 0 CR LF
            "InternetWriteFile(request, 2)",  //
            "HttpEndRequestA(request, null, 0x0, 0)"));
}

TEST_F(ConnectionCalls, PromptDeliveryWritesEachChunkInOneCallWithoutAPause) {
    ConnectionOptions options;
    options.promptDelivery = true;
    IppConnection connection(kUrl, options);
    forgetCalls();
    connection.sendMessage(*probe(), true);
    connection.writeData(std::string(65536, 'x').data(), 65536);
    connection.writeData("yz", 2);
    connection.writeData(nullptr, 0);
    EXPECT_THAT(
        internet.calls,
        ElementsAre(
            R"(HttpAddRequestHeadersA(request, "Transfer-Encoding: chunked\r\n", 0xa0000000))",
            R"(HttpAddRequestHeadersA(request, "Content-Length:\r\n", 0x80000000))",
            "HttpSendRequestExA(request, total 0, null, 0xc, 0)",
            "InternetWriteFile(request, " + std::to_string(4 + probeSize() + 2) + ")",
            "InternetWriteFile(request, 65545)",  // 10000 CR LF, the data, CR LF
            "InternetWriteFile(request, 7)",      // 2 CR LF yz CR LF
            "InternetWriteFile(request, 5)",      // 0 CR LF CR LF
            "HttpEndRequestA(request, null, 0x0, 0)"));
    EXPECT_EQ(internet.writes.at(1), "10000\r\n" + std::string(65536, 'x') + "\r\n");
    EXPECT_EQ(internet.writes.at(2), "2\r\nyz\r\n");
    EXPECT_EQ(internet.writes.at(3), "0\r\n\r\n");
    EXPECT_EQ(connection.lastError(), 0u);
}

TEST_F(ConnectionCalls, PromptDeliveryWritesAWholeMessageWithoutAPause) {
    ConnectionOptions options;
    options.promptDelivery = true;
    IppConnection connection(kUrl, options);
    forgetCalls();
    connection.sendMessage(*probe(), false);
    const std::string size = std::to_string(probeSize());
    EXPECT_EQ(internet.count("Sleep"), 0u);
    EXPECT_THAT(internet.calls, Contains("InternetWriteFile(request, " + size + ")"));
}

TEST_F(ConnectionCalls, PromptChunkThatIsNotWrittenIsAnErrorAndNothingFollows) {
    ConnectionOptions options;
    options.promptDelivery = true;
    IppConnection connection(kUrl, options);
    connection.sendMessage(*probe(), true);
    internet.fail("InternetWriteFile", 10054);
    connection.writeData("x", 1);
    EXPECT_EQ(connection.lastError(), 10054u);
    forgetCalls();
    connection.writeData("y", 1);
    EXPECT_THAT(internet.calls, ElementsAre());
}

TEST_F(ConnectionCalls, ClosingGoesFromTheRequestToTheRoot) {
    {
        IppConnection connection(kUrl);
        connection.close();
        forgetCalls();
        connection.close();
    }
    EXPECT_THAT(internet.calls, ElementsAre()) << "closed twice";
    { const IppConnection connection(kUrl); }
    internet.calls.erase(internet.calls.begin(), internet.calls.end() - 3);
    EXPECT_THAT(internet.calls,
                ElementsAre("InternetCloseHandle(request)", "InternetCloseHandle(connection)",
                            "InternetCloseHandle(root)"));
}

TEST_F(ConnectionCalls, CredentialsAreSetOnTheConnectionWithTheirLengths) {
    IppConnection connection(kUrl);
    forgetCalls();
    connection.sendMessage(*probe(), false, "user name", "");
    ASSERT_GE(internet.calls.size(), 2u);
    internet.calls.resize(2);
    EXPECT_THAT(internet.calls, ElementsAre(R"(InternetSetOptionA(connection, 28, "user name"))",
                                            R"(InternetSetOptionA(connection, 29, ""))"));
}

struct UrlCase {
    const char* url;
    const char* connect;
    const char* request;
};

TEST_F(ConnectionCalls, UrlDecidesHostPortPathAndSecurity) {
    const UrlCase cases[] = {
        {"http://h/x", R"("h", 80,)", R"("/x", "HTTP/1.1", null, null, 0x4400000,)"},
        {"https://h/x", R"("h", 443,)", R"("/x", "HTTP/1.1", null, null, 0x4c00000,)"},
        // A scheme that only begins like this is another one.
        {"httpsx://h/x", R"("h", 631,)", R"("/x", "HTTP/1.1", null, null, 0x4400000,)"},
        {"https2://h:443/x", R"("h", 443,)", R"("/x", "HTTP/1.1", null, null, 0x4400000,)"},
        // In capitals it is a different text: no secure flag.
        {"HTTPS://h/x", R"("h", 443,)", R"("/x", "HTTP/1.1", null, null, 0x4400000,)"},
        {"https://h:8443/x", R"("h", 8443,)", R"("/x", "HTTP/1.1", null, null, 0x4c00000,)"},
        {"ipp://h:8631/x", R"("h", 8631,)", R"("/x", "HTTP/1.1", null, null, 0x4400000,)"},
        {"http://h:0/x", R"("h", 631,)", R"("/x", "HTTP/1.1", null, null, 0x4400000,)"},
        {"h/printers/lp", R"("h", 631,)", R"("/printers/lp", "HTTP/1.1", null, null, 0x4400000,)"},
        {"ipp://h/p?q=1&r", R"("h", 631,)", R"("/p?q=1&r", "HTTP/1.1", null, null, 0x4400000,)"},
        {"ipp://h", R"("h", 631,)", R"("", "HTTP/1.1", null, null, 0x4400000,)"},
    };
    for (const UrlCase& c : cases) {
        SCOPED_TRACE(c.url);
        forgetCalls();
        const IppConnection connection(c.url);
        EXPECT_THAT(internet.calls, Contains(std::string("InternetConnectA(root, ") + c.connect +
                                             " null, null, 3, 0x0, 0)"));
        EXPECT_THAT(
            internet.calls,
            Contains(std::string("HttpOpenRequestA(connection, \"POST\", ") + c.request + " 0)"));
    }
}

TEST_F(ConnectionCalls, SchemelessUrlIsCrackedAgainWithIpp) {
    const IppConnection connection("h/printers/lp");
    internet.calls.resize(2);
    EXPECT_THAT(
        internet.calls,
        ElementsAre(R"(InternetCrackUrlA("h/printers/lp", 0, 0x0, 128, 128, 0, 0, 512, 0))",
                    R"(InternetCrackUrlA("ipp://h/printers/lp", 0, 0x0, 128, 128, 0, 0, 512, 0))"));
}

TEST_F(ConnectionCalls, UnusableUrlFailsAtTheFirstSend) {
    const std::string urls[] = {"", "ipp://" + std::string(300, 'h') + "/x",
                                "ipp://h/" + std::string(600, 'p'), std::string(300, 'h') + "/x"};
    for (const std::string& url : urls) {
        SCOPED_TRACE(url);
        IppConnection connection(url);
        EXPECT_EQ(connection.lastError(), 0u);
        EXPECT_EQ(internet.count("InternetOpenA"), 0u);
        connection.sendMessage(*probe(), false);
        EXPECT_NE(connection.lastError(), 0u);
        EXPECT_EQ(connection.httpStatus(), 0u);
        EXPECT_EQ(internet.count("HttpSendRequestExA"), 0u);
        EXPECT_EQ(internet.count("Sleep"), 0u);
    }
}

TEST_F(ConnectionCalls, HandleThatCannotBeMadeStopsTheOpeningAndFailsTheFirstSend) {
    for (const char* function : {"InternetOpenA", "InternetConnectA", "HttpOpenRequestA"}) {
        SCOPED_TRACE(function);
        forgetCalls();
        internet.fail(function, ERROR_NOT_ENOUGH_MEMORY);
        {
            IppConnection connection(kUrl);
            EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
            EXPECT_TRUE(internet.calls.back().starts_with(function));
            connection.sendMessage(*probe(), true, "user", "password");
            EXPECT_NE(connection.lastError(), 0u);
            EXPECT_FALSE(connection.finish());
            EXPECT_EQ(internet.count("HttpSendRequestExA"), 0u);
        }
        EXPECT_EQ(internet.openHandles(), 0);
    }
}

/// The connection's state while the password dialog is open.
struct SeenByTheDialog {
    static DWORD WINAPI ask(HWND, HINTERNET, DWORD, DWORD, LPVOID*) {
        error = asked->lastError();
        status = asked->httpStatus();
        ++questions;
        return result;
    }

    static inline const IppConnection* asked = nullptr;
    static inline DWORD result = 0;
    static inline std::uint32_t error = 0;
    static inline std::uint32_t status = 0;
    static inline int questions = 0;
};

TEST_F(ConnectionCalls, PasswordDialogBeginsAfreshAndItsResultIsTheLastError) {
    internet.answers = {{.status = "401"}};
    testing::winInetFunctions().internetErrorDlg = SeenByTheDialog::ask;
    const std::pair<DWORD, DWORD> results[] = {
        {ERROR_SUCCESS, ERROR_CANCELLED},
        {ERROR_CANCELLED, ERROR_CANCELLED},
        {ERROR_INVALID_HANDLE, ERROR_INVALID_HANDLE},
        {ERROR_INTERNET_INCORRECT_PASSWORD, ERROR_INTERNET_INCORRECT_PASSWORD},
        {0xFFFFFFFF, 0xFFFFFFFF},
    };
    for (const auto& [result, lastError] : results) {
        SCOPED_TRACE(result);
        IppConnection connection(kUrl);
        connection.sendMessage(*probe(), false);
        // An error and a status of the attempt before: its answer was read, the next one was not.
        EXPECT_FALSE(connection.readResponse());
        internet.fail("HttpQueryInfoA", ERROR_INTERNET_CONNECTION_ABORTED);
        EXPECT_FALSE(connection.readResponse());
        ASSERT_EQ(connection.lastError(), DWORD{ERROR_INTERNET_CONNECTION_ABORTED});
        ASSERT_EQ(connection.httpStatus(), 401u);
        forgetCalls();
        SeenByTheDialog::asked = &connection;
        SeenByTheDialog::result = result;
        SeenByTheDialog::questions = 0;
        connection.authenticationDialogAndResend(nullptr, *probe(), false);
        EXPECT_EQ(SeenByTheDialog::questions, 1);
        EXPECT_EQ(SeenByTheDialog::error, 0u);
        EXPECT_EQ(SeenByTheDialog::status, 0u);
        EXPECT_EQ(connection.lastError(), lastError);
        EXPECT_EQ(connection.httpStatus(), 0u);
        EXPECT_THAT(internet.calls, ElementsAre()) << "nothing is sent";
    }
    IppConnection connection(kUrl);
    forgetCalls();
    SeenByTheDialog::asked = &connection;
    SeenByTheDialog::result = ERROR_INTERNET_FORCE_RETRY;
    connection.authenticationDialogAndResend(nullptr, *probe(), false);
    EXPECT_EQ(connection.lastError(), 0u);
    EXPECT_EQ(internet.count("HttpSendRequestExA"), 1u);
}

TEST_F(ConnectionCalls, CertificateDialogsResultIsTheLastError) {
    const std::pair<DWORD, DWORD> results[] = {
        {ERROR_SUCCESS, kSendAgain},        {kSendAgain, kSendAgain},
        {ERROR_CANCELLED, ERROR_CANCELLED}, {ERROR_INTERNET_INVALID_CA, ERROR_INTERNET_INVALID_CA},
        {0xFFFFFFFF, 0xFFFFFFFF},
    };
    for (const auto& [result, lastError] : results) {
        SCOPED_TRACE(result);
        IppConnection connection(kUrl);
        internet.fail("HttpSendRequestExA", ERROR_INTERNET_INVALID_CA);
        connection.sendMessage(*probe(), false);
        internet.dialogResults = {result};
        connection.certificateAndPasswordDialog(GetDesktopWindow());
        EXPECT_EQ(connection.lastError(), lastError);
    }
}

struct FailureCase {
    const char* function;
    int successesBefore;
    bool chunked;
};

TEST_F(ConnectionCalls, FailedStepOfASendIsTheLastErrorAndTheLastCall) {
    const FailureCase cases[] = {
        {"HttpAddRequestHeadersA", 0, false}, {"HttpAddRequestHeadersA", 1, false},
        {"HttpAddRequestHeadersA", 0, true},  {"HttpAddRequestHeadersA", 1, true},
        {"HttpSendRequestExA", 0, false},     {"HttpSendRequestExA", 0, true},
        {"InternetWriteFile", 0, false},      {"HttpEndRequestA", 0, false},
        {"InternetWriteFile", 0, true},       {"InternetWriteFile", 1, true},
        {"InternetWriteFile", 2, true},
    };
    for (const FailureCase& c : cases) {
        SCOPED_TRACE(std::string(c.function) + " " + std::to_string(c.successesBefore));
        IppConnection connection(kUrl);
        for (int i = 0; i < c.successesBefore; ++i)
            internet.fail(c.function, 0);
        internet.fail(c.function, ERROR_INTERNET_CONNECTION_RESET);
        connection.sendMessage(*probe(), c.chunked);
        EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_INTERNET_CONNECTION_RESET));
        EXPECT_TRUE(internet.calls.back().starts_with(c.function)) << internet.calls.back();

        forgetCalls();
        connection.writeData("x", 1);
        connection.writeData(nullptr, 0);
        EXPECT_FALSE(connection.finish());
        EXPECT_THAT(internet.calls, ElementsAre()) << "something was sent after an error";
        EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_INTERNET_CONNECTION_RESET));

        connection.sendMessage(*probe(), false);
        EXPECT_EQ(connection.lastError(), 0u) << "a new send starts afresh";
    }
}

TEST_F(ConnectionCalls, NothingToRemoveOrReplaceIsNoFailure) {
    for (const bool chunked : {false, true}) {
        IppConnection connection(kUrl);
        internet.fail("HttpAddRequestHeadersA", ERROR_HTTP_HEADER_NOT_FOUND);
        internet.fail("HttpAddRequestHeadersA", ERROR_HTTP_HEADER_NOT_FOUND);
        connection.sendMessage(*probe(), chunked);
        EXPECT_EQ(connection.lastError(), 0u);
        EXPECT_TRUE(internet.body().ends_with(chunked ? "\x03\r\n" : "\x03"));
    }
}

TEST_F(ConnectionCalls, FailureWithoutACodeIsStillAnError) {
    IppConnection connection(kUrl);
    testing::WinInetFunctions& functions = testing::winInetFunctions();
    const auto send = functions.httpSendRequestEx;
    functions.httpSendRequestEx = [](HINTERNET, LPINTERNET_BUFFERSA, LPINTERNET_BUFFERSA, DWORD,
                                     DWORD_PTR) __attribute__((stdcall))
                                      ->BOOL {
        SetLastError(0);
        return FALSE;
    };
    connection.sendMessage(*probe(), false);
    functions.httpSendRequestEx = send;
    EXPECT_NE(connection.lastError(), 0u);
}

TEST_F(ConnectionCalls, SizeLinesAreLowerCaseHexadecimalWithoutZerosInFront) {
    IppConnection connection(kUrl);
    const std::string data(0x1abcd, 'd');
    for (const auto& [size, line] : {std::pair<std::size_t, const char*>{1, "1\r\n"},
                                     {10, "a\r\n"},
                                     {1023, "3ff\r\n"},
                                     {1024, "400\r\n"},
                                     {0x1abcd, "1abcd\r\n"}}) {
        connection.sendMessage(*probe(), true);
        internet.writes.clear();
        connection.writeData(data.data(), size);
        EXPECT_THAT(internet.writes, ElementsAre(line, data.substr(0, size), "\r\n"));
    }
}

TEST_F(ConnectionCalls, FailedSizeLineSkipsTheRestOfTheChunk) {
    IppConnection connection(kUrl);
    connection.sendMessage(*probe(), true);
    forgetCalls();
    internet.fail("InternetWriteFile", ERROR_INTERNET_CONNECTION_RESET);
    connection.writeData("data", 4);
    EXPECT_THAT(internet.calls, ElementsAre("InternetWriteFile(request, 3)"));
}

TEST_F(ConnectionCalls, TerminatingChunkIsSentOnceARequest) {
    IppConnection connection(kUrl);
    internet.answers = {{.body = testing::goodAnswer()}};
    connection.sendMessage(*probe(), true);
    connection.writeData(nullptr, 0);
    const std::string body = internet.body();
    EXPECT_TRUE(body.ends_with("0\r\n\r\n"));
    connection.writeData(nullptr, 0);
    connection.writeData("late", 4);
    EXPECT_EQ(internet.body(), body);
    EXPECT_EQ(internet.count("HttpEndRequestA"), 1u);
    EXPECT_NE(connection.lastError(), 0u) << "bytes after the end of the document are lost";

    connection.sendMessage(*probe(), true);
    EXPECT_TRUE(connection.finish());
    EXPECT_FALSE(connection.finish());
    EXPECT_TRUE(internet.body().ends_with("\x03\r\n0\r\n\r\n"));
    EXPECT_EQ(internet.count("HttpEndRequestA"), 2u);
}

TEST_F(ConnectionCalls, RequestIsEndedThoughItsTerminatingChunkFailed) {
    IppConnection connection(kUrl);
    connection.sendMessage(*probe(), true);
    forgetCalls();
    internet.fail("InternetWriteFile", ERROR_INTERNET_CONNECTION_RESET);
    connection.writeData(nullptr, 0);
    EXPECT_THAT(internet.calls, ElementsAre("InternetWriteFile(request, 3)",
                                            "HttpEndRequestA(request, null, 0x0, 0)"));
    EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_INTERNET_CONNECTION_RESET));
}

TEST_F(ConnectionCalls, ResultOfEndingAnOpenBodyIsNotTested) {
    IppConnection connection(kUrl);
    internet.answers = {{.body = testing::goodAnswer()}};
    connection.sendMessage(*probe(), true);
    internet.fail("HttpEndRequestA", ERROR_INTERNET_TIMEOUT);
    EXPECT_TRUE(connection.finish());
    EXPECT_EQ(connection.lastError(), 0u);
}

TEST_F(ConnectionCalls, WriteThatTakesLessThanGivenIsAnError) {
    IppConnection connection(kUrl);
    connection.sendMessage(*probe(), true);
    testing::WinInetFunctions& functions = testing::winInetFunctions();
    const auto write = functions.internetWriteFile;
    functions.internetWriteFile =
        [](HINTERNET, LPCVOID, DWORD size, LPDWORD written) __attribute__((stdcall))->BOOL {
        *written = size - 1;
        return TRUE;
    };
    connection.writeData("data", 4);
    functions.internetWriteFile = write;
    EXPECT_NE(connection.lastError(), 0u);
}

TEST_F(ConnectionCalls, MessageThatCannotBeEncodedFailsWithoutSending) {
    UniqueIppMessage message = probe();
    const std::string tooLong(70000, 'n');
    addIppAttribute(*message, IppGroup::operation, 0,
                    newNameAttribute(IppAttributeNames::indexOf("job-name"), tooLong.c_str()));
    IppConnection connection(kUrl);
    connection.sendMessage(*message, true);
    EXPECT_NE(connection.lastError(), 0u);
    EXPECT_EQ(internet.count("HttpSendRequestExA"), 0u);
}

}  // namespace
}  // namespace velmora
