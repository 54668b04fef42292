#pragma once

#include <windows.h>

#include <commctrl.h>

#include <cstdint>
#include <string>
#include <vector>

#include "port/spooler.h"
#include "ui/kit/property_page.h"
#include "ui/port_main_rules.h"
#include "ui/text_table.h"

namespace velmora {

class CGroupsDB;

/// First page of both port sheets: the port's name and its target, either one printer or a set of
/// printer groups. While the page is active the directory has no printer of this port; leaving the
/// page with a URL adds it again.
class CPagePortMain : public PropertyPage {
  public:
    /// `directory` must outlive the page. `spooler`: lists the ports that exist.
    CPagePortMain(CGroupsDB& directory, const SpoolerFunctions& spooler);

    // Before the sheet runs.
    void setData(PortMainData data) { data_ = std::move(data); }
    void setCheckedGroups(const std::vector<std::uint32_t>& ids) { checked_.assign(ids); }
    /// The server whose port names are not available to a new port; empty: this machine.
    void setServer(std::string server) { server_ = std::move(server); }
    /// The name cannot be edited, and so is not checked.
    void lockName() noexcept { nameLocked_ = true; }

    // After it.
    const PortMainData& data() const noexcept { return data_; }
    const CheckedGroups& checkedGroups() const noexcept { return checked_; }

  protected:
    void onInit() override;
    bool onCommand(int id, int code) override;
    void onHelp(int control) override;
    std::optional<LRESULT> onNotify(NMHDR& header) override;
    void onActivate() override;
    bool onDeactivate() override;
    void exchange(DataExchange& data) override;

  private:
    void addColumns() const;
    void fillList();
    void trackItem(const NMLISTVIEW& change);
    void enableCredentials(bool enabled) const noexcept;
    void applyMode() const noexcept;
    void applyAuthentication() const noexcept;
    bool passes(const std::optional<Refusal>& refusal) const;

    CGroupsDB& directory_;
    const SpoolerFunctions& spooler_;
    CTextTable texts_{kSection};
    std::string server_;
    PortMainData data_;
    CheckedGroups checked_;
    bool nameLocked_ = false;
    bool filling_ = false;

    static constexpr const char* kSection = "PagePortMain";
};

}  // namespace velmora
