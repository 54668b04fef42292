#include "ipp/status_names.h"

#include <gtest/gtest.h>

#include <map>
#include <string_view>

namespace velmora {
namespace {

// RFC 2911, 13.1, section by section.
const std::map<std::uint32_t, std::string_view> kNames{
    {0x0000, "successful-ok"},
    {0x0001, "successful-ok-ignored-or-substituted-attributes"},
    {0x0002, "successful-ok-conflicting-attributes"},
    {0x0400, "client-error-bad-request"},
    {0x0401, "client-error-forbidden"},
    {0x0402, "client-error-not-authenticated"},
    {0x0403, "client-error-not-authorized"},
    {0x0404, "client-error-not-possible"},
    {0x0405, "client-error-timeout"},
    {0x0406, "client-error-not-found"},
    {0x0407, "client-error-gone"},
    {0x0408, "client-error-request-entity-too-large"},
    {0x0409, "client-error-request-value-too-long"},
    {0x040A, "client-error-document-format-not-supported"},
    {0x040B, "client-error-attributes-or-values-not-supported"},
    {0x040C, "client-error-uri-scheme-not-supported"},
    {0x040D, "client-error-charset-not-supported"},
    {0x040E, "client-error-conflicting-attributes"},
    {0x040F, "client-error-compression-not-supported"},
    {0x0500, "server-error-internal-error"},
    {0x0501, "server-error-operation-not-supported"},
    {0x0502, "server-error-service-unavailable"},
    {0x0503, "server-error-version-not-supported"},
    {0x0504, "server-error-device-error"},
    {0x0505, "server-error-temporary-error"},
    {0x0506, "server-error-not-accepting-jobs"},
    {0x0507, "server-error-busy"},
    {0x0508, "server-error-job-canceled"},
};

TEST(StatusNames, AreThoseOfTheStandardAndThereAreNoOthers) {
    for (std::uint32_t status = 0; status <= 0xFFFF; ++status) {
        const auto known = kNames.find(status);
        ASSERT_EQ(ippStatusName(status), known == kNames.end() ? "" : known->second) << status;
    }
    EXPECT_EQ(ippStatusName(0x10000), "");
    EXPECT_EQ(ippStatusName(0xFFFF0404), "");
}

}  // namespace
}  // namespace velmora
