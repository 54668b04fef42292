#include "ui/printer_form.h"

#include <algorithm>

namespace velmora {

PrinterForm formOf(const CGroupsDBPrinter& printer) {
    return {printer.name, printer.uri, printer.hasAuth != 0, printer.userName, printer.password};
}

CGroupsDBPrinter recordOf(const PrinterForm& form, std::uint32_t id) {
    CGroupsDBPrinter printer;
    printer.id = id;
    printer.name = form.name;
    printer.setTarget(form.uri, form.hasAuth, form.userName, form.password);
    return printer;
}

PrinterForm withUsedCredentials(PrinterForm form) {
    if (!form.hasAuth) {
        form.userName.clear();
        form.password.clear();
    }
    return form;
}

PrinterNameVerdict judgePrinterName(const std::string& name,
                                    const std::vector<std::string>& taken) {
    if (name.empty()) return PrinterNameVerdict::missing;
    const bool isTaken = std::find(taken.begin(), taken.end(), name) != taken.end();
    return isTaken ? PrinterNameVerdict::taken : PrinterNameVerdict::accepted;
}

PrinterUrlVerdict judgePrinterUrl(const std::string& url, bool (*isValid)(const std::string&)) {
    if (url.empty()) return PrinterUrlVerdict::missing;
    return isValid(url) ? PrinterUrlVerdict::accepted : PrinterUrlVerdict::invalid;
}

}  // namespace velmora
