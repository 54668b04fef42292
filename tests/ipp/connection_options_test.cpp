// The additional calls on the platform's HTTP interface that a connection makes with options. The
// other tests here show that there are none without options.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harness/printing.h"
#include "harness/wininet/fake_wininet.h"
#include "ipp/connection.h"
#include "ipp/print_job.h"
#include "platform/handle.h"
#include "tests/ipp/expected_requests.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using testing::FakeWinInet;
using testing::goodAnswer;
using ::testing::HasSubstr;

constexpr char kUrl[] = "ipp://printer.example/ipp/print";

UniqueIppMessage probe() {
    return newIppRequest({1, 0}, IppOperation::getPrinterAttributes, 1);
}

class ConnectionOptionsCalls : public ::testing::Test {
  protected:
    std::vector<std::string> callsOf(const std::string& function) const {
        std::vector<std::string> found;
        for (const std::string& call : internet.calls)
            if (call.starts_with(function + "(")) found.push_back(call);
        return found;
    }

    FakeWinInet internet;
};

TEST_F(ConnectionOptionsCalls, TimeOutsAreSetInMillisecondsOnEveryHandle) {
    ConnectionOptions options;
    options.connectTimeout = 30;
    options.sendTimeout = 120;
    options.receiveTimeout = 86400;
    IppConnection connection(kUrl, options);
    connection.sendMessage(*probe(), false);
    EXPECT_THAT(
        callsOf("InternetSetOptionA"),
        ElementsAre(
            "InternetSetOptionA(root, 2, 30000)", "InternetSetOptionA(root, 5, 120000)",
            "InternetSetOptionA(root, 6, 86400000)", "InternetSetOptionA(connection, 2, 30000)",
            "InternetSetOptionA(connection, 5, 120000)",
            "InternetSetOptionA(connection, 6, 86400000)", "InternetSetOptionA(request, 2, 30000)",
            "InternetSetOptionA(request, 5, 120000)", "InternetSetOptionA(request, 6, 86400000)"));
    EXPECT_EQ(connection.lastError(), 0u);
}

TEST_F(ConnectionOptionsCalls, ATimeOutOfZeroSetsNothing) {
    ConnectionOptions options;
    options.sendTimeout = 1;
    IppConnection connection(kUrl, options);
    connection.sendMessage(*probe(), true);
    EXPECT_THAT(
        callsOf("InternetSetOptionA"),
        ElementsAre("InternetSetOptionA(root, 5, 1000)", "InternetSetOptionA(connection, 5, 1000)",
                    "InternetSetOptionA(request, 5, 1000)"));
    EXPECT_EQ(connection.readResponse(), nullptr);
    EXPECT_EQ(internet.count("InternetQueryDataAvailable"), 0u);
}

TEST_F(ConnectionOptionsCalls, RedirectsAreLeftToThePlatformUnlessTheyAreForbidden) {
    ConnectionOptions options;
    { const IppConnection connection(kUrl, options); }
    EXPECT_THAT(callsOf("HttpOpenRequestA"), ElementsAre(HasSubstr(" 0x4400000,")));
    internet.calls.clear();
    options.followRedirects = false;
    { const IppConnection connection(kUrl, options); }
    EXPECT_THAT(callsOf("HttpOpenRequestA"), ElementsAre(HasSubstr(" 0x4600000,")));
}

TEST_F(ConnectionOptionsCalls, AnAnswerWithATimeOutIsReadAsItComes) {
    ConnectionOptions options;
    options.receiveTimeout = 300;
    IppConnection connection(kUrl, options);
    connection.sendMessage(*probe(), false);
    internet.answers = {{.body = goodAnswer(0x0401) + std::string(3000, 'x'), .pieceSize = 1500}};
    const UniqueIppMessage message = connection.readResponse();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->operationOrStatus, 0x0401u);
    EXPECT_FALSE(connection.answerLeftUnread());
    EXPECT_EQ(callsOf("InternetReadFile").front(), "InternetReadFile(request, 1024)");
    EXPECT_EQ(internet.count("InternetQueryDataAvailable"), internet.count("InternetReadFile") + 1)
        << "the end is told by the question";
}

TEST_F(ConnectionOptionsCalls, AnAnswerOfTheLongestSizeIsLeftAndTheJobGetsItsOwnConnection) {
    internet.answers = {{.body = goodAnswer() + std::string(kLongestAnswer, 'x')},
                        {.body = goodAnswer()}};
    PrintTarget target{.url = kUrl, .useAuthentication = 1, .userName = "u", .password = "p"};
    const auto connection = testing::startJob(target, "D");
    ASSERT_TRUE(connection);
    EXPECT_EQ(connection->lastError(), 0u);
    EXPECT_EQ(internet.count("InternetOpenA"), 2u);
    EXPECT_EQ(internet.count("InternetReadFile"), kLongestAnswer / 1024);
    EXPECT_EQ(internet.openHandles(), 3) << "those of the probe are closed";
    EXPECT_THAT(callsOf("InternetSetOptionA"),
                ElementsAre(HasSubstr("28, \"u\""), HasSubstr("29, \"p\""), HasSubstr("28, \"u\""),
                            HasSubstr("29, \"p\"")));
    EXPECT_TRUE(connection->finish());
}

