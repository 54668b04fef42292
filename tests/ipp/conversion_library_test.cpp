#include <gtest/gtest.h>
#include <windows.h>

#include "ipp/charset_conversion.h"
#include "platform/library.h"

namespace velmora {
namespace {

TEST(ConversionLibrary, BothFunctionsComeFromItWhereItIsInstalled) {
    const HMODULE library = GetModuleHandleA("unicows.dll");
    ASSERT_NE(library, nullptr) << "loaded when the program started";
    const CharsetConversion& conversion = charsetConversion();
    ASSERT_NE(conversion.fromWide, nullptr);
    EXPECT_EQ(conversion.fromWide,
              librarySymbol<decltype(CharsetConversion::fromWide)>(library, "WideCharToMultiByte"));
    EXPECT_EQ(conversion.toWide,
              librarySymbol<decltype(CharsetConversion::toWide)>(library, "MultiByteToWideChar"));
    EXPECT_NE(conversion.toWide, nullptr);
}

}  // namespace
}  // namespace velmora
