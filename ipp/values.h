#pragma once

#include <cstdint>
#include <string_view>

namespace velmora {

// What an IPP attribute holds in memory (RFC 2911, 4.1). Everything here is plain data inside
// storage that the message, or the attribute not yet added to one, owns as a whole.

/// The kind of a value. Apart from the out-of-band kinds each code is a single bit.
enum class IppValueKind : std::uint32_t {
    unsupported = 0,
    unknown = 1,
    noValue = 2,
    integer = 1u << 2,
    boolean = 1u << 3,
    enumeration = 1u << 4,
    octetString = 1u << 5,
    dateTime = 1u << 6,
    resolution = 1u << 7,
    rangeOfInteger = 1u << 8,
    textWithLanguage = 1u << 9,
    nameWithLanguage = 1u << 10,
    textWithoutLanguage = 1u << 11,
    nameWithoutLanguage = 1u << 12,
    keyword = 1u << 13,
    uri = 1u << 14,
    uriScheme = 1u << 15,
    charset = 1u << 16,
    naturalLanguage = 1u << 17,
    mimeMediaType = 1u << 18,
    /// A value of a kind that we do not know, kept with its tag by a lenient reader alone.
    rawOctets = 1u << 19,
};

struct IppRange {
    std::int32_t lower;
    std::int32_t upper;
};

struct IppResolution {
    std::uint32_t crossFeed;
    std::uint32_t feed;
    std::uint8_t units;  ///< 3: dots per inch, 4: dots per centimetre
};

/// RFC 2579's DateAndTime.
struct IppDateTime {
    std::uint16_t year;
    std::uint8_t month;
    std::uint8_t day;
    std::uint8_t hour;
    std::uint8_t minutes;
    std::uint8_t seconds;
    std::uint8_t deciSeconds;
    char directionFromUtc;  ///< '+' or '-'
    std::uint8_t hoursFromUtc;
    std::uint8_t minutesFromUtc;
};

// An answer of a large printer has thousands of values, so their size is what a message costs. With
// the pointers aligned to four bytes, which is what a value puts in front of them, a value takes 24
// bytes in a 64-bit process instead of 32; the pointers end up aligned all the same.
#pragma pack(push, 4)

/// A NUL-terminated text and its length, which ends at the first NUL.
struct IppText {
    std::uint32_t length;
    const char* bytes;

    std::string_view view() const noexcept { return {bytes, length}; }
};

/// Two NUL-terminated texts, in the order of the wire, the second right after the first.
struct IppLanguageText {
    std::uint32_t languageLength;
    const char* language;

    const char* text() const noexcept { return language + languageLength + 1; }
};

/// Octets as they came, NULs included, and their value tag. A NUL follows them.
struct IppRawOctets {
    std::uint16_t length;
    std::uint8_t tag;
    const char* bytes;

    std::string_view view() const noexcept { return {bytes, length}; }
};

#pragma pack(pop)

struct IppValue {
    IppValue* next;
    IppValueKind kind;
    union {
        std::int32_t number;           ///< integer, enumeration; boolean: 0 or non-zero
        IppRange range;                ///< rangeOfInteger
        IppResolution resolution;      ///< resolution
        IppDateTime dateTime;          ///< dateTime
        IppLanguageText languageText;  ///< textWithLanguage, nameWithLanguage
        IppRawOctets raw;              ///< rawOctets
        IppText text;                  ///< octetString and every other text kind
    };                                 ///< the out-of-band kinds have no payload
};

struct IppAttribute {
    IppAttribute* next;
    /// Attributes of one group with different instances were in different occurrences of the group,
    /// for example one job group for each job. Requests use 0.
    std::uint32_t groupInstance;
    /// Index into IppAttributeNames. -1: the table lacks the name; the first value, a keyword, is
    /// the name then, and the real values follow it.
    std::int16_t nameIndex;
    bool ownsStorage;  ///< a block of its own, rather than a place in the message's storage
    bool hasValues;
    /// Most attributes have one value. The others are linked to it.
    IppValue value;

    /// Null for an attribute without values.
    const IppValue* firstValue() const noexcept { return hasValues ? &value : nullptr; }
};

}  // namespace velmora
