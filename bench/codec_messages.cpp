#include "bench/codec_messages.h"

#include <cups/cups.h>

#include <array>
#include <cstring>
#include <string>

#include "ipp/encoder.h"
#include "ipp/job_template.h"

namespace velmora::bench {
namespace {

constexpr const char* kUrl = "ipp://localhost:631/queue1";
constexpr const char* kUser = "user";
constexpr const char* kDocument = "Document";

const JobTemplate kTemplate;

std::int32_t number(std::uint32_t value) {
    return static_cast<std::int32_t>(value);
}

UniqueIppMessage buildOurs(int jobs) {
    UniqueIppMessage message = newIppRequest({1, 0}, IppOperation::printJob, 1);
    const auto operation = [&](UniqueIppAttribute attribute) {
        addIppAttribute(*message, IppGroup::operation, 0, std::move(attribute));
    };
    const auto job = [&](UniqueIppAttribute attribute) {
        addIppAttribute(*message, IppGroup::job, 0, std::move(attribute));
    };
    IppStorage* const place = &message->storage();
    const JobTemplate& t = kTemplate;
    operation(newUriAttribute(ippName("printer-uri"), kUrl, place));
    operation(newNameAttribute(ippName("requesting-user-name"), kUser, place));
    operation(newNameAttribute(ippName("job-name"), kDocument, place));
    operation(newNameAttribute(ippName("document-name"), kDocument, place));
    operation(
        newBooleanAttribute(ippName("ipp-attribute-fidelity"), t.ippAttributeFidelity != 0, place));
    for (int i = 0; i < jobs; ++i) {
        job(newIntegerAttribute(ippName("job-priority"), number(t.jobPriority), place));
        job(newKeywordAttribute(ippName("job-hold-until"), t.jobHoldUntil.c_str(), place));
        job(newKeywordAttribute(ippName("job-sheets"), t.jobSheets.c_str(), place));
        job(newKeywordAttribute(ippName("multiple-document-handling"),
                                t.multipleDocumentHandling.c_str(), place));
        job(newIntegerAttribute(ippName("copies"), number(t.copies), place));
        job(newEnumAttribute(ippName("finishings"), number(t.finishings), place));
        job(newKeywordAttribute(ippName("sides"), t.sides.c_str(), place));
        job(newIntegerAttribute(ippName("number-up"), number(t.numberUp), place));
        job(newEnumAttribute(ippName("orientation-requested"), number(t.orientationRequested),
                             place));
        job(newKeywordAttribute(ippName("media"), t.media.c_str(), place));
        job(newResolutionAttribute(
            ippName("printer-resolution"),
            {t.printerResolution.crossFeed, t.printerResolution.feed, t.printerResolution.units},
            place));
        job(newEnumAttribute(ippName("print-quality"), number(t.printQuality), place));
        job(newRangeAttribute(ippName("page-ranges"), std::array{IppRange{1, 3}}, place));
    }
    return message;
}

ipp_t* buildPeers(int jobs) {
    ipp_t* const m = ippNew();
    ippSetVersion(m, 1, 0);
    ippSetOperation(m, IPP_OP_PRINT_JOB);
    ippSetRequestId(m, 0x01000000);  // the bytes that ours writes
    const auto text = [m](ipp_tag_t group, ipp_tag_t kind, const char* name, const char* value) {
        ippAddString(m, group, kind, name, nullptr, value);
    };
    const auto keyword = [&](const char* name, const std::string& value) {
        text(IPP_TAG_JOB, IPP_TAG_KEYWORD, name, value.c_str());
    };
    const auto integer = [m](ipp_tag_t kind, const char* name, std::uint32_t value) {
        ippAddInteger(m, IPP_TAG_JOB, kind, name, number(value));
    };
    const JobTemplate& t = kTemplate;
    text(IPP_TAG_OPERATION, IPP_TAG_CHARSET, "attributes-charset", "utf-8");
    text(IPP_TAG_OPERATION, IPP_TAG_LANGUAGE, "attributes-natural-language", "en-us");
    text(IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", kUrl);
    text(IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", kUser);
    text(IPP_TAG_OPERATION, IPP_TAG_NAME, "job-name", kDocument);
    text(IPP_TAG_OPERATION, IPP_TAG_NAME, "document-name", kDocument);
    ippAddBoolean(m, IPP_TAG_OPERATION, "ipp-attribute-fidelity",
                  static_cast<char>(t.ippAttributeFidelity));
    for (int i = 0; i < jobs; ++i) {
        integer(IPP_TAG_INTEGER, "job-priority", t.jobPriority);
        keyword("job-hold-until", t.jobHoldUntil);
        keyword("job-sheets", t.jobSheets);
        keyword("multiple-document-handling", t.multipleDocumentHandling);
        integer(IPP_TAG_INTEGER, "copies", t.copies);
        integer(IPP_TAG_ENUM, "finishings", t.finishings);
        keyword("sides", t.sides);
        integer(IPP_TAG_INTEGER, "number-up", t.numberUp);
        integer(IPP_TAG_ENUM, "orientation-requested", t.orientationRequested);
        keyword("media", t.media);
        ippAddResolution(m, IPP_TAG_JOB, "printer-resolution", IPP_RES_PER_INCH,
                         number(t.printerResolution.crossFeed), number(t.printerResolution.feed));
        integer(IPP_TAG_ENUM, "print-quality", t.printQuality);
        ippAddRange(m, IPP_TAG_JOB, "page-ranges", 1, 3);
    }
    return m;
}

struct Sink {
    std::uint8_t* area;
    std::size_t size = 0;
};

ssize_t store(void* context, ipp_uchar_t* bytes, std::size_t size) {
    Sink& sink = *static_cast<Sink*>(context);
    std::memcpy(sink.area + sink.size, bytes, size);
    sink.size += size;
    return static_cast<ssize_t>(size);
}

UniqueIppAttribute printerAttribute(int i) {
    static constexpr std::array kMedia = {"A4",
                                          "iso_a4_210x297mm",
                                          "iso_a3_297x420mm",
                                          "na_letter_8.5x11in",
                                          "na_legal_8.5x14in",
                                          "jis_b4_257x364mm"};
    static constexpr std::array<std::int32_t, 16> kOperations = {2,  4,  5,  6,  8,  9,  10, 11,
                                                                 12, 13, 14, 16, 17, 18, 59, 60};
    // Every known name in turn, and some that only this printer knows.
    const int index = i % (static_cast<int>(IppAttributeNames::kCount) + 10);
    const bool known = index < static_cast<int>(IppAttributeNames::kCount);
    const std::string own = "vendor-attribute-" + std::to_string(index);
    if (!known) return newKeywordAttribute(-1, std::array{own.c_str(), "on", "off"});
    switch (i % 6) {
        case 0:
            return newKeywordAttribute(index, kMedia);
        case 1:
            return newEnumAttribute(index, kOperations);
        case 2:
            return newUriAttribute(
                index,
                "ipp://printer.example:631/printers/third-floor/second-door/in-the-corner/laser");
        case 3:
            return newNameAttribute(
                index, "A laser printer, third floor, behind the second door, takes A3 and A4");
        case 4:
            return newResolutionAttribute(
                index, std::array{IppResolution{300, 300, 3}, IppResolution{600, 600, 3},
                                  IppResolution{1200, 600, 3}, IppResolution{1200, 1200, 3}});
        default:
            return newRangeAttribute(
                index, std::array{IppRange{1, 99}, IppRange{-1, 0}, IppRange{1, 2147483647}});
    }
}

}  // namespace

std::size_t writeOurs(std::span<std::uint8_t> area, int jobs) {
    const UniqueIppMessage message = buildOurs(jobs);
    return encodeIppMessage(*message, false, area);
}

std::size_t writePeers(std::span<std::uint8_t> area, int jobs) {
    ipp_t* const message = buildPeers(jobs);
    Sink sink{area.data()};
    ippWriteIO(&sink, store, 1, nullptr, message);
    ippDelete(message);
    return sink.size;
}

std::vector<std::uint8_t> printJobAsAnswer() {
    std::vector<std::uint8_t> bytes(4096);
    bytes.resize(writeOurs(bytes, 1));
    bytes[3] = 0;
    return bytes;
}

std::vector<std::uint8_t> printerAnswer(int attributes) {
    const UniqueIppMessage message = newIppRequest({1, 1}, IppOperation::printJob, 1);
    for (int i = 0; i < attributes; ++i) {
        addIppAttribute(*message, IppGroup::printer, 0, printerAttribute(i));
    }
    message->operationOrStatus = 0;
    std::vector<std::uint8_t> bytes(encodedIppSize(*message, true));
    encodeIppMessage(*message, true, bytes);
    return bytes;
}

}  // namespace velmora::bench
