#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "fuzz/require.h"
#include "harness/wire.h"
#include "ipp/job_template.h"
#include "velmoractl/text/ipp_text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/template_fit.h"

// Any bytes, as a printer's answer that a tool looks at: whatever the printer wrote, what people
// see is one line of printable UTF-8, and what scripts get is JSON. A job template can be fitted to
// it.

namespace {

using namespace velmora;
using namespace velmora::ctl;
using namespace velmora::testing;

void requireSafe(const std::string& line) {
    require(isUtf8(line));
    requirePrintable(line);
    // Making safe text safe again changes nothing but backslashes.
    std::string plain = line;
    std::replace(plain.begin(), plain.end(), '\\', '/');
    require(shown(plain, plain.size()) == plain);
}

/// As the tool writes its answers.
std::string written(const Json& json) {
    return json.dump(2, ' ', true, Json::error_handler_t::replace);
}

void requireShown(const IppAttribute& attribute) {
    const std::vector<std::string> values = attributeValues(attribute);
    const std::string line = shownValues(values);
    requireSafe(line);
    requireSafe(shown(attributeName(attribute), 80));
    // 24 values of 80 bytes, each of which takes 10 at most.
    require(line.size() < 24 * 830);
    const std::string name(attributeName(attribute));
    for (const std::string& value : values) {
        requireSafe(enumText(name, value));
        require(numberOrNull(value).is_null() == (numberOrNull(value) == Json()));
    }
    const Json json = jsonValues(attribute);
    require(json.is_array() && json.size() == values.size());
    require(written(Json::parse(written(json))) == written(json));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Parsed answer =
        parsed(Bytes(data, data + size), IppReadMode::response, {.keepUnknownKinds = true});
    if (answer.result != 1) return 0;
    const IppMessage& message = *answer.message;
    requireSafe(statusText(message.operationOrStatus));
    for (const IppGroup group :
         {IppGroup::operation, IppGroup::job, IppGroup::printer, IppGroup::unsupported}) {
        const IppAttribute* attribute = message.group(group).head;
        for (; attribute != nullptr; attribute = attribute->next)
            requireShown(*attribute);
    }
    for (const ShownAttribute& one : printerDescription(message)) {
        requireSafe(one.values);
        require(findAttribute(message, IppGroup::printer, one.name) == one.attribute);
    }

    JobTemplate job;
    const std::vector<std::string> refused = notOffered(job, message);
    const IppMessage* const printers[] = {&message};
    const TemplateFit fit = fitTemplate(job, printers, refused, true);
    require(fit.replaced.size() + fit.stuck.size() <= refused.size());
    require(notOffered(job, message).size() <= refused.size());
    return 0;
}
