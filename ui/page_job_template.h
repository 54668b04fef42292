#pragma once

#include <span>
#include <string>

#include "ipp/job_template.h"
#include "ui/job_template_form.h"
#include "ui/kit/combo_list.h"
#include "ui/kit/property_page.h"
#include "ui/text_table.h"

namespace velmora {

/// The page of both port sheets that edits the attributes sent with each of the port's jobs.
class CPageJobTemplate : public PropertyPage {
  public:
    CPageJobTemplate();

    /// Before the sheet runs; without it the page starts with the record of a new port.
    void setJobTemplate(const JobTemplate& record) { record_ = record; }
    /// The record when the page was last left.
    const JobTemplate& jobTemplate() const noexcept { return record_; }

  protected:
    void onInit() override;
    bool onCommand(int id, int code) override;
    void onHelp(int control) override;
    std::optional<LRESULT> onNotify(NMHDR& header) override;
    bool onDeactivate() override;
    void exchange(DataExchange& data) override;

  private:
    void fillLists();
    void selectItems() const;
    void readSelections();

    CTextTable texts_;
    JobTemplate record_;
    JobTemplateForm form_;
    ComboTips tips_;
};

}  // namespace velmora
