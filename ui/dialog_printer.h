#pragma once

#include <string>
#include <vector>

#include "directory/directory_records.h"
#include "ui/interface_host.h"
#include "ui/kit/dialog.h"
#include "ui/kit/report_list.h"
#include "ui/printer_form.h"
#include "ui/text_table.h"

namespace velmora {

/// Base of the two dialogs that edit a printer of the directory. They change only their own form;
/// the caller writes the result into the directory.
class PrinterDialog : public ModalDialog {
  public:
    /// After runModal has returned true: what the user entered, checked.
    const PrinterForm& form() const noexcept { return form_; }

  protected:
    /// `section`: where the dialog's texts are looked up. `takenNames`: the other nodes of the
    /// group that holds, or will hold, the printer.
    PrinterDialog(int resource, const char* section, PrinterForm form,
                  std::vector<std::string> takenNames)
        : ModalDialog(resource, interfaceHost()),
          texts_(section),
          form_(std::move(form)),
          takenNames_(std::move(takenNames)) {}

    void onInit() override;
    bool onCommand(int id, int code) override;
    void onHelp(int control) override;
    void exchange(DataExchange& data) override;

    /// Shows other values and enables or disables the credentials accordingly.
    void showForm(PrinterForm form);
    const CTextTable& texts() const noexcept { return texts_; }

  private:
    void applyAuthentication() const noexcept;

    CTextTable texts_;
    PrinterForm form_;
    std::vector<std::string> takenNames_;
};

/// Adds a row of name and URL for each pattern, in their order; the row's data is the pattern.
void addPatterns(const ReportList& list, const PortPrinters& patterns);

/// Creates a printer; its values can be copied from a port's printer.
class CDialogNewPrinter : public PrinterDialog {
  public:
    /// `patterns`, which the list shows in their order, must outlive the dialog.
    CDialogNewPrinter(std::vector<std::string> takenNames, const PortPrinters& patterns);

  protected:
    void onInit() override;
    bool onCommand(int id, int code) override;
    void onHelp(int control) override;
    std::optional<LRESULT> onNotify(NMHDR& header) override;

  private:
    void copySelectedPattern();

    const PortPrinters& patterns_;
};

/// Edits an existing printer.
class CDialogPrinterProperties : public PrinterDialog {
  public:
    CDialogPrinterProperties(PrinterForm form, std::vector<std::string> takenNames);
};

}  // namespace velmora
