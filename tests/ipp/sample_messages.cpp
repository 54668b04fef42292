#include "tests/ipp/sample_messages.h"

namespace velmora::testing {
namespace {

constexpr const char* kHeaderDump = "1:0:0:1\n";

SampleMessage sample(std::string name, Wire wire, const std::string& dump = "") {
    return {std::move(name), wire.u8({0x03}).bytes(), kHeaderDump + dump};
}

SampleMessage bad(std::string name, const Wire& wire) {
    return {std::move(name), wire.bytes(), ""};
}

/// The header and the start of the operation group.
Wire operationGroup() {
    return responseHeader().u8({0x01});
}

/// The same with one attribute, which an additional value can follow.
Wire oneAttribute() {
    return operationGroup().value(0x44, "media", "a4");
}

}  // namespace

std::vector<SampleMessage> goodMessages() {
    std::vector<SampleMessage> samples = {
        sample("EndRightAfterRequestId", responseHeader()),
        sample("EmptyGroups", responseHeader().u8({0x01, 0x02, 0x05, 0x04, 0x04, 0x01})),
        sample("EveryKind",
               operationGroup()
                   .value(0x10, "copies", "")
                   .value(0x21, "copies", {0xFF, 0xFF, 0xFF, 0xFE})
                   .value(0x22, "my-jobs", {1})
                   .value(0x23, "finishings", {0, 0, 1, 0})
                   .value(0x30, "message", "octets")
                   .value(0x31, "printer-current-time",
                          {0x07, 0xEA, 11, 21, 12, 25, 59, 9, '-', 11, 30})
                   .value(0x32, "printer-resolution", {0, 0, 2, 0x58, 0x80, 0, 0, 1, 3})
                   .value(0x33, "page-ranges", {0, 0, 0, 1, 0x80, 0, 0, 0})
                   .value(0x35, "printer-info", std::string_view("\0\2de\0\3abc", 9))
                   .value(0x36, "printer-name", std::string_view("\0\0\0\0", 4))
                   .value(0x41, "status-message", "text")
                   .value(0x42, "job-name", "name")
                   .value(0x44, "media", "a4")
                   .value(0x45, "printer-uri", "ipp://h/p")
                   .value(0x46, "reference-uri-schemes-supported", "http")
                   .value(0x47, "attributes-charset", "utf-8")
                   .value(0x48, "attributes-natural-language", "en-us")
                   .value(0x49, "document-format", "text/plain"),
               "0/0 23 copies = 0()\n"
               "0/0 23 copies = 4(-2)\n"
               "0/0 16 my-jobs = 8(true)\n"
               "0/0 24 finishings = 16(256)\n"
               "0/0 15 message = 32('octets')\n"
               "0/0 114 printer-current-time = 64(2026:11:21:12:25:59:9:45:11:30)\n"
               "0/0 30 printer-resolution = 128(600:2147483649:3)\n"
               "0/0 25 page-ranges = 256(1:-2147483648)\n"
               "0/0 90 printer-info = 512('de''abc')\n"
               "0/0 88 printer-name = 1024('''')\n"
               "0/0 6 status-message = 2048('text')\n"
               "0/0 61 job-name = 4096('name')\n"
               "0/0 29 media = 8192('a4')\n"
               "0/0 4 printer-uri = 16384('ipp://h/p')\n"
               "0/0 111 reference-uri-schemes-supported = 32768('http')\n"
               "0/0 0 attributes-charset = 65536('utf-8')\n"
               "0/0 1 attributes-natural-language = 131072('en-us')\n"
               "0/0 10 document-format = 262144('text/plain')\n"),
        sample("SetsOfValues",
               responseHeader()
                   .u8({0x04})
                   .value(0x44, "media-supported", "a4")
                   .value(0x44, "", "a3")
                   .value(0x44, "", "")
                   .value(0x21, "copies", {0, 0, 0, 1})
                   .value(0x21, "", {0, 0, 0, 2}),
               "2/0 54 media-supported = 8192('a4') 8192('a3') 8192('')\n"
               "2/0 23 copies = 4(1) 4(2)\n"),
        sample(
            "SetOfMixedKinds",
            oneAttribute().value(0x21, "", {0, 0, 0, 7}).value(0x33, "", {0, 0, 0, 1, 0, 0, 0, 2}),
            "0/0 29 media = 8192('a4') 4(7) 256(1:2)\n"),
        sample(
            "UnsupportedValuesOfAnyLength",
            operationGroup().value(0x10, "copies", "12345").value(0x10, "", "").value(0x10, "", ""),
            "0/0 23 copies = 0() 0() 0()\n"),
        sample("UnknownNames",
               responseHeader()
                   .u8({0x02})
                   .value(0x21, "x-level", {0, 0, 0, 1})
                   .value(0x44, "Copies", "")
                   .value(0x10, "x-unsupported", ""),
               "1/0 -1 Unrecognized = 8192('x-level') 4(1)\n"
               "1/0 -1 Unrecognized = 8192('Copies') 8192('')\n"
               "1/0 -1 Unrecognized = 8192('x-unsupported') 0()\n"),
        sample("GroupsOutOfOrderAndRepeated",
               responseHeader()
                   .u8({0x02})
                   .value(0x21, "job-id", {0, 0, 0, 1})
                   .u8({0x05})
                   .value(0x44, "media", "a5")
                   .u8({0x02})
                   .value(0x21, "job-id", {0, 0, 0, 2})
                   .u8({0x01})
                   .value(0x47, "attributes-charset", "utf-8"),
               "0/0 0 attributes-charset = 65536('utf-8')\n"
               "1/0 58 job-id = 4(1)\n"
               "1/1 58 job-id = 4(2)\n"
               "3/0 29 media = 8192('a5')\n"),
        sample("SlackAfterTheInnerLengths",
               operationGroup().value(0x35, "printer-info", std::string_view("\0\1d\0\1t++", 8)),
               "0/0 90 printer-info = 512('d''t')\n"),
        sample("LanguageWithoutText",
               operationGroup().value(0x36, "printer-info", std::string_view("\0\2de\0\0", 6)),
               "0/0 90 printer-info = 1024('de''')\n"),
        sample("NeitherLanguageNorText",
               operationGroup().value(0x35, "printer-info", std::string_view("\0\0\0\0", 4)),
               "0/0 90 printer-info = 512('''')\n"),
        sample("BytesAboveSevenBits", operationGroup().value(0x42, "job-name", "\xC3\xA4\xFF"),
               "0/0 61 job-name = 4096('\\c3\\a4\\ff')\n"),
        sample("ValuesThatLookLikeTags",
               operationGroup().value(0x44, "media", "\x03\x03\x01").value(0x44, "", "\x03"),
               "0/0 29 media = 8192('\\03\\03\\01') 8192('\\03')\n"),
    };
    return samples;
}

std::vector<SampleMessage> badMessages() {
    std::vector<SampleMessage> samples = {
        bad("ValueBeforeAnyGroup", responseHeader().value(0x44, "media", "a4")),
        bad("AdditionalValueOfNothing", operationGroup().u8({0x44}).u16(0)),
        bad("AdditionalValueAfterNewGroup", oneAttribute().u8({0x02, 0x44}).u16(0)),
        bad("AdditionalValueAfterSameGroup", oneAttribute().u8({0x01}).value(0x44, "", "a3")),
        // A value with a byte after its end is complete.
        bad("WholeAdditionalValueOfNothing", operationGroup().value(0x44, "", "a3").u8({0x03})),
        bad("WholeAdditionalValueAfterNewGroup",
            oneAttribute().u8({0x02}).value(0x44, "", "a3").u8({0x03})),
        bad("HtmlInsteadOfIpp", Wire().raw("<html><body>404</body></html>")),
        bad("InnerLanguageLengthPastTheValue",
            operationGroup().value(0x35, "printer-info", std::string_view("\0\5en\0\0ab", 8))),
        bad("InnerTextLengthPastTheValue", operationGroup().value(0x36, "printer-info",
                                                                  std::string_view("\0\2en\x81\x0B"
                                                                                   "ab",
                                                                                   8))),
        bad("InnerLengthsOneTooLong",
            operationGroup().value(0x35, "printer-info", std::string_view("\0\2en\0\3ab", 8))),
        bad("InnerLanguageLengthWithTopBit", operationGroup().value(0x35, "printer-info",
                                                                    std::string_view("\xFF\xFE"
                                                                                     "en\0\2",
                                                                                     6))),
        bad("LanguageKindOfThreeBytes",
            operationGroup().value(0x35, "printer-info", std::string_view("\0\0\0", 3))),
        bad("NameWithNul", operationGroup().u8({0x44}).text(std::string_view("copies\0", 7))),
        bad("NameOfNulAlone", operationGroup().u8({0x44}).text(std::string_view("\0", 1))),
    };
    // What looks like a whole value after a tag that is a delimiter's.
    for (const unsigned tag : {0x00u, 0x06u, 0x0Fu}) {
        samples.push_back(
            bad("ValueOfDelimiterTag" + std::to_string(tag),
                oneAttribute().value(tag, "media", "a4").value(0x44, "media", "a3").u8({0x03})));
    }
    for (const unsigned tag :
         {0x00u, 0x06u, 0x07u, 0x08u, 0x09u, 0x0Au, 0x0Bu, 0x0Cu, 0x0Du, 0x0Eu, 0x0Fu}) {
        samples.push_back(bad("DelimiterTag" + std::to_string(tag), responseHeader().u8({tag})));
        samples.push_back(
            bad("DelimiterTagAfterValue" + std::to_string(tag), oneAttribute().u8({tag})));
    }
    struct Fixed {
        const char* kind;
        unsigned tag;
        unsigned length;
    };
    for (const Fixed& each :
         {Fixed{"Integer", 0x21, 4}, Fixed{"Boolean", 0x22, 1}, Fixed{"Enum", 0x23, 4},
          Fixed{"DateTime", 0x31, 11}, Fixed{"Resolution", 0x32, 9}, Fixed{"Range", 0x33, 8}}) {
        for (const unsigned length : {0u, each.length - 1, each.length + 1, 1023u}) {
            if (length == 0 && each.length == 1) continue;  // the same as one too short
            samples.push_back(bad(
                std::string(each.kind) + "Of" + std::to_string(length),
                operationGroup().value(each.tag, "copies", std::string(length, '\1')).u8({0x03})));
        }
    }
    samples.push_back(bad("BooleanOf0", operationGroup().value(0x22, "copies", "").u8({0x03})));
    return samples;
}

std::vector<SampleMessage> toolsMessages() {
    std::vector<SampleMessage> samples = {
        sample(
            "OutOfBandValues",
            operationGroup().value(0x12, "copies", "").value(0x13, "media", "").value(0x13, "", ""),
            "0/0 23 copies = 1()\n0/0 29 media = 2() 2()\n"),
        sample("Collection",
               responseHeader()
                   .u8({0x04})
                   .value(0x34, "media-col-default", "")
                   .value(0x4A, "", "media-size")
                   .value(0x34, "", "")
                   .value(0x4A, "", "x-dimension")
                   .value(0x21, "", {0, 0, 0x52, 0x08})
                   .value(0x37, "", "")
                   .value(0x37, "", "")
                   .value(0x44, "media", "a4"),
               "2/0 -1 Unrecognized = 8192('media-col-default') 524288(52'') "
               "524288(74'media-size') 524288(52'') 524288(74'x-dimension') 4(21000) "
               "524288(55'') 524288(55'')\n"
               "2/0 29 media = 8192('a4')\n"),
        sample("RawOctetsWithNuls",
               operationGroup().value(0x7F, "copies", std::string_view("\0a\0", 3)),
               "0/0 23 copies = 524288(127'\\00a\\00')\n"),
    };
    for (const unsigned tag : {0x11u, 0x14u, 0x15u, 0x16u, 0x17u, 0x1Fu, 0x20u, 0x24u, 0x34u, 0x37u,
                               0x38u, 0x40u, 0x43u, 0x4Au, 0x4Bu, 0x5Fu, 0x7Fu, 0x80u, 0xFFu}) {
        samples.push_back(sample("Tag" + std::to_string(tag),
                                 operationGroup().value(tag, "copies", "1234"),
                                 "0/0 23 copies = 524288(" + std::to_string(tag) + "'1234')\n"));
    }
    return samples;
}

}  // namespace velmora::testing
