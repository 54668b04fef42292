#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "harness/escaped_text_model.h"
#include "platform/escaped_text.h"

// Any text, as one of the settings file and as one that is stored there: what becomes of it is what
// the model says, for code pages with characters of one byte and of two.

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
    // What goes into the file comes out as it was. A backslash of its own is not escaped.
    if (text.find('\\') == std::string::npos) require(unescapeText(escaped, &never) == text);
    require(escaped.find_first_of("\n\r\t") == std::string::npos);
    return 0;
}
