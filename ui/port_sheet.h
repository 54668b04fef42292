#pragma once

#include <memory>
#include <string>

#include "port/spooler.h"
#include "ui/kit/property_sheet.h"

namespace velmora {

class CGroupsDB;
class CPageJobTemplate;
class CPagePortMain;
class CPagePrinterGroups;
class MessageBoxes;
struct PortConfig;

/// The property sheet that edits a port. Pages change the printer directory while the sheet is
/// open; saving it, and the record, is up to the caller.
class PortSheet : public SheetWindow {
  public:
    ~PortSheet() override;

    /// Runs the sheet modally. True: the user pressed OK, and `config` holds what was edited.
    /// False: `config` is as it was. Throws what a handler of a page has thrown.
    bool edit(PortConfig& config);

    /// Messages of all pages and their dialogs go to `boxes`, which must outlive the sheet.
    void useMessageBoxes(MessageBoxes& boxes) noexcept;

  protected:
    /// `parent` may be null; `directory` must outlive the sheet.
    PortSheet(HWND parent, CGroupsDB& directory, const SpoolerFunctions& spooler);

    void onInit() override;

    /// Fills the pages before the sheet runs.
    virtual void showConfig(const PortConfig& config);

    CPagePortMain& mainPage() noexcept { return *main_; }

  private:
    void storeConfig(PortConfig& config) const;

    CGroupsDB& directory_;
    std::unique_ptr<CPagePortMain> main_;
    std::unique_ptr<CPageJobTemplate> template_;
    std::unique_ptr<CPagePrinterGroups> groups_;
};

/// For a new port. It starts as a single printer with the default job template, whatever the record
/// says.
class CDialogNewPort : public PortSheet {
  public:
    /// `server`: the new name must differ from its ports' names; empty: this machine.
    CDialogNewPort(HWND parent, CGroupsDB& directory, std::string server,
                   const SpoolerFunctions& spooler = velmora::spooler());

  protected:
    void showConfig(const PortConfig& config) override;
};

/// For an existing port: its name is locked.
class CDialogConfigPort : public PortSheet {
  public:
    CDialogConfigPort(HWND parent, CGroupsDB& directory,
                      const SpoolerFunctions& spooler = velmora::spooler());
};

}  // namespace velmora
