#include "ui/port_sheet.h"

#include "port/port_config.h"
#include "ui/kit/window.h"
#include "ui/page_job_template.h"
#include "ui/page_port_main.h"
#include "ui/page_printer_groups.h"
#include "ui/resources/resource_ids.h"
#include "ui/text_table.h"

namespace velmora {

PortSheet::PortSheet(HWND parent, CGroupsDB& directory, const SpoolerFunctions& spooler)
    : SheetWindow(loadResourceText(IDS_CAPTION), parent, IDM_VISUAL_STYLES),
      directory_(directory),
      main_(std::make_unique<CPagePortMain>(directory, spooler)),
      template_(std::make_unique<CPageJobTemplate>()),
      groups_(std::make_unique<CPagePrinterGroups>(directory)) {
    addPage(*main_);
    addPage(*template_);
    addPage(*groups_);
}

PortSheet::~PortSheet() = default;

void PortSheet::useMessageBoxes(MessageBoxes& boxes) noexcept {
    main_->useMessageBoxes(boxes);
    template_->useMessageBoxes(boxes);
    groups_->useMessageBoxes(boxes);
}

void PortSheet::onInit() {
    setWindowText(window(), CTextTable("DialogPortProperties").Lookup(windowText(window())));
}

bool PortSheet::edit(PortConfig& config) {
    showConfig(config);
    if (!runModal()) return false;
    storeConfig(config);
    return true;
}

void PortSheet::showConfig(const PortConfig& config) {
    main_->setData(pageData(config));
    main_->setCheckedGroups(config.targetIds);
    template_->setJobTemplate(config.jobTemplate);
}

void PortSheet::storeConfig(PortConfig& config) const {
    CheckedGroups groups = main_->checkedGroups();
    groups.keepGroupsOf(directory_);
    storePageData(main_->data(), groups.ids(), config);
    config.jobTemplate = template_->jobTemplate();
}

CDialogNewPort::CDialogNewPort(HWND parent, CGroupsDB& directory, std::string server,
                               const SpoolerFunctions& spooler)
    : PortSheet(parent, directory, spooler) {
    mainPage().setServer(std::move(server));
}

void CDialogNewPort::showConfig(const PortConfig& config) {
    PortConfig start = config;
    start.singleTarget = 1;
    start.jobTemplate = JobTemplate();
    PortSheet::showConfig(start);
}

CDialogConfigPort::CDialogConfigPort(HWND parent, CGroupsDB& directory,
                                     const SpoolerFunctions& spooler)
    : PortSheet(parent, directory, spooler) {
    mainPage().lockName();
}

}  // namespace velmora
