// Reading an answer through the platform's HTTP interface, with answers made by the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harness/wininet/fake_wininet.h"
#include "ipp/connection.h"
#include "tests/ipp/expected_requests.h"

namespace velmora {
namespace {

using ::testing::ElementsAre;
using testing::FakeWinInet;
using testing::goodAnswer;

class Response : public ::testing::Test {
  protected:
    Response() {
        connection.sendMessage(*newIppRequest({1, 0}, IppOperation::getPrinterAttributes, 1), true);
        internet.calls.clear();
    }

    FakeWinInet internet;
    IppConnection connection{"ipp://printer.example/ipp/print"};
};

TEST_F(Response, IsReadInPiecesOf1024BytesUntilNothingIsLeft) {
    internet.answers = {{.body = goodAnswer() + std::string(2000, 'x')}};
    const UniqueIppMessage message = connection.readResponse();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->operationOrStatus, 0u);
    EXPECT_EQ(message->requestId, 1u);
    EXPECT_EQ(connection.httpStatus(), 200u);
    EXPECT_EQ(connection.lastError(), 0u);
    EXPECT_THAT(internet.calls,
                ElementsAre("HttpQueryInfoA(request, 19, 4, null)",
                            "InternetReadFile(request, 1024)", "InternetReadFile(request, 1024)",
                            "InternetReadFile(request, 1024)", "InternetReadFile(request, 1024)"));
}

TEST_F(Response, OneByteAReadGivesTheSameMessage) {
    internet.answers = {{.body = goodAnswer(0x0401), .pieceSize = 1}};
    const UniqueIppMessage message = connection.readResponse();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->operationOrStatus, 0x0401u);
    ASSERT_NE(message->group(IppGroup::operation).tail, nullptr);
    EXPECT_EQ(message->group(IppGroup::operation).tail->value.text.view(), "en-us");
}

TEST_F(Response, OtherHttpStatusIsKeptAndTheBodyIsNotRead) {
    for (const char* status : {"100", "201", "302", "401", "404", "500", "503"}) {
        internet.answers = {{.status = status, .body = goodAnswer()}};
        EXPECT_FALSE(connection.readResponse());
        EXPECT_EQ(std::to_string(connection.httpStatus()), status);
        EXPECT_EQ(connection.lastError(), 0u);
    }
    EXPECT_EQ(internet.count("InternetReadFile"), 0u);
}

TEST_F(Response, StatusThatIsNoNumberIsZero) {
    internet.answers = {{.status = "abc", .body = goodAnswer()}};
    EXPECT_FALSE(connection.readResponse());
    EXPECT_EQ(connection.httpStatus(), 0u);
}

TEST_F(Response, StatusThatDoesNotFitTheAreaIsAFailedRead) {
    internet.answers = {{.status = "2000", .body = goodAnswer()}};
    EXPECT_FALSE(connection.readResponse());
    EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(connection.httpStatus(), 0u);
}

TEST_F(Response, StatusThatCannotBeReadIsTheLastError) {
    internet.fail("HttpQueryInfoA", ERROR_INTERNET_OPERATION_CANCELLED);
    EXPECT_FALSE(connection.readResponse());
    EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_INTERNET_OPERATION_CANCELLED));
    EXPECT_EQ(internet.count("InternetReadFile"), 0u);
}

TEST_F(Response, FailedReadIsTheLastError) {
    internet.answers = {{.body = goodAnswer(), .pieceSize = 10}};
    internet.fail("InternetReadFile", 0);
    internet.fail("InternetReadFile", ERROR_INTERNET_CONNECTION_ABORTED);
    EXPECT_FALSE(connection.readResponse());
    EXPECT_EQ(connection.lastError(), static_cast<DWORD>(ERROR_INTERNET_CONNECTION_ABORTED));
}

TEST_F(Response, IncompleteOrMalformedBodyGivesNothingAndIsNoTransportFailure) {
    const std::string good = goodAnswer();
    const std::string cases[] = {
        "",
        good.substr(0, 7),
        good.substr(0, good.size() - 1),
        "<html>a printer's page, which is long enough to be taken for a header</html>",
        // The out-of-band value "no-value".
        good.substr(0, good.size() - 1) + std::string("\x13\0\x06"
                                                      "copies\0\0\x03",
                                                      12),
        // "unknown".
        good.substr(0, good.size() - 1) + std::string("\x12\0\x06"
                                                      "copies\0\0\x03",
                                                      12),
    };
    for (const std::string& body : cases) {
        internet.answers = {{.body = body}};
        EXPECT_FALSE(connection.readResponse());
        EXPECT_EQ(connection.lastError(), 0u);
        EXPECT_EQ(connection.httpStatus(), 200u);
    }
}

TEST_F(Response, EveryPrefixOfAnAnswerGivesNothing) {
    const std::string good = goodAnswer();
    for (std::size_t size = 0; size < good.size(); ++size) {
        internet.answers = {{.body = good.substr(0, size)}};
        EXPECT_FALSE(connection.readResponse()) << size;
    }
}

TEST_F(Response, MalformedBodyEndsTheReadingAtOnce) {
    internet.answers = {
        {.body = std::string("\x01\0\0\0\x01\0\0\0\x0f", 9) + std::string(100000, 'x')}};
    EXPECT_FALSE(connection.readResponse());
    EXPECT_EQ(internet.count("InternetReadFile"), 1u);
}

TEST_F(Response, AttributesThatNeverEndAreReadInBoundedMemory) {
    const std::string attribute(
        "\x21\0\x06"
        "copies\0\x04\0\0\0\x01",
        15);
    std::string body = goodAnswer();
    body.pop_back();
    body.reserve(24 << 20);
    while (body.size() < 24u << 20)
        body += attribute;
    internet.answers = {{.body = body + "\x03"}};
    EXPECT_FALSE(connection.readResponse()) << "what did not fit is not a whole answer";
    EXPECT_EQ(connection.lastError(), 0u);
    EXPECT_EQ(internet.count("InternetReadFile"), kLongestAnswer / 1024);
    EXPECT_TRUE(connection.answerLeftUnread());
}

TEST_F(Response, FirstThreeStatusCodesMeanThatTheJobWasAccepted) {
    for (const auto& [status, accepted] : {std::pair{0x0000u, true},
                                           {0x0001u, true},
                                           {0x0002u, true},
                                           {0x0003u, false},
                                           {0x0400u, false},
                                           {0x040bu, false},
                                           {0x0507u, false},
                                           {0x8001u, false},
                                           {0xFFFFu, false}}) {
        SCOPED_TRACE(status);
        internet.answers = {{.body = goodAnswer(status)}};
        connection.sendMessage(*newIppRequest({1, 0}, IppOperation::printJob, 1), true);
        EXPECT_EQ(connection.finish(), accepted);
    }
}

TEST_F(Response, FinishWithoutAnAnswerIsAFailure) {
    internet.answers = {{.body = ""}};
    EXPECT_FALSE(connection.finish());
    EXPECT_EQ(internet.count("HttpEndRequestA"), 1u);
}

}  // namespace
}  // namespace velmora
