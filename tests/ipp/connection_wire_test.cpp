// The bytes that a server receives, header block and body, compared with bytes put together here.

#include <gtest/gtest.h>
#include <windows.h>

#include "harness/peer.h"
#include "harness/printing.h"
#include "tests/ipp/expected_requests.h"

namespace velmora {
namespace {

using testing::chunk;
using testing::expectedPrintJob;
using testing::expectedProbe;
using testing::Peer;
using testing::userName;

/// The header block of a request to `url` (.../ipp/print). The platform adds Host, User-Agent,
/// Cache-Control and Connection, and places the lines about the body: after Content-type on the
/// first send, after Cache-Control on a later one.
std::string headerBlock(const std::string& url, const std::string& firstSend,
                        const std::string& laterSend) {
    const std::size_t host = url.find("//") + 2;
    return "POST /ipp/print HTTP/1.1\r\n"
           "Content-type: application/ipp\r\n" +
           firstSend + "Host: " + url.substr(host, url.find('/', host) - host) +
           "\r\n"
           "User-Agent: IPP client\r\n"
           "Cache-Control: no-cache\r\n" +
           laterSend +
           "Connection: Keep-Alive\r\n"
           "\r\n";
}

class Wire : public ::testing::Test {
  protected:
    std::string head(int number) { return file(number, ".head"); }
    std::string raw(int number) { return file(number, ".raw"); }
    std::string file(int number, const char* suffix) {
        return sink.file("request-" + std::to_string(number) + suffix)
            .value_or("(no such request)");
    }

    Peer sink{"http_sink"};
};

TEST_F(Wire, JobIsAWholeProbeAndAChunkedPrintJob) {
    const std::string document = testing::testDocument(2500);
    const DWORD start = GetTickCount();
    ASSERT_TRUE(testing::printDocument(testing::targetOf(sink.url()), document, "Document"));
    EXPECT_GE(GetTickCount() - start, 2000u - 16) << "a pause of 1000 ms after each header block";

    const std::string probe = expectedProbe(sink.url(), userName());
    EXPECT_EQ(raw(1), probe);
    // There was no Transfer-Encoding to remove yet: the platform under test adds an empty one.
    EXPECT_EQ(head(1), headerBlock(sink.url(),
                                   "Transfer-Encoding: \r\nContent-Length: " +
                                       std::to_string(probe.size()) + "\r\n",
                                   ""));
    EXPECT_EQ(raw(2), chunk(expectedPrintJob(sink.url(), userName(), "Document")) +
                          chunk(document.substr(0, 1024)) + chunk(document.substr(1024, 1024)) +
                          chunk(document.substr(2048)) + "0\r\n\r\n");
    // The platform writes a Content-Length of its own; Transfer-Encoding wins (RFC 7230, 3.3.3).
    EXPECT_EQ(head(2),
              headerBlock(sink.url(), "", "Transfer-Encoding: chunked\r\nContent-Length: 0\r\n"));
    EXPECT_FALSE(sink.file("request-3.head"));
}

TEST_F(Wire, PlainAndChunkedSendsFollowEachOtherOnOneConnection) {
    IppConnection connection(sink.url());
    const UniqueIppMessage message = newIppRequest({1, 0}, IppOperation::getPrinterAttributes, 1);
    for (const bool chunked : {false, false, true, false, true}) {
        connection.sendMessage(*message, chunked);
        ASSERT_EQ(connection.lastError(), 0u);
        if (chunked) connection.writeData(nullptr, 0);
        ASSERT_TRUE(connection.readResponse());
    }
    EXPECT_NE(head(3).find("\r\nTransfer-Encoding: chunked\r\n"), std::string::npos);
    EXPECT_EQ(raw(3), chunk(raw(1)) + "0\r\n\r\n");
    EXPECT_EQ(raw(5), raw(3));
    for (const int plain : {1, 2, 4}) {
        EXPECT_EQ(raw(plain), raw(1));
        EXPECT_NE(head(plain).find("\r\nContent-Length: " + std::to_string(raw(1).size()) + "\r\n"),
                  std::string::npos);
        EXPECT_EQ(head(plain).find("chunked"), std::string::npos);
    }
}

TEST_F(Wire, AnswerIsReadWhateverTheSizeOfItsPieces) {
    Peer printer("faulty_printer --seconds 0.001 slow");
    IppConnection connection(printer.url());
    const UniqueIppMessage message = newIppRequest({1, 0}, IppOperation::getPrinterAttributes, 1);
    connection.sendMessage(*message, false);
    const UniqueIppMessage response = connection.readResponse();
    ASSERT_TRUE(response);
    EXPECT_EQ(response->operationOrStatus, 0u);
}

}  // namespace
}  // namespace velmora
