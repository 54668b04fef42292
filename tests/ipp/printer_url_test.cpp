#include "ipp/printer_url.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

struct UrlCase {
    std::string url;
    bool valid;
};

TEST(PrinterUrl, IsWhatThePlatformTakes) {
    const std::string longHost(128, 'h');
    const UrlCase cases[] = {
        {"ipp://printer/ipp", true},
        {"ipp://printer:631/ipp/print?x=1", true},
        {"http://printer/", true},
        {"https://printer", true},
        {"HTTPS://printer", true},
        {"printer:631/ipp", true},
        // The first form succeeds, so the host name is not checked.
        {"http:///ipp", true},
        {"http://h:abc/", true},
        {"file://x", true},
        // Without a scheme the form with "ipp://" decides.
        {"printer/printers/lp", true},
        {"printer", true},
        {"192.168.0.1", true},
        // That form lacks a host name.
        {"/printers/lp", false},
        {"", false},
        // Refused for other reasons, though the form with "ipp://" would pass.
        {"http://" + longHost + "/", false},
        {"ipp://" + longHost, false},
        {longHost, false},
        {longHost.substr(1), true},
    };
    for (const UrlCase& each : cases)
        EXPECT_EQ(IsValidPrinterUrl(each.url), each.valid) << "'" << each.url << "'";
}

TEST(PrinterUrl, AnyTextGetsAnAnswer) {
    for (const std::size_t size : {255u, 2'000u, 32'000u}) {
        IsValidPrinterUrl(std::string(size, 'a'));
        IsValidPrinterUrl("http://h/" + std::string(size, 'a'));
        IsValidPrinterUrl(std::string(size, '\xFF'));
    }
    EXPECT_TRUE(IsValidPrinterUrl("ipp://h/" + std::string(1'000, 'a')));
}

}  // namespace
}  // namespace velmora
