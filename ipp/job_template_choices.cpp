#include "ipp/job_template_choices.h"

namespace velmora {
namespace {

constexpr const char* kHoldUntil[] = {
    "no-hold", "indefinite", "day-time",     "evening",
    "night",   "weekend",    "second-shift", "third-shift",
};

// Older printers know the sides by other names; each is sent as it was chosen.
constexpr const char* kSides[] = {
    "one-sided", "two-sided-long-edge", "duplex", "head-to-head", "two-sided-short-edge",
    "tumble",    "head-to-toe",
};

constexpr const char* kMedia[] = {
    "Letter",  "Legal",   "Executive",   "Folio",        "A4",      "JIS B5",
    "ISO B5",  "A5",      "Com 10 Env.", "Monarch Env.", "DL Env.", "Custom Paper Size",
    "C5 Env.", "Post A6", "C6",          "STS",          "A6",
};

constexpr NumberChoice kResolutions[] = {
    {"300 dpi", 300},
    {"600 dpi", 600},
    {"1200 dpi", 1200},
};

// RFC 2911, 4.2.6, with the corner and edge values of the finishings registrations.
constexpr NumberChoice kFinishings[] = {
    {"none", 3},
    {"staple", 4},
    {"punch", 5},
    {"cover", 6},
    {"bind", 7},
    {"saddle-stitch", 8},
    {"edge-stitch", 9},
    {"staple-top-left", 20},
    {"staple-bottom-left", 21},
    {"staple-top-right", 22},
    {"staple-bottom-right", 23},
    {"edge-stitch-left", 24},
    {"edge-stitch-top", 25},
    {"edge-stitch-right", 26},
    {"edge-stitch-bottom", 27},
    {"staple-dual-left", 28},
    {"staple-dual-top", 29},
    {"staple-dual-right", 30},
    {"staple-dual-bottom", 31},
};

constexpr NumberChoice kQualities[] = {{"draft", 3}, {"normal", 4}, {"high", 5}};

constexpr NumberChoice kOrientations[] = {
    {"portrait", 3}, {"landscape", 4}, {"reverse-landscape", 5}, {"reverse-portrait", 6}};

constexpr const char* kDocumentHandlings[] = {
    "single-document", "separate-documents-uncollated-copies", "separate-documents-collated-copies",
    "single-document-new-sheet"};

constexpr const char* kJobSheets[] = {"none", "standard"};

constexpr const char* kStandardSides[] = {"one-sided", "two-sided-long-edge",
                                          "two-sided-short-edge"};

constexpr NumberChoice kNumberUp[] = {{"1", 1}, {"2", 2}, {"4", 4}};

}  // namespace

std::span<const char* const> holdUntilChoices() {
    return kHoldUntil;
}
std::span<const char* const> sidesChoices() {
    return kSides;
}
std::span<const char* const> mediaChoices() {
    return kMedia;
}
std::span<const NumberChoice> resolutionChoices() {
    return kResolutions;
}
std::span<const NumberChoice> finishingsChoices() {
    return kFinishings;
}
std::span<const NumberChoice> numberUpChoices() {
    return kNumberUp;
}
std::span<const NumberChoice> qualityChoices() {
    return kQualities;
}
std::span<const NumberChoice> orientationChoices() {
    return kOrientations;
}
std::span<const char* const> documentHandlingChoices() {
    return kDocumentHandlings;
}
std::span<const char* const> jobSheetsChoices() {
    return kJobSheets;
}
std::span<const char* const> standardSidesChoices() {
    return kStandardSides;
}

}  // namespace velmora
