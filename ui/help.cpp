#include "ui/help.h"

#include <algorithm>

#include "ui/resources/resource_ids.h"

namespace velmora {
namespace {

constexpr const char* kCommon = "Help";
constexpr const char* kMain = "HelpPagePortMain";
constexpr const char* kTemplate = "HelpPageJobTemplate";
constexpr const char* kGroups = "HelpPagePrinterGroups";
constexpr const char* kDialogs = "HelpPrinterDialogs";

constexpr HelpTopic urlTopic(int control) {
    return {kCommon,
            "URL",
            "URL\n"
            "The address of the printer. Examples:\n"
            "ipp://printer1/ipp/print - port 631, not encrypted\n"
            "http://printer1:631/ipp/print - port 80 if none is given, not encrypted\n"
            "https://printer1:631/ipp/print - port 443 if none is given, encrypted\n"
            "printer1/ipp/print - the same as ipp://printer1/ipp/print\n"
            "ipps:// and HTTPS:// in capitals are not encrypted; write https:// in small letters. "
            "The name of the computer may have 127 characters, the path 511.",
            {control}};
}

constexpr HelpTopic authenticationTopic(std::array<int, 4> controls) {
    return {kCommon, "Authentication",
            "Authentication\n"
            "Tick the box if the printer asks for a user name and a password. Both are stored as "
            "they are and sent with each job; only https:// hides them on the network. Without "
            "the tick they are not stored.",
            controls};
}

constexpr HelpTopic kPortMainHelp[] = {
    {kMain,
     "Port",
     "Port\n"
     "Each job that is printed to the port goes to one printer, or to all printers of the "
     "groups that are ticked. Nothing is stored before OK; Cancel leaves everything as it was.",
     {}},
    {kMain,
     "Name",
     "Name\n"
     "The name under which Windows lists the port. Upper and lower case are different. No "
     "other port of the computer may have the name, and it cannot be changed later.",
     {IDC_PORT_NAME}},
    {kMain,
     "Target",
     "Printing target\n"
     "Single Printer: a job goes to the printer with the URL.\n"
     "Multi-remote Printing: a job goes to every printer of the ticked groups, and is kept "
     "until the slowest of them has it.\n"
     "Only what belongs to the chosen target is stored with the port: the URL, the user name "
     "and the password, or the groups.",
     {IDC_PORT_SINGLE, IDC_PORT_MULTI}},
    urlTopic(IDC_PORT_URL),
    authenticationTopic({IDC_PORT_AUTHENTICATION, IDC_PORT_USER_NAME, IDC_PORT_PASSWORD}),
    {kMain,
     "Groups",
     "Groups\n"
     "The groups of the page Printer Groups. The second column shows how many printers a "
     "group has, those of the groups inside it included.",
     {IDC_PORT_GROUPS}},
    {kMain,
     "Limits",
     "Limits\n"
     "Name, URL, user name, password and page ranges of a port may take 1,024 bytes together; "
     "the dialog cannot show a port with more. All texts are in the code page of the system: "
     "the page cannot be left while a text has another character, since a password that was "
     "changed would be refused by the printer.",
     {}},
};

constexpr HelpTopic kJobTemplateHelp[] = {
    {kTemplate,
     "Attributes",
     "Job template\n"
     "These attributes are sent with every job of the port. A printer ignores what it does "
     "not support, unless all attributes are mandatory. A list in which nothing is selected "
     "keeps the value that it had.",
     {}},
    {kTemplate,
     "Priority",
     "Priority\n"
     "A number from 1 to 100. Jobs with a higher number are printed first.",
     {IDC_JOB_PRIORITY}},
    {kTemplate,
     "Resolution",
     "Resolution\n"
     "Dots per inch, across and along the paper.",
     {IDC_JOB_RESOLUTION}},
    {kTemplate,
     "Hold until",
     "Hold until\n"
     "When the job may be printed: at once (no-hold), after somebody has released it at the "
     "printer (indefinite), or in the period that is named. The printer decides when that "
     "begins.",
     {IDC_JOB_HOLD_UNTIL}},
    {kTemplate,
     "Quality",
     "Quality\n"
     "Draft saves ink and time, high takes more of both.",
     {IDC_JOB_QUALITY_DRAFT, IDC_JOB_QUALITY_NORMAL, IDC_JOB_QUALITY_HIGH}},
    {kTemplate,
     "Sides",
     "Sides\n"
     "One side of the sheet or both. Bound at the long edge: two-sided-long-edge, duplex, "
     "head-to-head. Bound at the short edge: two-sided-short-edge, tumble, head-to-toe. The "
     "names after the first are for older printers.",
     {IDC_JOB_SIDES}},
    {kTemplate,
     "Finishings",
     "Finishings\n"
     "What is done with the printed sheets, and at which edge or corner.",
     {IDC_JOB_FINISHINGS}},
    {kTemplate,
     "Page Range",
     "Page range\n"
     "All pages, or only those given here: numbers and ranges, separated by commas. Example: "
     "1,3,5-12",
     {IDC_JOB_PAGES_ALL, IDC_JOB_PAGES_RANGE, IDC_JOB_PAGES_TEXT}},
    {kTemplate,
     "Copies",
     "Copies\n"
     "How often the document is printed, from 1 to 2147483647.",
     {IDC_JOB_COPIES}},
    {kTemplate,
     "Media",
     "Media\n"
     "The paper or envelope on which the job is printed.",
     {IDC_JOB_MEDIA}},
    {kTemplate,
     "Orientation",
     "Orientation\n"
     "Portrait and landscape, also turned by half a turn. It concerns documents that have no "
     "pages of their own, such as plain text.",
     {IDC_JOB_PORTRAIT, IDC_JOB_LANDSCAPE, IDC_JOB_REVERSE_LANDSCAPE, IDC_JOB_REVERSE_PORTRAIT}},
    {kTemplate,
     "Pages per Sheet",
     "Pages per sheet\n"
     "How many pages are put on one side of a sheet.",
     {IDC_JOB_NUMBER_UP}},
    {kTemplate,
     "Job sheet",
     "Job sheet\n"
     "The printer adds its own cover page to the job.",
     {IDC_JOB_SHEET}},
    {kTemplate,
     "Mandatory",
     "All attributes are mandatory\n"
     "The printer refuses a job that it cannot print exactly as told here. Without the tick "
     "it prints the job as well as it can.",
     {IDC_JOB_FIDELITY}},
};

constexpr HelpTopic kPrinterGroupsHelp[] = {
    {kGroups,
     "Groups",
     "Printer groups\n"
     "The printers of this computer for ports with Multi-remote Printing, sorted into groups. "
     "A group can have other groups inside it. Changes are stored when OK is pressed; if two "
     "of these windows are open, the last one that is closed with OK wins.",
     {}},
    {kGroups,
     "Tree",
     "Tree\n"
     "F2 renames, Delete removes, Enter or a double click opens the properties of a printer. "
     "Ctrl+X, Ctrl+C and Ctrl+V cut, copy and paste. Drag with the mouse to move, and hold "
     "Ctrl to copy. The right mouse button and the Menu key open a menu.",
     {IDC_GROUPS_TREE}},
    {kGroups,
     "New",
     "New group, new printer\n"
     "Both are made in the selected group. Names in a group are different from each other and "
     "have at most 1,023 bytes, all in the code page of the system.",
     {IDC_GROUPS_NEW_GROUP, IDC_GROUPS_NEW_PRINTER}},
    {kGroups,
     "Delete",
     "Delete\n"
     "Removes the selected printer, or the selected group with everything in it. Ports that "
     "print to such a group skip it.",
     {IDC_GROUPS_DELETE}},
    {kGroups,
     "Properties",
     "Properties\n"
     "Name, URL and authentication of the selected printer.",
     {IDC_GROUPS_PROPERTIES}},
};

constexpr HelpTopic kPrinterName = {
    kDialogs,
    "Name",
    "Name\n"
    "The name of the printer in its group. No other printer or group there may "
    "have it.",
    {IDC_PRINTER_NAME}};
constexpr HelpTopic kPrinterUrl = urlTopic(IDC_PRINTER_URL);
constexpr HelpTopic kPrinterAuthentication =
    authenticationTopic({IDC_PRINTER_AUTHENTICATION, IDC_PRINTER_USER_NAME, IDC_PRINTER_PASSWORD});
constexpr HelpTopic kPatterns = {
    kDialogs,
    "Patterns",
    "Patterns\n"
    "The printers of the ports of this computer. Select one and press the button below "
    "the list, or double-click it, to take over its name, URL, user name and password.",
    {IDC_PRINTER_PATTERNS, IDC_PRINTER_COPY_PATTERN}};
constexpr HelpTopic kPrinterLimits = {
    kDialogs,
    "Limits",
    "Limits\n"
    "Each text may have 1,023 bytes. All texts are in the code page of the system: OK refuses "
    "a text with another character.",
    {}};

constexpr HelpTopic kPrinterDialogHelp[] = {kPrinterName, kPrinterUrl, kPrinterAuthentication,
                                            kPrinterLimits};
constexpr HelpTopic kNewPrinterHelp[] = {kPrinterName, kPrinterUrl, kPrinterAuthentication,
                                         kPatterns, kPrinterLimits};

}  // namespace

std::span<const HelpTopic> portMainHelp() {
    return kPortMainHelp;
}

std::span<const HelpTopic> jobTemplateHelp() {
    return kJobTemplateHelp;
}

std::span<const HelpTopic> printerGroupsHelp() {
    return kPrinterGroupsHelp;
}

std::span<const HelpTopic> printerDialogHelp() {
    return kPrinterDialogHelp;
}

std::span<const HelpTopic> newPrinterHelp() {
    return kNewPrinterHelp;
}

std::span<const HelpTopic> helpFor(int control, std::span<const HelpTopic> topics) {
    if (control == 0) return topics;
    for (std::size_t i = 0; i < topics.size(); ++i) {
        const auto& controls = topics[i].controls;
        if (std::find(controls.begin(), controls.end(), control) != controls.end())
            return topics.subspan(i, 1);
    }
    return topics;
}

}  // namespace velmora
