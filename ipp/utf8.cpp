#include "ipp/utf8.h"

#include <array>

#include "ipp/charset_conversion.h"
#include "platform/library.h"

namespace velmora {
namespace {

constexpr int kAreaSize = 10240;

CharsetConversion loadConversion() noexcept {
    // Never freed: jobs may convert texts until the process ends.
    const HMODULE library = loadOptionalLibrary(L"unicows.dll");
    return {librarySymbol<decltype(CharsetConversion::fromWide)>(library, "WideCharToMultiByte"),
            librarySymbol<decltype(CharsetConversion::toWide)>(library, "MultiByteToWideChar")};
}

const CharsetConversion loadedConversion = loadConversion();

/// Drops an incomplete character at the end of a UTF-8 text that was cut.
void dropPartOfCharacter(std::string& text) noexcept {
    std::size_t start = text.size();
    while (start > 0 && text.size() - start < 3 && (text[start - 1] & 0xC0) == 0x80)
        --start;
    if (start == 0) return;
    const auto lead = static_cast<unsigned char>(text[start - 1]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (text.size() - (start - 1) < length) text.resize(start - 1);
}

}  // namespace

const CharsetConversion& charsetConversion() noexcept {
    return loadedConversion;
}

std::string ansiToUtf8(const std::string& text, const CharsetConversion& conversion) {
    const auto toWide = conversion.toWide != nullptr ? conversion.toWide : &::MultiByteToWideChar;
    const auto fromWide =
        conversion.fromWide != nullptr ? conversion.fromWide : &::WideCharToMultiByte;
    // The results are not tested: a call that fails because the buffer is too small has filled it,
    // and that is the text we want. The buffers are zeroed and keep their terminator, so that every
    // other failure gives an empty text.
    std::array<wchar_t, kAreaSize> wide{};
    toWide(CP_ACP, 0, text.c_str(), -1, wide.data(), kAreaSize);
    wide.back() = L'\0';
    std::array<char, kAreaSize> utf8{};
    fromWide(CP_UTF8, 0, wide.data(), -1, utf8.data(), kAreaSize, nullptr, nullptr);
    utf8.back() = '\0';
    std::string result(utf8.data());
    if (result.size() + 1 == utf8.size()) dropPartOfCharacter(result);
    return result;
}

std::string ansiToUtf8(const std::string& text) {
    return ansiToUtf8(text, charsetConversion());
}

}  // namespace velmora
