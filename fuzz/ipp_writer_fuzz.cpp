#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/require.h"
#include "harness/ipp_message_check.h"
#include "harness/wire.h"

// The bytes say how a message is put together, with texts at the borders of a block, of what the
// reader takes and of a length's 16 bits: the writer writes what its model writes, or refuses what
// the model refuses. What it has written is read again as the same message if no text is longer
// than the reader takes.

namespace {

using namespace velmora;
using namespace velmora::testing;

/// The bytes one by one, and zeros after them.
class Script {
  public:
    Script(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

    bool ended() const { return at_ == end_; }
    std::uint8_t byte() { return ended() ? 0 : *at_++; }
    std::uint32_t word() {
        std::uint32_t word = 0;
        for (int i = 0; i < 4; ++i)
            word = word << 8 | byte();
        return word;
    }

  private:
    const std::uint8_t* at_;
    const std::uint8_t* const end_;
};

constexpr std::size_t kLengths[] = {0,   1,     2,     3,     16,    255,  256,   511,
                                    512, 513,   1022,  1023,  1024,  1025, 32767, 32768,
                                    0,   65534, 65535, 65536, 65540, 5,    7,     100};

/// Short texts come from the script; long ones are one byte again and again.
std::string anyText(Script& script) {
    const std::uint8_t kind = script.byte();
    if (kind < 128) return std::string(kind % 16, static_cast<char>('a' + kind / 16));
    // The longest texts take much time and are needed seldom.
    const std::size_t length = kLengths[kind % std::size(kLengths)];
    const std::uint8_t byte = script.byte();
    if (length > 2000 && byte % 4 != 0) return std::string(length % 700, 'x');
    return std::string(length, static_cast<char>(byte % 255 + 1));
}

IppValue anyValue(Script& script, std::deque<std::string>& texts) {
    IppValue value{};
    const auto row = kIppKinds[script.byte() % kIppKinds.size()];
    value.kind = row.kind;
    switch (row.layout) {
        case IppValueLayout::nothing:
            break;
        case IppValueLayout::number:
        case IppValueLayout::boolean:
            value.number = static_cast<std::int32_t>(script.word());
            break;
        case IppValueLayout::range:
            value.range = {static_cast<std::int32_t>(script.word()),
                           static_cast<std::int32_t>(script.word())};
            break;
        case IppValueLayout::resolution:
            value.resolution = {script.word(), script.word(), script.byte()};
            break;
        case IppValueLayout::dateTime: {
            IppDateTime& time = value.dateTime;
            time.year = static_cast<std::uint16_t>(script.word());
            time.month = script.byte();
            time.day = script.byte();
            time.hour = script.byte();
            time.minutes = script.byte();
            time.seconds = script.byte();
            time.deciSeconds = script.byte();
            time.directionFromUtc = static_cast<char>(script.byte());
            time.hoursFromUtc = script.byte();
            time.minutesFromUtc = script.byte();
            break;
        }
        case IppValueLayout::languageText: {
            const std::string language = anyText(script);
            texts.push_back(language + '\0' + anyText(script));
            value.languageText = {static_cast<std::uint32_t>(language.size()),
                                  texts.back().c_str()};
            break;
        }
        case IppValueLayout::text:
            texts.push_back(anyText(script));
            value.text = {static_cast<std::uint32_t>(texts.back().size()), texts.back().c_str()};
            break;
        case IppValueLayout::raw:
            // A tag that has a kind would be read as that kind.
            texts.push_back(anyText(script).substr(0, 0xFFFF));
            value.raw = {static_cast<std::uint16_t>(texts.back().size()),
                         static_cast<std::uint8_t>(0x50 + script.byte() % 16),
                         texts.back().c_str()};
            break;
    }
    return value;
}

void addAny(Script& script, IppMessage& message) {
    const std::uint8_t shape = script.byte();
    const auto group = static_cast<IppGroup>(shape % 4);
    const std::uint32_t instance = shape / 4 % 4;
    // Sometimes a name that is not in the table, or an index beyond it.
    const std::uint8_t name = script.byte();
    const int nameIndex = name < 132 ? name : -1;
    std::deque<std::string> texts;
    std::vector<IppValue> values;
    for (std::uint8_t count = script.byte() % 4; count != 0; --count)
        values.push_back(anyValue(script, texts));
    require(addIppAttribute(
        message, group, instance,
        newIppAttribute(nameIndex, values, shape & 64 ? &message.storage() : nullptr)));
}

/// Whether the reader gives back what was written: it takes no long texts, gives instances their
/// numbers itself and knows what an attribute of one name alone was.
bool readsAgain(const ModelMessage& message, bool isResponse) {
    if (isResponse ? message.code > 0xFFFF : message.code >= 16) return false;
    for (const auto& group : message.groups) {
        for (const ModelAttribute& attribute : group) {
            if (attribute.instance != 0 || attribute.values.empty()) return false;
            if (attribute.nameIndex == -1 &&
                (attribute.values.size() == 1 || attribute.values[0].kind != 8192)) {
                return false;
            }
            for (const ModelValue& value : attribute.values) {
                if (value.first.size() + value.second.size() > 1019) return false;
                const bool isBoolean = value.kind == 8;
                if (isBoolean && value.numbers[0] != 0 && value.numbers[0] != 1) return false;
            }
        }
    }
    return true;
}

/// The name of the attribute may be one that the table has.
bool sameButNames(const ModelMessage& one, const ModelMessage& other) {
    for (const auto& group : one.groups)
        for (const ModelAttribute& attribute : group)
            if (attribute.nameIndex == -1) return true;
    return one == other;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Script script(data, size);
    const std::uint8_t head = script.byte();
    const bool isResponse = (head & 1) != 0;
    const UniqueIppMessage message = newIppMessage();
    message->version = {script.byte(), script.byte()};
    message->operationOrStatus = isResponse ? script.word() : script.byte() % 18u;
    message->requestId = script.word();
    for (int i = 0; i < 8 && !script.ended(); ++i)
        addAny(script, *message);

    const ModelMessage model = modelOf(*message);
    const std::optional<std::vector<std::uint8_t>> expected = modelWritten(model, isResponse);
    const Bytes written = encoded(*message, isResponse);
    require(written.empty() == !expected);
    require(encodedIppSize(*message, isResponse) == written.size());
    if (!expected) return 0;
    require(written == *expected);
    Bytes area(written.size());
    require(encodeIppMessage(*message, isResponse, area) == area.size() && area == written);
    area.resize(area.size() - 1 - head % area.size());
    require(encodeIppMessage(*message, isResponse, area) == 0);

    if (!readsAgain(model, isResponse)) return 0;
    const Parsed again = parsed(written, isResponse ? IppReadMode::response : IppReadMode::request,
                                {.keepUnknownKinds = true});
    require(again.result == 1);
    require(sameButNames(model, modelOf(*again.message)));
    return 0;
}
