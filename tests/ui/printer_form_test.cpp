#include "ui/printer_form.h"

#include <gtest/gtest.h>

#include "tests/ui/sample_directory.h"

namespace velmora {
namespace {

TEST(PrinterForm, TakesThePrintersValues) {
    const SampleDirectory tree;
    EXPECT_EQ(formOf(*tree.laser), (PrinterForm{"Laser", "ipp://laser/p", true, "user", "secret"}));
}

TEST(PrinterForm, KeepsCredentialsOnlyWithAuthentication) {
    PrinterForm form{"n", "u", true, "user", "secret"};
    EXPECT_EQ(withUsedCredentials(form), form);
    form.hasAuth = false;
    EXPECT_EQ(withUsedCredentials(form), (PrinterForm{"n", "u", false, "", ""}));
}

TEST(PrinterName, IsRequiredAndUniqueByteForByte) {
    const std::vector<std::string> taken{"Laser", "Office"};
    EXPECT_EQ(judgePrinterName("", taken), PrinterNameVerdict::missing);
    EXPECT_EQ(judgePrinterName("", {""}), PrinterNameVerdict::missing);
    EXPECT_EQ(judgePrinterName("Office", taken), PrinterNameVerdict::taken);
    for (const char* free : {"office", "Laser ", "Lase", " "})
        EXPECT_EQ(judgePrinterName(free, taken), PrinterNameVerdict::accepted) << free;
    EXPECT_EQ(judgePrinterName("Laser", {}), PrinterNameVerdict::accepted);
}

TEST(PrinterUrl, IsRequiredAndAskedOfTheCracker) {
    EXPECT_EQ(judgePrinterUrl("", [](const std::string&) { return true; }),
              PrinterUrlVerdict::missing);
    EXPECT_EQ(judgePrinterUrl("x", [](const std::string& url) { return url == "x"; }),
              PrinterUrlVerdict::accepted);
    EXPECT_EQ(judgePrinterUrl("y", [](const std::string& url) { return url == "x"; }),
              PrinterUrlVerdict::invalid);
}

}  // namespace
}  // namespace velmora
