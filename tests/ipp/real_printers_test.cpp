#include <gtest/gtest.h>

#include "tests/support/peer.h"
#include "tests/support/printing.h"

namespace velmora {
namespace {

using testing::Peer;
using testing::printDocument;
using testing::targetOf;
using testing::testDocument;

TEST(IppEvePrinter, StoresTheDocumentByteForByte) {
    Peer printer("ippeve_printer");
    const std::string sent = testDocument(1025);
    ASSERT_TRUE(printDocument(targetOf(printer.url()), sent));
    EXPECT_EQ(printer.file("1-*.ps"), sent);
}

TEST(CupsServer, StoresTheDocumentByteForByte) {
    Peer printer("cups_server");
    const std::string sent = testDocument(1025);
    ASSERT_TRUE(printDocument(targetOf(printer.url()), sent));
    EXPECT_EQ(printer.file("spool/d00001-001"), sent);
}

}  // namespace
}  // namespace velmora
