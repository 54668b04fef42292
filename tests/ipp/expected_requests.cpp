#include "tests/ipp/expected_requests.h"

#include <windows.h>

#include <sstream>

#include "harness/wire.h"
#include "ipp/job_template.h"

namespace velmora::testing {
namespace {

std::string textOf(const Wire& wire) {
    return {wire.bytes().begin(), wire.bytes().end()};
}

std::string number(std::uint32_t value) {
    return textOf(Wire().u32(value));
}

/// Version 1.0, the operation-id, request id 1 in this machine's byte order, and the group that
/// every request begins with.
Wire request(unsigned operation, const std::string& url, const std::string& user) {
    Wire wire;
    wire.u8({0x01, 0x00}).u16(operation).u8({0x01, 0x00, 0x00, 0x00}).u8({0x01});
    wire.value(0x47, "attributes-charset", "utf-8");
    wire.value(0x48, "attributes-natural-language", "en-us");
    wire.value(0x45, "printer-uri", url);
    wire.value(0x42, "requesting-user-name", user);
    return wire;
}

}  // namespace

std::string expectedProbe(const std::string& url, const std::string& userUtf8) {
    return textOf(request(0x000B, url, userUtf8).u8({0x03}));
}

std::string expectedPrintJob(const std::string& url, const std::string& userUtf8,
                             const std::string& nameUtf8, const JobTemplate& values,
                             const std::vector<std::pair<unsigned, unsigned>>& ranges) {
    Wire wire = request(0x0002, url, userUtf8);
    wire.value(0x42, "job-name", nameUtf8);
    wire.value(0x42, "document-name", nameUtf8);
    wire.value(0x22, "ipp-attribute-fidelity", {values.ippAttributeFidelity != 0 ? 1u : 0u});
    wire.u8({0x02});
    wire.value(0x21, "job-priority", number(values.jobPriority));
    wire.value(0x44, "job-hold-until", values.jobHoldUntil);
    wire.value(0x44, "job-sheets", values.jobSheets);
    wire.value(0x44, "multiple-document-handling", values.multipleDocumentHandling);
    wire.value(0x21, "copies", number(values.copies));
    wire.value(0x23, "finishings", number(values.finishings));
    wire.value(0x44, "sides", values.sides);
    wire.value(0x21, "number-up", number(values.numberUp));
    wire.value(0x23, "orientation-requested", number(values.orientationRequested));
    wire.value(0x44, "media", values.media);
    const JobTemplate::Resolution& resolution = values.printerResolution;
    wire.value(
        0x32, "printer-resolution",
        textOf(Wire().u32(resolution.crossFeed).u32(resolution.feed).u8({resolution.units})));
    wire.value(0x23, "print-quality", number(values.printQuality));
    std::string name = "page-ranges";
    for (const auto& [lower, upper] : ranges) {
        wire.value(0x33, name, number(lower) + number(upper));
        name.clear();  // a further value of the same attribute
    }
    return textOf(wire.u8({0x03}));
}

std::string expectedPrintJob(const std::string& url, const std::string& userUtf8,
                             const std::string& nameUtf8) {
    return expectedPrintJob(url, userUtf8, nameUtf8, JobTemplate());
}

std::string chunk(const std::string& bytes) {
    std::ostringstream out;
    out << std::hex << bytes.size() << "\r\n" << bytes << "\r\n";
    return out.str();
}

std::string goodAnswer(unsigned status) {
    Wire wire;
    wire.u8({0x01, 0x00}).u16(status).u8({0x01, 0x00, 0x00, 0x00}).u8({0x01});
    wire.value(0x47, "attributes-charset", "utf-8");
    wire.value(0x48, "attributes-natural-language", "en-us");
    return textOf(wire.u8({0x03}));
}

const JobTemplate& changedTemplate() {
    static const JobTemplate changed = [] {
        JobTemplate values;
        values.jobPriority = 77;
        values.jobHoldUntil = "indefinite";
        values.copies = 3;
        values.printerResolution = {1200, 600, 3};
        values.printQuality = 5;
        values.pageRanges = "3-5,1-2, 9";
        values.media = "Letter";
        values.orientationRequested = 4;
        values.numberUp = 2;
        values.sides = "two-sided-long-edge";
        values.multipleDocumentHandling = "separate-documents-collated-copies";
        values.finishings = 4;
        values.jobSheets = "standard";
        values.ippAttributeFidelity = 1;
        return values;
    }();
    return changed;
}

std::string userName() {
    char name[256];
    DWORD size = sizeof name;
    return GetUserNameA(name, &size) ? name : "";
}

}  // namespace velmora::testing
