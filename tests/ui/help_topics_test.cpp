#include "ui/help.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ui/resources/resource_ids.h"

// Which help a page or dialog shows for a control.

namespace velmora {
namespace {

std::vector<std::string> keys(std::span<const HelpTopic> topics) {
    std::vector<std::string> keys;
    for (const HelpTopic& topic : topics)
        keys.emplace_back(topic.key);
    return keys;
}

using Keys = std::vector<std::string>;

TEST(HelpTopics, AControlHasItsOwnTopicOrAll) {
    const HelpTopic topics[] = {{"Section", "first", "F", {10}},
                                {"Section", "page", "P", {}},
                                {"Section", "last", "L", {20, 21, 22, 23}}};
    const Keys all = keys(topics);
    EXPECT_EQ(keys(helpFor(10, topics)), Keys{"first"});
    for (const int control : {20, 21, 22, 23})
        EXPECT_EQ(keys(helpFor(control, topics)), Keys{"last"}) << control;
    for (const int control : {0, 1, 11, 24, -1})
        EXPECT_EQ(keys(helpFor(control, topics)), all) << control;
    EXPECT_TRUE(helpFor(10, {}).empty());
}

TEST(HelpTopics, OfThePrinterDialogsAreTheSameButForThePatterns) {
    EXPECT_EQ(keys(printerDialogHelp()), (Keys{"Name", "URL", "Authentication", "Limits"}));
    EXPECT_EQ(keys(newPrinterHelp()),
              (Keys{"Name", "URL", "Authentication", "Patterns", "Limits"}));
    for (const auto& [control, key] : {std::pair{IDC_PRINTER_NAME, "Name"},
                                       {IDC_PRINTER_URL, "URL"},
                                       {IDC_PRINTER_AUTHENTICATION, "Authentication"},
                                       {IDC_PRINTER_USER_NAME, "Authentication"},
                                       {IDC_PRINTER_PASSWORD, "Authentication"}}) {
        EXPECT_EQ(keys(helpFor(control, printerDialogHelp())), Keys{key});
        EXPECT_EQ(keys(helpFor(control, newPrinterHelp())), Keys{key});
    }
    for (const int control : {IDC_PRINTER_PATTERNS, IDC_PRINTER_COPY_PATTERN})
        EXPECT_EQ(keys(helpFor(control, newPrinterHelp())), Keys{"Patterns"});
}

}  // namespace
}  // namespace velmora
