#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <span>

#include "ipp/storage.h"
#include "ipp/values.h"

namespace velmora {

/// Releases an attribute with its values and texts. One that lives in a message's storage goes with
/// the message.
struct IppAttributeDeleter {
    void operator()(IppAttribute* attribute) const noexcept;
};
using UniqueIppAttribute = std::unique_ptr<IppAttribute, IppAttributeDeleter>;

// Constructors, one for each kind: a new attribute with one value for each payload, in their order;
// no payload gives an attribute without values, which is held but never written. Texts are
// NUL-terminated and copied; a null one counts as "". With name index -1 the first payload of a
// keyword attribute is the name. Null when memory runs out.
//
// With a storage the attribute lives there instead of in a block of its own, and is only good for
// the message whose storage it is, and for no longer: a request of twenty attributes then needs a
// few blocks.

UniqueIppAttribute newIntegerAttribute(int nameIndex, std::span<const std::int32_t> values,
                                       IppStorage* storage = nullptr) noexcept;
UniqueIppAttribute newBooleanAttribute(int nameIndex, std::span<const bool> values,
                                       IppStorage* storage = nullptr) noexcept;
UniqueIppAttribute newEnumAttribute(int nameIndex, std::span<const std::int32_t> values,
                                    IppStorage* storage = nullptr) noexcept;
UniqueIppAttribute newResolutionAttribute(int nameIndex, std::span<const IppResolution> values,
                                          IppStorage* storage = nullptr) noexcept;
UniqueIppAttribute newRangeAttribute(int nameIndex, std::span<const IppRange> values,
                                     IppStorage* storage = nullptr) noexcept;
UniqueIppAttribute newNameAttribute(int nameIndex, std::span<const char* const> values,
                                    IppStorage* storage = nullptr) noexcept;
UniqueIppAttribute newKeywordAttribute(int nameIndex, std::span<const char* const> values,
                                       IppStorage* storage = nullptr) noexcept;
UniqueIppAttribute newUriAttribute(int nameIndex, std::span<const char* const> values,
                                   IppStorage* storage = nullptr) noexcept;
UniqueIppAttribute newCharsetAttribute(int nameIndex, std::span<const char* const> values,
                                       IppStorage* storage = nullptr) noexcept;
UniqueIppAttribute newNaturalLanguageAttribute(int nameIndex, std::span<const char* const> values,
                                               IppStorage* storage = nullptr) noexcept;

/// Any kinds, copied with their texts; `next` of the given values is ignored, and their texts must
/// not be null. Null also for a value whose kind is none.
UniqueIppAttribute newIppAttribute(int nameIndex, std::span<const IppValue> values,
                                   IppStorage* storage = nullptr) noexcept;

// The same with one value.

inline UniqueIppAttribute newIntegerAttribute(int nameIndex, std::int32_t value,
                                              IppStorage* storage = nullptr) noexcept {
    return newIntegerAttribute(nameIndex, {&value, 1}, storage);
}
/// bool alone: an array would otherwise turn into a pointer, and that into true.
UniqueIppAttribute newBooleanAttribute(int nameIndex, std::same_as<bool> auto value,
                                       IppStorage* storage = nullptr) noexcept {
    return newBooleanAttribute(nameIndex, std::span<const bool>(&value, 1), storage);
}
inline UniqueIppAttribute newEnumAttribute(int nameIndex, std::int32_t value,
                                           IppStorage* storage = nullptr) noexcept {
    return newEnumAttribute(nameIndex, {&value, 1}, storage);
}
inline UniqueIppAttribute newResolutionAttribute(int nameIndex, IppResolution value,
                                                 IppStorage* storage = nullptr) noexcept {
    return newResolutionAttribute(nameIndex, {&value, 1}, storage);
}
inline UniqueIppAttribute newNameAttribute(int nameIndex, const char* value,
                                           IppStorage* storage = nullptr) noexcept {
    return newNameAttribute(nameIndex, {&value, 1}, storage);
}
inline UniqueIppAttribute newKeywordAttribute(int nameIndex, const char* value,
                                              IppStorage* storage = nullptr) noexcept {
    return newKeywordAttribute(nameIndex, {&value, 1}, storage);
}
inline UniqueIppAttribute newUriAttribute(int nameIndex, const char* value,
                                          IppStorage* storage = nullptr) noexcept {
    return newUriAttribute(nameIndex, {&value, 1}, storage);
}

}  // namespace velmora
