#pragma once

#include <span>
#include <string>
#include <string_view>

namespace velmora {
struct JobTemplate;
}

namespace velmora::ctl {

/// One attribute of the job template: the command-line option and the JSON key of the same name.
/// Values are texts, such as "two-sided-long-edge", "600dpi", "high", "3".
struct TemplateAttribute {
    enum class Kind { text, number, flag };

    const char* name;   ///< the IPP attribute
    const char* value;  ///< the value's name in the help text
    const char* about;
    /// The allowed values in words, for the help and for messages about a bad value.
    std::string (*allowed)();
    std::string (*get)(const JobTemplate& job);
    /// False, with nothing changed, when the value is not allowed.
    bool (*set)(JobTemplate& job, const std::string& value);
    Kind kind = Kind::text;
    /// Accepts a keyword that only some printers know; null where `set` accepts every possible
    /// value.
    bool (*force)(JobTemplate& job, const std::string& value) = nullptr;
};

/// All fourteen, in the order of the record.
std::span<const TemplateAttribute> templateAttributes();

/// Null when there is none of that name.
const TemplateAttribute* findTemplateAttribute(std::string_view name);

}  // namespace velmora::ctl
