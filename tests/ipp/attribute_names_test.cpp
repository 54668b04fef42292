#include "ipp/attribute_names.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace velmora {
namespace {

/// The lookup's definition.
int scanned(std::string_view name) {
    const auto names = IppAttributeNames::all();
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name) return static_cast<int>(i);
    }
    return -1;
}

TEST(AttributeNames, EveryNameIsFoundAtItsIndex) {
    ASSERT_EQ(IppAttributeNames::all().size(), 129u);
    for (int i = 0; i < 129; ++i) {
        const std::string_view name = IppAttributeNames::nameOf(i);
        EXPECT_EQ(IppAttributeNames::indexOf(name), i) << name;
        EXPECT_EQ(scanned(name), i) << name;
    }
}

TEST(AttributeNames, KnownPositions) {
    const std::pair<int, const char*> known[] = {{0, "attributes-charset"},
                                                 {4, "printer-uri"},
                                                 {13, "ipp-attribute-fidelity"},
                                                 {18, "which-jobs"},
                                                 {19, "job-priority"},
                                                 {25, "page-ranges"},
                                                 {31, "print-quality"},
                                                 {32, "job-priority-default"},
                                                 {43, "print-quality-default"},
                                                 {44, "job-priority-supported"},
                                                 {56, "print-quality-supported"},
                                                 {57, "job-uri"},
                                                 {61, "job-name"},
                                                 {84, "job-media-sheets-completed"},
                                                 {85, "printer-uri-supported"},
                                                 {121, "pages-per-minute-color"},
                                                 {122, "printer-verify-password"},
                                                 {128, "printer-fileserver-url"}};
    for (const auto& [index, name] : known)
        EXPECT_EQ(IppAttributeNames::indexOf(name), index);
}

TEST(AttributeNames, NoIndexIsUnrecognized) {
    for (const int index : {-1, -2, 129, 2147483647, -2147483647}) {
        EXPECT_EQ(IppAttributeNames::nameOf(index), "Unrecognized");
    }
}

TEST(AttributeNames, ComparisonIsExact) {
    for (const std::string_view name :
         {"", "Copies", "copies ", " copies", "copie", "copiess", "COPIES", "Unrecognized",
          "media-col", "job-priority-suppor7ed", "\xFF", "-"}) {
        EXPECT_EQ(IppAttributeNames::indexOf(name), -1) << name;
    }
    EXPECT_EQ(IppAttributeNames::indexOf(std::string_view("copies\0", 7)), -1);
    EXPECT_EQ(IppAttributeNames::indexOf(std::string_view()), -1) << "there is no byte to look at";
}

TEST(AttributeNames, LookupAgreesWithTheScanForChangedNames) {
    std::mt19937 random(1);
    for (const std::string_view name : IppAttributeNames::all()) {
        for (int round = 0; round < 200; ++round) {
            std::string changed(name);
            switch (random() % 4) {
                case 0:
                    changed[random() % changed.size()] = static_cast<char>(random());
                    break;
                case 1:
                    changed.erase(random() % changed.size(), 1 + random() % 3);
                    break;
                case 2:
                    changed.insert(random() % changed.size(), 1, static_cast<char>(random()));
                    break;
                default:
                    std::swap(changed[random() % changed.size()], changed.back());
                    break;
            }
            ASSERT_EQ(IppAttributeNames::indexOf(changed), scanned(changed)) << changed;
        }
    }
}

}  // namespace
}  // namespace velmora
