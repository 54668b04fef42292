#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "ipp/attribute_names.h"
#include "ipp/new_attribute.h"
#include "ipp/operations.h"
#include "ipp/storage.h"
#include "ipp/tags.h"
#include "ipp/values.h"

namespace velmora {

/// Two bytes, written and read as they are.
struct IppVersion {
    std::uint8_t majorNumber = 0;
    std::uint8_t minorNumber = 0;
};

/// The attributes of one group in their order.
struct IppAttributeList {
    IppAttribute* head = nullptr;
    IppAttribute* tail = nullptr;
};

/// An IPP request or response (RFC 2911, 3.1). Owns every attribute, value and text of its groups
/// and releases them in its destructor.
class IppMessage {
  public:
    IppMessage() noexcept = default;
    IppMessage(const IppMessage&) = delete;
    IppMessage& operator=(const IppMessage&) = delete;
    ~IppMessage();

    const IppAttributeList& group(IppGroup group) const noexcept {
        return groups_[static_cast<std::size_t>(group)];
    }

    /// A request's IppOperation, or a response's status code.
    IppOperation operation() const noexcept { return static_cast<IppOperation>(operationOrStatus); }

    /// Links an attribute that is in no list yet at the group's end; the message owns it from now
    /// on.
    void append(IppGroup group, std::uint32_t instance, IppAttribute* attribute) noexcept;

    /// Where the reader keeps what it reads.
    IppStorage& storage() noexcept { return storage_; }

    IppVersion version;
    std::uint32_t operationOrStatus = 0;
    /// Kept, written and read as its four bytes are in memory: what a printer echoes is compared
    /// only with this, so its byte order never matters.
    std::uint32_t requestId = 0;

  private:
    std::array<IppAttributeList, kIppGroupCount> groups_;
    bool hasOwningAttributes_ = false;
    IppStorage storage_;
};

using UniqueIppMessage = std::unique_ptr<IppMessage>;

/// An empty message, every field zero; null when memory runs out.
UniqueIppMessage newIppMessage() noexcept;

/// A request that holds attributes-charset "utf-8" and attributes-natural-language "en-us" in its
/// operation group; null when memory runs out.
UniqueIppMessage newIppRequest(IppVersion version, IppOperation operation,
                               std::uint32_t requestId) noexcept;

/// Appends the attribute to the group and gives it the group instance. False, with nothing done,
/// for a null attribute, so that the result of a constructor can be passed on untested.
bool addIppAttribute(IppMessage& message, IppGroup group, std::uint32_t instance,
                     UniqueIppAttribute attribute) noexcept;

}  // namespace velmora
