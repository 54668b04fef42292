#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/printer_address.h"
#include "ui/kit/refusal.h"

namespace velmora {

struct CGroupsDBPrinter;

/// The data that the two printer dialogs edit.
struct PrinterForm {
    std::string name;
    PrinterAddress address;

    bool operator==(const PrinterForm&) const = default;
};

PrinterForm formOf(const CGroupsDBPrinter& printer);

/// The record to store for an accepted form, for CGroupsDB::UpdatePrinter.
CGroupsDBPrinter recordOf(const PrinterForm& form, std::uint32_t id);

/// Names are compared byte by byte with those that are `taken`.
std::optional<Refusal> checkPrinterName(const std::string& name,
                                        const std::vector<std::string>& taken);

/// `control`: the box that holds `url`. `isValid` is IsValidPrinterUrl, which needs the platform's
/// URL cracker.
std::optional<Refusal> checkPrinterUrl(const std::string& url, int control,
                                       const std::function<bool(const std::string&)>& isValid);

}  // namespace velmora
