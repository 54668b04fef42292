#pragma once

#include <cstdint>
#include <string>

namespace velmora {

struct JobTemplate;

/// The job template as the controls of its page show it: texts, check marks and positions in the
/// lists of job_template_choices.h. A position is -1 if nothing is selected, as for a value that
/// the list or radio group lacks.
struct JobTemplateForm {
    static constexpr int kAllPages = 0;
    static constexpr int kSomePages = 1;

    int priority = 0;
    int copies = 0;
    std::string pageRanges;
    int pageRangeIndex = -1;    ///< kAllPages or kSomePages
    int qualityIndex = -1;      ///< draft, normal, high
    int orientationIndex = -1;  ///< portrait, landscape, reverse-landscape, reverse-portrait
    int jobSheet = 0;           ///< 1: checked
    int fidelity = 0;           ///< 1: checked

    int holdUntil = -1;
    int resolution = -1;
    int sides = -1;
    int finishings = -1;
    int media = -1;
    int numberUp = -1;

    bool operator==(const JobTemplateForm&) const = default;
};

constexpr int kMinPriority = 1;
constexpr int kMaxPriority = 100;
constexpr int kMinCopies = 1;
constexpr int kMaxCopies = 2147483647;  ///< RFC 2911, 4.2.5: integer(1:MAX)

JobTemplateForm formOf(const JobTemplate& record);

/// Writes a checked form back. If nothing is selected the record keeps its value: a printer may
/// know keywords and numbers that the page cannot show.
void store(const JobTemplateForm& form, JobTemplate& record);

/// Whether leaving the page has to check the page-range text.
bool needsPageRangeCheck(const JobTemplateForm& form) noexcept;

}  // namespace velmora
