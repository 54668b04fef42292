#include "ui/printer_form.h"

#include <gtest/gtest.h>

#include "directory/directory_records.h"
#include "ui/resources/resource_ids.h"

namespace velmora {
namespace {

TEST(PrinterForm, TakesThePrintersValues) {
    CGroupsDBPrinter printer;
    printer.name = "Laser";
    printer.address = {"ipp://laser/p", 1, "user", "secret"};
    EXPECT_EQ(formOf(printer), (PrinterForm{"Laser", {"ipp://laser/p", 1, "user", "secret"}}));
}

TEST(PrinterForm, KeepsCredentialsOnlyWithAuthentication) {
    PrinterForm form{"n", {"u", 1, "user", "secret"}};
    EXPECT_EQ(formOf(recordOf(form, 7)), form);
    EXPECT_EQ(recordOf(form, 7).id, 7u) << "the directory finds the printer by it";
    form.address.useAuthentication = 0;
    EXPECT_EQ(formOf(recordOf(form, 7)), (PrinterForm{"n", {"u", 0, "", ""}}));
}

TEST(PrinterName, IsRequiredAndUniqueByteForByte) {
    const Refusal missing{IDS_PRINTER_NAME_MISSING, IDC_PRINTER_NAME};
    const std::vector<std::string> taken{"Laser", "Office"};
    EXPECT_EQ(checkPrinterName("", taken), missing);
    EXPECT_EQ(checkPrinterName("", {""}), missing);
    EXPECT_EQ(checkPrinterName("Office", taken),
              (Refusal{IDS_PRINTER_NAME_USED, IDC_PRINTER_NAME}));
    for (const char* free : {"office", "Laser ", "Lase", " "})
        EXPECT_EQ(checkPrinterName(free, taken), std::nullopt) << free;
    EXPECT_EQ(checkPrinterName("Laser", {}), std::nullopt);
}

TEST(PrinterUrl, IsRequiredAndAskedOfTheCracker) {
    const auto isX = [](const std::string& url) { return url == "x"; };
    EXPECT_EQ(checkPrinterUrl("", 7, [](const std::string&) { return true; }),
              (Refusal{IDS_URL_MISSING, 7}));
    EXPECT_EQ(checkPrinterUrl("x", 7, isX), std::nullopt);
    EXPECT_EQ(checkPrinterUrl("y", 7, isX), (Refusal{IDS_URL_INVALID, 7, MessageIcon::error}));
}

}  // namespace
}  // namespace velmora
