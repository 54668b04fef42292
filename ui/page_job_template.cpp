#include "ui/page_job_template.h"

#include "ipp/job_template_choices.h"
#include "ipp/page_ranges.h"
#include "ui/help_window.h"
#include "ui/interface_host.h"
#include "ui/kit/data_exchange.h"
#include "ui/kit/window.h"
#include "ui/resources/resource_ids.h"

namespace velmora {
namespace {

constexpr const char* kSection = "PageJobTemplate";

/// The list that shows each selection of the form.
struct List {
    int id;
    int JobTemplateForm::*selection;
};

constexpr List kLists[] = {
    {IDC_JOB_HOLD_UNTIL, &JobTemplateForm::holdUntil},
    {IDC_JOB_RESOLUTION, &JobTemplateForm::resolution},
    {IDC_JOB_SIDES, &JobTemplateForm::sides},
    {IDC_JOB_FINISHINGS, &JobTemplateForm::finishings},
    {IDC_JOB_MEDIA, &JobTemplateForm::media},
    {IDC_JOB_NUMBER_UP, &JobTemplateForm::numberUp},
};

bool arePageRanges(const std::string& text) {
    return PageRanges::parse(text).has_value();
}

void fill(const ComboList& list, std::span<const char* const> keywords) {
    for (const char* keyword : keywords)
        list.append(lookupString(keyword));
}

void fill(const ComboList& list, std::span<const NumberChoice> choices) {
    for (const NumberChoice& choice : choices)
        list.append(lookupString(choice.text));
}

}  // namespace

CPageJobTemplate::CPageJobTemplate()
    : PropertyPage(IDD_JOB_TEMPLATE, interfaceHost(), CTextTable(kSection).Lookup(kSection)),
      texts_(kSection) {}

void CPageJobTemplate::onInit() {
    form_ = formOf(record_);
    PropertyPage::onInit();
    texts_.TranslateWindow(window());
    addHiddenLabel(control(IDC_JOB_PAGES_TEXT), text(IDC_JOB_PAGES_RANGE));
    fillLists();
    selectItems();
    enable(IDC_JOB_PAGES_TEXT, form_.pageRangeIndex == JobTemplateForm::kSomePages);
}

void CPageJobTemplate::onHelp(int control) {
    showHelp(window(), control, jobTemplateHelp());
}

bool CPageJobTemplate::onCommand(int id, int code) {
    if (code == BN_CLICKED && id == IDC_JOB_PAGES_ALL) {
        enable(IDC_JOB_PAGES_TEXT, false);
        return true;
    }
    if (code == BN_CLICKED && id == IDC_JOB_PAGES_RANGE) {
        enable(IDC_JOB_PAGES_TEXT, true);
        focus(IDC_JOB_PAGES_TEXT);
        return true;
    }
    // The text of a tip may have changed, and a tip would cover the open list.
    if (code == CBN_DROPDOWN || code == CBN_SELCHANGE) tips_.hide();
    return PropertyPage::onCommand(id, code);
}

std::optional<LRESULT> CPageJobTemplate::onNotify(NMHDR& header) {
    if (tips_.answer(header)) return 0;
    return PropertyPage::onNotify(header);
}

bool CPageJobTemplate::onDeactivate() {
    if (!PropertyPage::onDeactivate()) return false;
    readSelections();
    store(form_, record_);
    return true;
}

void CPageJobTemplate::exchange(DataExchange& data) {
    data.integer(IDC_JOB_PRIORITY, form_.priority, kMinPriority, kMaxPriority);
    data.radio(IDC_JOB_QUALITY_DRAFT, form_.qualityIndex);
    data.radio(IDC_JOB_PAGES_ALL, form_.pageRangeIndex);
    data.radio(IDC_JOB_PORTRAIT, form_.orientationIndex);
    data.check(IDC_JOB_SHEET, form_.jobSheet);
    data.text(IDC_JOB_PAGES_TEXT, form_.pageRanges);
    if (data.checking() && needsPageRangeCheck(form_) && !arePageRanges(form_.pageRanges))
        data.refuse({IDS_PAGE_RANGES, IDC_JOB_PAGES_TEXT});
    data.check(IDC_JOB_FIDELITY, form_.fidelity);
    data.integer(IDC_JOB_COPIES, form_.copies, kMinCopies, kMaxCopies);
}

void CPageJobTemplate::fillLists() {
    fill(ComboList(control(IDC_JOB_HOLD_UNTIL)), holdUntilChoices());
    fill(ComboList(control(IDC_JOB_RESOLUTION)), resolutionChoices());
    fill(ComboList(control(IDC_JOB_SIDES)), sidesChoices());
    fill(ComboList(control(IDC_JOB_FINISHINGS)), finishingsChoices());
    fill(ComboList(control(IDC_JOB_MEDIA)), mediaChoices());
    for (const NumberChoice& choice : numberUpChoices())
        ComboList(control(IDC_JOB_NUMBER_UP)).append(choice.text);
    tips_.attach(window());
    for (const List& list : kLists) {
        ComboList(control(list.id)).widenToItems();
        tips_.add(control(list.id));
    }
}

void CPageJobTemplate::selectItems() const {
    for (const List& list : kLists)
        ComboList(control(list.id)).select(form_.*list.selection);
}

void CPageJobTemplate::readSelections() {
    for (const List& list : kLists)
        form_.*list.selection = ComboList(control(list.id)).selection();
}

}  // namespace velmora
