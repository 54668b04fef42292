#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ipp/message.h"
#include "velmoractl/text/json.h"

namespace velmora::ctl {

// What an IPP answer says, as text. Everything that a printer wrote is UTF-8 at best and hostile at
// worst: it goes through shown() before it is shown.

/// The name of an attribute, one that we do not know included.
std::string_view attributeName(const IppAttribute& attribute);

/// Its values, as raw text: keywords and names as they are, "600dpi", "1-99", "true".
std::vector<std::string> attributeValues(const IppAttribute& attribute);

/// The first attribute of that name in the group (and in its instance); null when there is none.
const IppAttribute* findAttribute(const IppMessage& message, IppGroup group, std::string_view name,
                                  std::uint32_t instance = 0);

/// The values of such an attribute; empty if it is absent.
std::vector<std::string> valuesOf(const IppMessage& message, IppGroup group, std::string_view name,
                                  std::uint32_t instance = 0);
/// The first of them, or an empty text.
std::string valueOf(const IppMessage& message, IppGroup group, std::string_view name,
                    std::uint32_t instance = 0);

/// Values for people, safe to show, with commas between; a long list is cut.
std::string shownValues(const std::vector<std::string>& values);

/// The name of an enumerated value, such as "idle (3)"; the number if it has none.
/// Attributes: printer-state, job-state, print-quality, orientation-requested, finishings.
std::string enumText(std::string_view attribute, const std::string& number);

/// The name alone, such as "idle"; the number if it has none.
std::string enumKeyword(std::string_view attribute, const std::string& number);

/// An attribute of an answer, with its values for people.
struct ShownAttribute {
    std::string_view name;
    std::string values;  ///< as shownValues() gives them; enumerated ones with their names
    const IppAttribute* attribute;
};

/// What `probe` shows of a printer, in this order; what the answer lacks is left out.
std::vector<ShownAttribute> printerDescription(const IppMessage& answer);

// For scripts.

/// The number that the text is, or null.
Json numberOrNull(const std::string& text);
/// The values of an attribute: numbers as numbers, flags as booleans, an enumerated value as
/// {"value": 3, "keyword": "idle"}.
Json jsonValues(const IppAttribute& attribute);

/// Status codes of RFC 2911, 13.1: "client-error-not-found (0x0406)".
std::string statusText(std::uint32_t status);

}  // namespace velmora::ctl
