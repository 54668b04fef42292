#include "ui/dialog_printer.h"

#include "ipp/printer_url.h"
#include "ui/help_window.h"
#include "ui/kit/data_exchange.h"
#include "ui/kit/report_list.h"
#include "ui/kit/window.h"
#include "ui/resources/resource_ids.h"

namespace velmora {
void PrinterDialog::onInit() {
    for (const int id :
         {IDC_PRINTER_NAME, IDC_PRINTER_URL, IDC_PRINTER_USER_NAME, IDC_PRINTER_PASSWORD})
        limitBytes(control(id), kLongestDirectoryText);
    ModalDialog::onInit();
    texts_.TranslateWindow(window());
    applyAuthentication();
}

void PrinterDialog::onHelp(int control) {
    showHelp(window(), control, printerDialogHelp());
}

bool PrinterDialog::onCommand(int id, int code) {
    if (id == IDC_PRINTER_AUTHENTICATION && code == BN_CLICKED) {
        applyAuthentication();
        return true;
    }
    return ModalDialog::onCommand(id, code);
}

void PrinterDialog::exchange(DataExchange& data) {
    int authentication = form_.address.useAuthentication != 0 ? BST_CHECKED : BST_UNCHECKED;
    data.check(IDC_PRINTER_AUTHENTICATION, authentication);
    form_.address.useAuthentication = authentication != BST_UNCHECKED;
    data.text(IDC_PRINTER_NAME, form_.name);
    if (data.checking())
        if (const auto refusal = checkPrinterName(form_.name, takenNames_)) data.refuse(*refusal);
    data.text(IDC_PRINTER_URL, form_.address.url);
    if (data.checking())
        if (const auto refusal =
                checkPrinterUrl(form_.address.url, IDC_PRINTER_URL, IsValidPrinterUrl))
            data.refuse(*refusal);
    data.text(IDC_PRINTER_USER_NAME, form_.address.userName);
    data.text(IDC_PRINTER_PASSWORD, form_.address.password);
}

void PrinterDialog::showForm(PrinterForm form) {
    form_ = std::move(form);
    showData();
    applyAuthentication();
}

void PrinterDialog::applyAuthentication() const noexcept {
    const bool needed = isChecked(IDC_PRINTER_AUTHENTICATION);
    for (const int id : {IDC_PRINTER_USER_NAME, IDC_PRINTER_USER_NAME_LABEL, IDC_PRINTER_PASSWORD,
                         IDC_PRINTER_PASSWORD_LABEL})
        enable(id, needed);
}

void addPatterns(const ReportList& list, const PortPrinters& patterns) {
    const RedrawPause pause(list.control());
    list.reserve(patterns.size());
    for (const auto& [name, printer] : patterns) {
        const int row = list.addRow(printer->name, reinterpret_cast<LPARAM>(printer.get()));
        list.setText(row, 1, printer->address.url);
    }
}

CDialogNewPrinter::CDialogNewPrinter(std::vector<std::string> takenNames,
                                     const PortPrinters& patterns)
    : PrinterDialog(IDD_NEW_PRINTER, "DialogNewPrinter", {}, std::move(takenNames)),
      patterns_(patterns) {}

void CDialogNewPrinter::onInit() {
    PrinterDialog::onInit();
    const ReportList list(control(IDC_PRINTER_PATTERNS));
    list.addStyle(LVS_EX_GRIDLINES | LVS_EX_HEADERDRAGDROP | LVS_EX_FULLROWSELECT);
    list.addColumn(texts().Lookup("Name"), 100);
    list.addColumn(texts().Lookup("URL"), 160);
    addPatterns(list, patterns_);
}

void CDialogNewPrinter::onHelp(int control) {
    showHelp(window(), control, newPrinterHelp());
}

bool CDialogNewPrinter::onCommand(int id, int code) {
    if (id == IDC_PRINTER_COPY_PATTERN && code == BN_CLICKED) {
        copySelectedPattern();
        return true;
    }
    return PrinterDialog::onCommand(id, code);
}

std::optional<LRESULT> CDialogNewPrinter::onNotify(NMHDR& header) {
    if (header.idFrom == IDC_PRINTER_PATTERNS && header.code == static_cast<UINT>(NM_DBLCLK)) {
        copySelectedPattern();
        return 0;
    }
    return PrinterDialog::onNotify(header);
}

void CDialogNewPrinter::copySelectedPattern() {
    const ReportList list(control(IDC_PRINTER_PATTERNS));
    const auto pattern = list.rowData(list.selectedRow());
    if (pattern) showForm(formOf(*reinterpret_cast<const CGroupsDBPrinter*>(*pattern)));
}

CDialogPrinterProperties::CDialogPrinterProperties(PrinterForm form,
                                                   std::vector<std::string> takenNames)
    : PrinterDialog(IDD_PRINTER_PROPERTIES, "DialogPrinterProperties", std::move(form),
                    std::move(takenNames)) {}

}  // namespace velmora
