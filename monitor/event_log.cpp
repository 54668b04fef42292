#include "monitor/event_log.h"

#include <windows.h>

#include <array>
#include <vector>

#include "events/delivery_events.h"
#include "ipp/status_names.h"
#include "platform/digits.h"
#include "platform/handle.h"
#include "platform/text.h"
#include "port/delivery_directory.h"

namespace velmora {
namespace {

using UniqueEventSource = UniqueHandle<HANDLE, DeregisterEventSource>;

struct EventKind {
    DWORD id;
    WORD type;
};

/// In the order of DeliveryOutcome.
constexpr std::array<EventKind, 6> kKinds{{
    {VELMORA_EVENT_ACCEPTED, EVENTLOG_INFORMATION_TYPE},
    {VELMORA_EVENT_REFUSED, EVENTLOG_ERROR_TYPE},
    {VELMORA_EVENT_NO_ANSWER, EVENTLOG_WARNING_TYPE},
    {VELMORA_EVENT_INCOMPLETE, EVENTLOG_ERROR_TYPE},
    {VELMORA_EVENT_NOT_REACHED, EVENTLOG_ERROR_TYPE},
    {VELMORA_EVENT_ABANDONED, EVENTLOG_WARNING_TYPE},
}};

void append(std::string& text, const std::string& part) {
    if (!text.empty()) text += ", ";
    text += part;
}

}  // namespace

std::string reasonInWords(const DeliveryEntry& entry) {
    const DeliveryReason& reason = entry.reason;
    std::string text;
    if (reason.step != DeliveryStep::none)
        append(text, "step " + std::string(keyword(reason.step)));
    if (reason.httpStatus != 0) append(text, "HTTP status " + std::to_string(reason.httpStatus));
    if (reason.ippStatus) {
        std::string number = "0x";
        appendDigits(number, *reason.ippStatus, 4, 16);
        const std::string_view name = ippStatusName(*reason.ippStatus);
        append(text, "IPP status " + number + (name.empty() ? "" : " (" + std::string(name) + ")"));
    }
    if (reason.error != 0) {
        append(text, "error " + std::to_string(reason.error) +
                         (entry.errorText.empty() ? "" : ": " + entry.errorText));
    }
    return text.empty() ? "no reason is known" : text;
}

void reportDeliveryEvent(const DeliveryEntry& entry, std::uint32_t leftOut) {
    const UniqueEventSource source(RegisterEventSourceA(nullptr, kEventSource));
    if (!source) return;
    const std::array<std::wstring, 7> texts{
        wideFromUtf8(entry.port),
        wideFromUtf8(entry.printer),
        wideFromUtf8(entry.document),
        wideFromUtf8(std::to_string(entry.job)),
        wideFromUtf8(entry.user),
        wideFromUtf8(reasonInWords(entry)),
        leftOut == 0
            ? std::wstring()
            : wideFromUtf8(" Not reported before: " + std::to_string(leftOut) + " like it."),
    };
    std::array<const wchar_t*, texts.size()> strings{};
    for (std::size_t i = 0; i < texts.size(); ++i)
        strings[i] = texts[i].c_str();
    const EventKind& kind = kKinds[static_cast<std::size_t>(entry.outcome)];
    ReportEventW(source.get(), kind.type, 0, kind.id, nullptr, static_cast<WORD>(strings.size()), 0,
                 strings.data(), nullptr);
}

}  // namespace velmora
