#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <span>

#include "ipp/values.h"

namespace velmora {

/// Releases an attribute that has a block of its own, with its values and texts.
struct IppAttributeDeleter {
    void operator()(IppAttribute* attribute) const noexcept;
};
using UniqueIppAttribute = std::unique_ptr<IppAttribute, IppAttributeDeleter>;

// Constructors, one a kind: a new attribute with one value a payload, in their order; no payload
// gives an attribute without values, which is held but never written. Texts are NUL-terminated and
// copied; a null one counts as "". With name index -1 the first payload of a keyword attribute is
// the name. Null when memory runs out.

UniqueIppAttribute newIntegerAttribute(int nameIndex,
                                       std::span<const std::int32_t> values) noexcept;
UniqueIppAttribute newBooleanAttribute(int nameIndex, std::span<const bool> values) noexcept;
UniqueIppAttribute newEnumAttribute(int nameIndex, std::span<const std::int32_t> values) noexcept;
UniqueIppAttribute newResolutionAttribute(int nameIndex,
                                          std::span<const IppResolution> values) noexcept;
UniqueIppAttribute newRangeAttribute(int nameIndex, std::span<const IppRange> values) noexcept;
UniqueIppAttribute newNameAttribute(int nameIndex, std::span<const char* const> values) noexcept;
UniqueIppAttribute newKeywordAttribute(int nameIndex, std::span<const char* const> values) noexcept;
UniqueIppAttribute newUriAttribute(int nameIndex, std::span<const char* const> values) noexcept;
UniqueIppAttribute newCharsetAttribute(int nameIndex, std::span<const char* const> values) noexcept;
UniqueIppAttribute newNaturalLanguageAttribute(int nameIndex,
                                               std::span<const char* const> values) noexcept;

/// Any kinds, copied with their texts; `next` of the given values is not looked at and
/// their texts must not be null. Null also for a value whose kind is none.
UniqueIppAttribute newIppAttribute(int nameIndex, std::span<const IppValue> values) noexcept;

// The same with one value.

inline UniqueIppAttribute newIntegerAttribute(int nameIndex, std::int32_t value) noexcept {
    return newIntegerAttribute(nameIndex, {&value, 1});
}
/// bool alone: an array would otherwise turn into a pointer, and that into true.
UniqueIppAttribute newBooleanAttribute(int nameIndex, std::same_as<bool> auto value) noexcept {
    return newBooleanAttribute(nameIndex, std::span<const bool>(&value, 1));
}
inline UniqueIppAttribute newEnumAttribute(int nameIndex, std::int32_t value) noexcept {
    return newEnumAttribute(nameIndex, {&value, 1});
}
inline UniqueIppAttribute newResolutionAttribute(int nameIndex, IppResolution value) noexcept {
    return newResolutionAttribute(nameIndex, {&value, 1});
}
inline UniqueIppAttribute newNameAttribute(int nameIndex, const char* value) noexcept {
    return newNameAttribute(nameIndex, {&value, 1});
}
inline UniqueIppAttribute newKeywordAttribute(int nameIndex, const char* value) noexcept {
    return newKeywordAttribute(nameIndex, {&value, 1});
}
inline UniqueIppAttribute newUriAttribute(int nameIndex, const char* value) noexcept {
    return newUriAttribute(nameIndex, {&value, 1});
}

}  // namespace velmora
