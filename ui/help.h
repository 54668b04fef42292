#pragma once

#include <array>
#include <span>

namespace velmora {

/// One section of the help, about one control or several.
struct HelpTopic {
    /// Section and key in the settings file. A lookup returns at most 1,023 bytes, so the help of a
    /// page has several keys.
    const char* section;
    const char* key;
    /// The built-in text: a heading, a line feed, and the explanation.
    const char* text;
    std::array<int, 4> controls;  ///< unused entries are 0
};

// The topics of each page and dialog, in the order in which they are read.
std::span<const HelpTopic> portMainHelp();
std::span<const HelpTopic> jobTemplateHelp();
std::span<const HelpTopic> printerGroupsHelp();
std::span<const HelpTopic> printerDialogHelp();
std::span<const HelpTopic> newPrinterHelp();

/// The topics to show for `control`: its own, or all of them if it has none (0 is no control).
std::span<const HelpTopic> helpFor(int control, std::span<const HelpTopic> topics);

}  // namespace velmora
