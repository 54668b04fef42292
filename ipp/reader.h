#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ipp/message.h"

namespace velmora {

/// What follows the version: an operation-id or a status-code.
enum class IppReadMode : std::uint8_t { request = 0, response = 1 };

struct IppReadPolicy {
    /// Off, as printing needs it: a value of unknown kind, and the out-of-band values "unknown"
    /// and "no-value", are syntax errors. On, for tools that show what a printer answers: those
    /// two are kept, and a value with any other tag is kept as IppValueKind::rawOctets. Nothing
    /// is nested: the members of a collection become values of the attribute in a row. Groups
    /// that we do not know stay syntax errors.
    bool keepUnknownKinds = false;
    /// The most memory that the message may hold, in bytes; a field beyond it gives -2. An answer
    /// that never ends must not take the spooler's address space with it, and the largest printers'
    /// answers stay far below this.
    std::size_t maxStoredBytes = 4 * 1024 * 1024;
};

/// Builds a message from its encoded form (see encoder.h), which may come in pieces of any size.
///
/// Refused as syntax errors beyond what RFC 2910's syntax demands, so that nothing is read out of
/// bounds and whatever parses can be written again: names and values longer than 1023 bytes (the
/// top bit of a length makes it long, not negative); an additional value with no attribute before
/// it in its group; inner lengths of the two language kinds that do not lie inside the value (they
/// may end before its end); a name that holds a NUL.
class IppReader {
  public:
    /// Fills `message`, which must be empty and outlive the reader.
    IppReader(IppMessage& message, IppReadMode mode, const IppReadPolicy& policy = {}) noexcept;
    IppReader(const IppReader&) = delete;
    IppReader& operator=(const IppReader&) = delete;

    /// Consumes bytes. 1: the end tag has been read; the bytes after it are left alone. 0: more
    /// bytes are needed. -1: syntax error, or `lastPiece` is set and the end tag has not come. -2:
    /// a field could not be stored; the message misses it, so no later byte is taken either. 1, -1
    /// for a syntax error and -2 are final: further calls repeat them.
    int feed(const void* bytes, std::size_t count, bool lastPiece = false) noexcept;

    /// The end tag has been read and the message is whole.
    bool complete() const noexcept { return result_ == kComplete; }

  private:
    enum class State : std::uint8_t {
        version,
        statusCode,
        operationId,
        requestId,
        delimiterTag,
        valueTag,
        nameLength,
        name,
        valueLength,
        value,
        endTag,
    };
    static constexpr int kWantsMore = 0;
    static constexpr int kComplete = 1;
    static constexpr int kSyntaxError = -1;
    static constexpr int kNotStored = -2;
    static constexpr std::size_t kLongestField = 1023;

    const std::uint8_t* takeField(const std::uint8_t*& from, const std::uint8_t* end) noexcept;
    void chooseState(std::uint8_t nextByte) noexcept;
    void expect(State state, std::size_t needed) noexcept;
    int handleField(const std::uint8_t* field) noexcept;
    const std::uint8_t* readWholeHeader(const std::uint8_t* from) noexcept;
    const std::uint8_t* readWholeValues(const std::uint8_t* from, const std::uint8_t* end) noexcept;

    int openGroup(std::uint8_t tag) noexcept;
    const IppKindRow* rowOfValueTag(std::uint8_t tag) const noexcept;
    int openAttribute(std::string_view name) noexcept;
    int storeValue(const std::uint8_t* bytes, std::size_t length) noexcept;
    IppValue* newValue(std::size_t octets, char*& place) noexcept;
    int storeText(IppValueKind kind, std::string_view text) noexcept;
    int storeLanguageText(const std::uint8_t* bytes, std::size_t length) noexcept;
    int storeRaw(std::string_view octets) noexcept;

    IppMessage& message_;
    const IppReadPolicy policy_;
    const IppReadMode mode_;
    State state_ = State::version;
    bool fieldTaken_ = false;  ///< the next state is chosen when its first byte is there
    std::uint8_t valueTag_ = 0;
    int result_ = kWantsMore;
    std::size_t needed_ = 2;
    std::size_t collected_ = 0;
    std::size_t nameLength_ = 0;
    std::size_t valueLength_ = 0;
    const IppKindRow* row_ = nullptr;  ///< of the current value's kind
    IppGroup group_ = IppGroup::operation;
    std::array<std::uint32_t, kIppGroupCount> instances_;
    IppAttribute* attribute_ = nullptr;  ///< null after a delimiter
    IppValue* lastValue_ = nullptr;
    std::array<std::uint8_t, 1024> collection_;  ///< a field that two pieces share
};

}  // namespace velmora
