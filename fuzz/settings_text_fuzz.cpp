#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "harness/escaped_text_model.h"
#include "platform/escaped_text.h"

// Any text, read from the settings file and stored there: the result is the model's, for code pages
// with characters of one byte and of two.

namespace {

using namespace velmora;
using namespace velmora::testing;

bool never(unsigned char) {
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string escaped = escapeText(text);
    require(escaped == modelEscaped(text));
    require(textKey(escaped) == modelKey(escaped));
    require(unescapeText(text, &never) == modelUnescaped(text, false));
    require(unescapeText(text, &modelBeginsTwoBytes) == modelUnescaped(text, true));
    // What is stored in the file is read back unchanged. A single backslash is not escaped.
    if (text.find('\\') == std::string::npos) require(unescapeText(escaped, &never) == text);
    require(escaped.find_first_of("\n\r\t") == std::string::npos);
    return 0;
}
