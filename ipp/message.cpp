#include "ipp/message.h"

#include <cstring>
#include <limits>
#include <new>

namespace velmora {
namespace {

/// An attribute of one text value inside the message's own storage; the literal outlives it.
bool addConstant(IppMessage& message, int nameIndex, IppValueKind kind, std::string_view text) {
    void* const memory =
        message.storage().allocate(sizeof(IppAttribute), std::numeric_limits<std::size_t>::max());
    if (memory == nullptr) return false;
    auto* const attribute = new (memory) IppAttribute{};
    attribute->nameIndex = static_cast<std::int16_t>(nameIndex);
    attribute->hasValues = true;
    attribute->value.kind = kind;
    attribute->value.text = {static_cast<std::uint32_t>(text.size()), text.data()};
    message.append(IppGroup::operation, 0, attribute);
    return true;
}

}  // namespace

IppMessage::~IppMessage() {
    if (!hasOwningAttributes_) return;
    for (IppAttributeList& list : groups_) {
        while (list.head != nullptr) {
            IppAttribute* const next = list.head->next;
            if (list.head->ownsStorage) IppAttributeDeleter{}(list.head);
            list.head = next;
        }
    }
}

void IppMessage::append(IppGroup group, std::uint32_t instance, IppAttribute* attribute) noexcept {
    IppAttributeList& list = groups_[static_cast<std::size_t>(group)];
    attribute->groupInstance = instance;
    (list.tail == nullptr ? list.head : list.tail->next) = attribute;
    list.tail = attribute;
    hasOwningAttributes_ = hasOwningAttributes_ || attribute->ownsStorage;
}

UniqueIppMessage newIppMessage() noexcept {
    // No parentheses: they would clear the storage as well.
    return UniqueIppMessage(new (std::nothrow) IppMessage);
}

UniqueIppMessage newIppRequest(IppVersion version, IppOperation operation,
                               std::uint32_t requestId) noexcept {
    UniqueIppMessage message = newIppMessage();
    if (!message) return nullptr;
    message->version = version;
    message->operationOrStatus = static_cast<std::uint32_t>(operation);
    message->requestId = requestId;
    // RFC 2911, 3.1.4.1: these two come first, in this order.
    if (!addConstant(*message, ippName("attributes-charset"), IppValueKind::charset, "utf-8") ||
        !addConstant(*message, ippName("attributes-natural-language"),
                     IppValueKind::naturalLanguage, "en-us")) {
        return nullptr;
    }
    return message;
}

bool addIppAttribute(IppMessage& message, IppGroup group, std::uint32_t instance,
                     UniqueIppAttribute attribute) noexcept {
    if (!attribute) return false;
    message.append(group, instance, attribute.release());
    return true;
}

}  // namespace velmora
