#include "ui/page_port_main.h"

#include "ipp/printer_url.h"
#include "port/port_names.h"
#include "ui/help_window.h"
#include "ui/interface_host.h"
#include "ui/kit/data_exchange.h"
#include "ui/kit/report_list.h"
#include "ui/kit/window.h"
#include "ui/resources/resource_ids.h"

namespace velmora {
namespace {

bool checkMark(UINT itemState) noexcept {
    constexpr UINT kCheckedImage = INDEXTOSTATEIMAGEMASK(2);
    return (itemState & LVIS_STATEIMAGEMASK) == kCheckedImage;
}

}  // namespace

CPagePortMain::CPagePortMain(CGroupsDB& directory, const SpoolerFunctions& spooler)
    : PropertyPage(IDD_PORT_MAIN, interfaceHost(), CTextTable(kSection).Lookup("PagePortMain")),
      directory_(directory),
      spooler_(spooler) {}

void CPagePortMain::enableCredentials(bool enabled) const noexcept {
    for (const int id :
         {IDC_PORT_USER_NAME, IDC_PORT_USER_NAME_LABEL, IDC_PORT_PASSWORD, IDC_PORT_PASSWORD_LABEL})
        enable(id, enabled);
}

void CPagePortMain::applyMode() const noexcept {
    const PortMainControls usable =
        usableControls(isChecked(IDC_PORT_SINGLE), isChecked(IDC_PORT_AUTHENTICATION));
    for (const int id : {IDC_PORT_URL, IDC_PORT_URL_LABEL, IDC_PORT_AUTHENTICATION})
        enable(id, usable.url);
    enableCredentials(usable.credentials);
    enable(IDC_PORT_GROUPS, usable.groups);
}

void CPagePortMain::applyAuthentication() const noexcept {
    enableCredentials(isChecked(IDC_PORT_AUTHENTICATION));
}

void CPagePortMain::addColumns() const {
    const ReportList list(control(IDC_PORT_GROUPS));
    list.addStyle(LVS_EX_CHECKBOXES);
    list.addColumn(texts_.Lookup("Group"), 150);
    list.addColumn(texts_.Lookup("Printers number"), 115);
}

void CPagePortMain::fillList() {
    const HWND list = control(IDC_PORT_GROUPS);
    const ReportList rows(list);
    const ReportList::Sight sight = rows.sight();
    const RedrawPause pause(list);
    // The list reports every check mark that is set here as if the user had set it.
    filling_ = true;
    SendMessageA(list, LVM_DELETEALLITEMS, 0, 0);
    checked_.keepGroupsOf(directory_);
    const std::vector<GroupRow> groups = groupRows(directory_);
    rows.reserve(groups.size());
    for (const GroupRow& group : groups) {
        const int row = rows.addRow(group.name, static_cast<LPARAM>(group.id));
        rows.setText(row, 1, std::to_string(group.printers));
        // A check mark given at the insertion is ignored.
        if (checked_.contains(group.id)) rows.check(row);
    }
    rows.restore(sight);
    filling_ = false;
}

void CPagePortMain::trackItem(const NMLISTVIEW& change) {
    // A row that is selected changes its state too, but not its check mark.
    const UINT changed = change.uOldState ^ change.uNewState;
    if (filling_ || (change.uChanged & LVIF_STATE) == 0 || (changed & LVIS_STATEIMAGEMASK) == 0)
        return;
    if (const auto id = ReportList(change.hdr.hwndFrom).rowData(change.iItem))
        checked_.change(static_cast<std::uint32_t>(*id), checkMark(change.uNewState));
}

bool CPagePortMain::passes(const std::optional<Refusal>& refusal) const {
    if (!refusal) return true;
    refuse(*refusal);
    return false;
}

void CPagePortMain::onInit() {
    PropertyPage::onInit();
    texts_.TranslateWindow(window());
    addHiddenLabel(control(IDC_PORT_GROUPS), text(IDC_PORT_MULTI));
    addColumns();
    applyAuthentication();
    applyMode();
    if (nameLocked_) {
        enable(IDC_PORT_NAME, false);
        enable(IDC_PORT_NAME_LABEL, false);
    }
}

void CPagePortMain::exchange(DataExchange& data) {
    int authentication = data_.printer.useAuthentication != 0 ? BST_CHECKED : BST_UNCHECKED;
    data.check(IDC_PORT_AUTHENTICATION, authentication);
    data_.printer.useAuthentication = authentication != BST_UNCHECKED;
    data.radio(IDC_PORT_SINGLE, data_.mode);
    data.text(IDC_PORT_NAME, data_.name);
    data.text(IDC_PORT_USER_NAME, data_.printer.userName);
    data.text(IDC_PORT_PASSWORD, data_.printer.password);
    data.text(IDC_PORT_URL, data_.printer.url);
}

void CPagePortMain::onHelp(int control) {
    showHelp(window(), control, portMainHelp());
}

bool CPagePortMain::onCommand(int id, int code) {
    if (code != BN_CLICKED) return PropertyPage::onCommand(id, code);
    switch (id) {
        case IDC_PORT_SINGLE:
        case IDC_PORT_MULTI:
            applyMode();
            return true;
        case IDC_PORT_AUTHENTICATION:
            applyAuthentication();
            return true;
        default:
            return PropertyPage::onCommand(id, code);
    }
}

std::optional<LRESULT> CPagePortMain::onNotify(NMHDR& header) {
    if (header.idFrom == IDC_PORT_GROUPS && header.code == LVN_ITEMCHANGED) {
        trackItem(reinterpret_cast<const NMLISTVIEW&>(header));
        return 0;
    }
    return PropertyPage::onNotify(header);
}

void CPagePortMain::onActivate() {
    removePattern(data_, directory_);
    fillList();
    PropertyPage::onActivate();
}

bool CPagePortMain::onDeactivate() {
    if (!saveData()) return false;
    if (isEnabled(IDC_PORT_NAME) &&
        !passes(checkPortName(data_.name, spoolerPortNames(spooler_, server_))))
        return false;
    if (!passes(checkTarget(data_, IsValidPrinterUrl))) return false;
    storePattern(data_, directory_);
    return true;
}

}  // namespace velmora
