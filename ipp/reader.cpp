#include "ipp/reader.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "ipp/big_endian.h"

namespace velmora {
namespace {

/// Version, operation or status, and request id.
constexpr std::size_t kHeaderSize = 8;

}  // namespace

IppReader::IppReader(IppMessage& message, IppReadMode mode, const IppReadPolicy& policy) noexcept
    : message_(message), policy_(policy), mode_(mode) {
    instances_.fill(0xFFFFFFFF);  // the first delimiter of a group makes it 0
}

int IppReader::feed(const void* bytes, std::size_t count, bool lastPiece) noexcept {
    auto from = static_cast<const std::uint8_t*>(bytes);
    const std::uint8_t* const end = from + count;
    if (state_ == State::version && collected_ == 0 && !fieldTaken_ && count >= kHeaderSize) {
        from = readWholeHeader(from);
    }
    while (from != end && result_ == kWantsMore) {
        if (fieldTaken_) {
            chooseState(*from);
            // The byte after the header must be a delimiter.
            if (state_ == State::valueTag ||
                (state_ == State::delimiterTag && *from <= kIppLastDelimiterTag)) {
                from = readWholeValues(from, end);
                if (fieldTaken_) continue;
            }
        }
        const std::uint8_t* const field = takeField(from, end);
        if (field == nullptr) break;
        fieldTaken_ = true;
        result_ = handleField(field);
    }
    return result_ == kWantsMore && lastPiece ? kSyntaxError : result_;
}

/// Takes the fields before the first group, all of which the piece holds.
const std::uint8_t* IppReader::readWholeHeader(const std::uint8_t* from) noexcept {
    handleField(from);
    state_ = mode_ == IppReadMode::response ? State::statusCode : State::operationId;
    handleField(from + 2);
    state_ = State::requestId;
    handleField(from + 4);
    fieldTaken_ = true;
    return from + kHeaderSize;
}

/// The next field's bytes, straight from the piece when it holds all of them; null when bytes are
/// still missing.
const std::uint8_t* IppReader::takeField(const std::uint8_t*& from,
                                         const std::uint8_t* end) noexcept {
    const std::size_t missing = needed_ - collected_;
    const std::size_t there = static_cast<std::size_t>(end - from);
    const std::uint8_t* const start = from;
    if (collected_ == 0 && there >= missing) {
        from += missing;
        return start;
    }
    const std::size_t part = std::min(missing, there);
    std::memcpy(collection_.data() + collected_, from, part);
    from += part;
    collected_ += part;
    if (collected_ < needed_) return nullptr;
    collected_ = 0;
    return collection_.data();
}

void IppReader::expect(State state, std::size_t needed) noexcept {
    state_ = state;
    needed_ = needed;
    fieldTaken_ = false;
}

void IppReader::chooseState(std::uint8_t nextByte) noexcept {
    switch (state_) {
        case State::version:
            expect(mode_ == IppReadMode::response ? State::statusCode : State::operationId, 2);
            break;
        case State::statusCode:
        case State::operationId:
            expect(State::requestId, 4);
            break;
        case State::requestId:
            expect(nextByte == kIppEndOfAttributesTag ? State::endTag : State::delimiterTag, 1);
            break;
        case State::delimiterTag:
        case State::value:
            if (nextByte == kIppEndOfAttributesTag) {
                expect(State::endTag, 1);
            } else {
                expect(nextByte > kIppLastDelimiterTag ? State::valueTag : State::delimiterTag, 1);
            }
            break;
        case State::valueTag:
            expect(State::nameLength, 2);
            break;
        case State::nameLength:
            if (nameLength_ != 0) {
                expect(State::name, nameLength_);
            } else {
                expect(State::valueLength, 2);
            }
            break;
        case State::name:
            expect(State::valueLength, 2);
            break;
        case State::valueLength:
            expect(State::value, valueLength_);
            break;
        case State::endTag:
            break;
    }
}

int IppReader::handleField(const std::uint8_t* field) noexcept {
    switch (state_) {
        case State::version:
            message_.version = {field[0], field[1]};
            return kWantsMore;
        case State::statusCode:
            message_.operationOrStatus = loadBig16(field);
            return kWantsMore;
        case State::operationId: {
            const auto rows = ippOperations();
            const auto row = std::find_if(
                rows.begin(), rows.end(),
                [id = loadBig16(field)](const IppOperationIds& ids) { return ids.read == id; });
            message_.operationOrStatus = static_cast<std::uint32_t>(
                row == rows.end() ? IppOperation::unknown : row->operation);
            return kWantsMore;
        }
        case State::requestId:
            std::memcpy(&message_.requestId, field, sizeof message_.requestId);
            return kWantsMore;
        case State::delimiterTag:
            return openGroup(*field);
        case State::valueTag:
            valueTag_ = *field;
            row_ = rowOfValueTag(*field);
            return row_ == nullptr ? kSyntaxError : kWantsMore;
        case State::nameLength:
            nameLength_ = loadBig16(field);
            if (nameLength_ > kLongestField) return kSyntaxError;
            return nameLength_ == 0 && attribute_ == nullptr ? kSyntaxError : kWantsMore;
        case State::name:
            return openAttribute({reinterpret_cast<const char*>(field), nameLength_});
        case State::valueLength:
            valueLength_ = loadBig16(field);
            return valueLength_ > kLongestField ? kSyntaxError : kWantsMore;
        case State::value:
            return storeValue(field, valueLength_);
        case State::endTag:
            break;
    }
    return kComplete;
}

/// Takes delimiters, and values that the piece holds from their tag to the byte after their end,
/// field by field as the states would but without passing through them. Anything else, errors
/// included, is left to the states: the result is where they continue. `fieldTaken_` says whether
/// the last field taken was a value.
const std::uint8_t* IppReader::readWholeValues(const std::uint8_t* from,
                                               const std::uint8_t* end) noexcept {
    while (result_ == kWantsMore && from != end && *from != kIppEndOfAttributesTag) {
        if (*from <= kIppLastDelimiterTag) {
            result_ = openGroup(*from++);
            state_ = State::delimiterTag;
            fieldTaken_ = true;
            continue;
        }
        const std::size_t there = static_cast<std::size_t>(end - from);
        if (there < 6) break;
        const std::size_t nameLength = loadBig16(from + 1);
        if (nameLength > kLongestField || there < 6 + nameLength) break;
        if (nameLength == 0 && attribute_ == nullptr) break;
        const std::uint8_t* const name = from + 3;
        const std::size_t valueLength = loadBig16(name + nameLength);
        if (valueLength > kLongestField || there < 6 + nameLength + valueLength) break;
        const IppKindRow* const row = rowOfValueTag(*from);
        if (row == nullptr) break;

        row_ = row;
        valueTag_ = *from;
        const std::uint8_t* const value = name + nameLength + 2;
        if (nameLength != 0) {
            result_ = openAttribute({reinterpret_cast<const char*>(name), nameLength});
        }
        if (result_ == kWantsMore) result_ = storeValue(value, valueLength);
        from = value + valueLength;
        state_ = State::value;
        fieldTaken_ = true;
    }
    return from;
}

int IppReader::openGroup(std::uint8_t tag) noexcept {
    const std::optional<IppGroup> group = ippGroupOfTag(tag);
    if (!group) return kSyntaxError;
    group_ = *group;
    ++instances_[static_cast<std::size_t>(group_)];
    attribute_ = nullptr;
    return kWantsMore;
}

const IppKindRow* IppReader::rowOfValueTag(std::uint8_t tag) const noexcept {
    const IppKindRow* const row = ippRowOfTag(tag);
    if (!policy_.keepUnknownKinds) return row;
    return row == nullptr ? &ippRawRow() : row;
}

int IppReader::openAttribute(std::string_view name) noexcept {
    const int index = IppAttributeNames::indexOf(name);
    const bool known = index != -1;
    if (!known && name.find('\0') != std::string_view::npos) return kSyntaxError;
    void* const place = message_.storage().allocate(sizeof(IppAttribute), policy_.maxStoredBytes);
    if (place == nullptr) return kNotStored;
    attribute_ = new (place) IppAttribute{};
    attribute_->nameIndex = static_cast<std::int16_t>(index);
    lastValue_ = nullptr;
    message_.append(group_, instances_[static_cast<std::size_t>(group_)], attribute_);
    return known ? kWantsMore : storeText(IppValueKind::keyword, name);
}

/// A value of the current attribute, and in `place` room for that many octets; null when there is
/// no memory for them.
IppValue* IppReader::newValue(std::size_t octets, char*& place) noexcept {
    IppStorage& storage = message_.storage();
    if (octets != 0) {
        place = storage.allocateOctets(octets, policy_.maxStoredBytes);
        if (place == nullptr) return nullptr;
    }
    IppValue* value = &attribute_->value;
    if (lastValue_ == nullptr) {
        attribute_->hasValues = true;
    } else {
        void* const memory = storage.allocate(sizeof(IppValue), policy_.maxStoredBytes);
        if (memory == nullptr) return nullptr;
        value = new (memory) IppValue;
        lastValue_->next = value;
    }
    value->next = nullptr;
    lastValue_ = value;
    return value;
}

}  // namespace velmora