TEST_F(ConnectionOptionsCalls, AnAnswerBelowTheLongestSizeIsReadWhole) {
    const std::string good = goodAnswer();
    internet.answers = {{.body = good + std::string(kLongestAnswer - good.size() - 1, 'x')}};
    PrintTarget target;
    target.url = kUrl;
    const auto connection = testing::startJob(target, "D");
    ASSERT_TRUE(connection);
    EXPECT_EQ(internet.count("InternetOpenA"), 1u);
    EXPECT_FALSE(connection->answerLeftUnread());
}

TEST_F(ConnectionOptionsCalls, AMalformedAnswerIsLeftToo) {
    internet.answers = {{.body = std::string("\x01\0\0\0\x01\0\0\0\x0f", 9)},
                        {.body = goodAnswer()}};
    PrintTarget target;
    target.url = kUrl;
    EXPECT_TRUE(testing::startJob(target, "D"));
    EXPECT_EQ(internet.count("InternetOpenA"), 2u);
}

// The platform would read them without a bound before the next request.
TEST_F(ConnectionOptionsCalls, ErrorPagesAreRead) {
    const std::string page(5000, 'x');
    for (const std::uint32_t timeout : {0u, 300u}) {
        internet.answers = {{.status = "404", .body = page}, {.body = goodAnswer()}};
        internet.calls.clear();
        ConnectionOptions options;
        options.receiveTimeout = timeout;
        PrintTarget target;
        target.url = kUrl;
        EXPECT_TRUE(testing::startJob(target, "D", options));
        // The end is seen by an empty piece, or by asking how much is available.
        EXPECT_EQ(internet.count("InternetReadFile"), timeout == 0 ? 6u : 5u);
        EXPECT_EQ(internet.count("InternetOpenA"), 1u);
    }
}

TEST_F(ConnectionOptionsCalls, APasswordIsNotAskedForBehindAPageThatNeverEnds) {
    internet.answers = {{.status = "401", .body = std::string(kLongestAnswer + 1, 'x')}};
    ConnectionOptions options;
    options.receiveTimeout = 300;
    PrintTarget target;
    target.url = kUrl;
    EXPECT_FALSE(testing::startJob(target, "D", options));
    EXPECT_EQ(internet.count("InternetErrorDlg"), 0u);
    EXPECT_EQ(internet.openHandles(), 0);
}

/// Calls that return only when another thread closes their request, as Windows' do.
class HangingCalls {
  public:
    HangingCalls() {
        closed_.reset(CreateEventA(nullptr, TRUE, FALSE, nullptr));
        close_ = testing::winInetFunctions().internetCloseHandle;
        testing::winInetFunctions().internetCloseHandle = closeHandle;
    }
    ~HangingCalls() { closed_.reset(); }

    static BOOL WINAPI endRequest(HINTERNET, LPINTERNET_BUFFERSA, DWORD, DWORD_PTR) {
        return hang();
    }
    static BOOL WINAPI sendRequest(HINTERNET, LPINTERNET_BUFFERSA, LPINTERNET_BUFFERSA, DWORD,
                                   DWORD_PTR) {
        return hang();
    }

  private:
    static BOOL hang() {
        WaitForSingleObject(closed_.get(), INFINITE);
        SetLastError(ERROR_INTERNET_OPERATION_CANCELLED);
        return FALSE;
    }
    static BOOL WINAPI closeHandle(HINTERNET handle) {
        const BOOL result = close_(handle);
        SetEvent(closed_.get());
        return result;
    }

    static inline UniqueEvent closed_;
    static inline decltype(&::InternetCloseHandle) close_ = nullptr;
};

TEST_F(ConnectionOptionsCalls, HeadersThatNeverEndAreLeftByClosingTheRequest) {
    const HangingCalls hanging;
    testing::winInetFunctions().httpEndRequest = HangingCalls::endRequest;
    ConnectionOptions options;
    options.receiveTimeout = 1;
    {
        IppConnection connection(kUrl, options);
        connection.sendMessage(*probe(), false);
        EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_INTERNET_TIMEOUT));
        EXPECT_EQ(internet.count("InternetCloseHandle"), 1u);
        EXPECT_FALSE(connection.readResponse());
        EXPECT_EQ(internet.count("HttpQueryInfoA"), 0u) << "there is no request any more";
        connection.sendMessage(*probe(), false);
        EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    }
    EXPECT_EQ(internet.openHandles(), 0) << "nothing is closed twice";
}

TEST_F(ConnectionOptionsCalls, AJobGivesUpHeadersThatNeverEnd) {
    ConnectionOptions options;
    options.receiveTimeout = 1;
    {
        IppConnection connection(kUrl, options);
        connection.sendMessage(*probe(), true);
        const HangingCalls hanging;
        testing::winInetFunctions().httpEndRequest = HangingCalls::endRequest;
        EXPECT_FALSE(connection.finish());
        EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_INTERNET_TIMEOUT));
    }
    EXPECT_EQ(internet.openHandles(), 0);
}

TEST_F(ConnectionOptionsCalls, AConnectionThatDoesNotComeAboutIsLeftByClosingTheRequest) {
    const HangingCalls hanging;
    testing::winInetFunctions().httpSendRequestEx = HangingCalls::sendRequest;
    ConnectionOptions options;
    options.connectTimeout = 1;
    {
        PrintTarget target;
        target.url = kUrl;
        EXPECT_FALSE(testing::startJob(target, "D", options));
    }
    EXPECT_EQ(internet.openHandles(), 0);
    EXPECT_EQ(internet.count("InternetErrorDlg"), 0u);
}

}  // namespace
}  // namespace velmora
