#include <gtest/gtest.h>
#include <windows.h>

#include "ipp/charset_conversion.h"

namespace velmora {
namespace {

TEST(NoConversionLibrary, BothFunctionsAreNull) {
    ASSERT_EQ(LoadLibraryA("unicows.dll"), nullptr) << "this test runs with it disabled";
    EXPECT_EQ(charsetConversion().fromWide, nullptr);
    EXPECT_EQ(charsetConversion().toWide, nullptr);
}

}  // namespace
}  // namespace velmora
