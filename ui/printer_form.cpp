#include "ui/printer_form.h"

#include <algorithm>

#include "directory/directory_records.h"
#include "ui/resources/resource_ids.h"

namespace velmora {

PrinterForm formOf(const CGroupsDBPrinter& printer) {
    return {printer.name, printer.address};
}

CGroupsDBPrinter recordOf(const PrinterForm& form, std::uint32_t id) {
    CGroupsDBPrinter printer;
    printer.id = id;
    printer.name = form.name;
    printer.address = withUsedCredentials(form.address);
    return printer;
}

std::optional<Refusal> checkPrinterName(const std::string& name,
                                        const std::vector<std::string>& taken) {
    if (name.empty()) return Refusal{IDS_PRINTER_NAME_MISSING, IDC_PRINTER_NAME};
    if (std::find(taken.begin(), taken.end(), name) != taken.end())
        return Refusal{IDS_PRINTER_NAME_USED, IDC_PRINTER_NAME};
    return std::nullopt;
}

std::optional<Refusal> checkPrinterUrl(const std::string& url, int control,
                                       const std::function<bool(const std::string&)>& isValid) {
    if (url.empty()) return Refusal{IDS_URL_MISSING, control};
    if (!isValid(url)) return Refusal{IDS_URL_INVALID, control, MessageIcon::error};
    return std::nullopt;
}

}  // namespace velmora
