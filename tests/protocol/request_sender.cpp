// Sends one of every kind of request that the product knows, by the product's own functions, with
// job templates that together have every choice and every bound.
//
//   request_sender URL [standard]
//
// With "standard": without names and pages beyond what the standard allows.

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "harness/printing.h"
#include "harness/wininet/import_patch.h"
#include "ipp/job_template.h"
#include "ipp/job_template_choices.h"
#include "ipp/print_job.h"
#include "velmoractl/job_check.h"
#include "velmoractl/printer_jobs.h"

namespace velmora {
namespace {

/// Shorter lists start again, so that the longest one decides how many templates there are.
template <class Choice, std::size_t Size>
const Choice& choice(std::span<const Choice, Size> choices, std::size_t number) {
    return choices[number % choices.size()];
}

JobTemplate templateOfChoices(std::size_t number) {
    JobTemplate values;
    values.jobHoldUntil = choice(holdUntilChoices(), number);
    values.jobSheets = choice(jobSheetsChoices(), number);
    values.multipleDocumentHandling = choice(documentHandlingChoices(), number);
    values.sides = choice(sidesChoices(), number);
    values.media = choice(mediaChoices(), number);
    values.finishings = choice(finishingsChoices(), number).value;
    values.numberUp = choice(numberUpChoices(), number).value;
    values.orientationRequested = choice(orientationChoices(), number).value;
    values.printQuality = choice(qualityChoices(), number).value;
    const std::uint32_t across = choice(resolutionChoices(), number).value;
    values.printerResolution = {across, choice(resolutionChoices(), number / 2).value, 3};
    values.ippAttributeFidelity = number % 2;
    return values;
}

/// The bounds of what people may enter.
std::vector<JobTemplate> templatesOfBounds(bool standard) {
    std::vector<JobTemplate> all;
    for (const std::uint32_t priority : {1u, 100u}) {
        all.emplace_back();
        all.back().jobPriority = priority;
    }
    all.emplace_back();
    all.back().copies = 2147483647;
    std::string many;
    for (int page = 1; page < 400; page += 2)
        many += std::to_string(page) + ",";
    for (const std::string& pages : {std::string("1"), std::string("7-9,1-2, 4"),
                                     std::string("1-2147483647"), many, std::string("no pages")}) {
        all.emplace_back();
        all.back().pageRanges = pages;
    }
    if (!standard) {
        all.emplace_back();
        all.back().pageRanges = "1-2147483648";
    }
    return all;
}

std::vector<JobTemplate> templates(bool standard) {
    std::vector<JobTemplate> all = {JobTemplate()};
    const std::size_t count =
        std::max({holdUntilChoices().size(), jobSheetsChoices().size(),
                  documentHandlingChoices().size(), sidesChoices().size(), mediaChoices().size(),
                  finishingsChoices().size(), numberUpChoices().size(), orientationChoices().size(),
                  qualityChoices().size(), 2 * resolutionChoices().size()});
    for (std::size_t number = 0; number < count; ++number)
        all.push_back(templateOfChoices(number));
    for (JobTemplate& one : templatesOfBounds(standard))
        all.push_back(std::move(one));
    return all;
}

/// In the ANSI code page; with letters of one octet here and of two in UTF-8.
std::vector<std::string> documentNames(bool standard) {
    std::vector<std::string> names = {"Document", "Caf\xE9, \"quoted\"", std::string(255, 'n')};
    if (!standard) {
        names.push_back(std::string(256, 'n'));
        names.push_back(std::string(128, '\xE9'));
    }
    return names;
}

/// Whether everything was sent, whatever the printer answers.
bool sendAll(const std::string& url, bool standard) {
    const testing::ShortPauses shortPauses;
    const PrintTarget target = testing::targetOf(url);
    const std::string document = testing::testDocument(100);
    bool sent = true;
    for (const JobTemplate& values : templates(standard))
        sent = testing::printDocument(target, document, "Document", values) && sent;
    for (const std::string& name : documentNames(standard))
        sent = testing::printDocument(target, document, name) && sent;
    // Like ports for printers with the address of a web server.
    PrintTarget web = target;
    web.url = "http" + url.substr(url.find(':'));
    sent = testing::printDocument(web, document) && sent;

    const ctl::PrinterClient client(target, ctl::PrinterClient::kNoLimit);
    const ctl::PrinterAnswer printer = client.askAttributes();
    if (!printer.message) return false;
    for (const JobTemplate& values : templates(standard)) {
        sent = ctl::checkJob(client, values, *printer.message).outcome ==
                   ctl::JobCheck::Outcome::accepted &&
               sent;
    }
    for (const bool completed : {false, true})
        sent = client.ask(ctl::jobsRequest(target, completed)).message && sent;
    for (const IppOperation operation : {IppOperation::getJobAttributes, IppOperation::cancelJob}) {
        for (const std::uint32_t job : {1u, 2147483647u})
            sent = client.ask(ctl::jobRequest(operation, target, job)).message && sent;
    }
    return sent;
}

}  // namespace
}  // namespace velmora

int main(int count, char** words) {
    const bool standard = count == 3 && words[2] == std::string("standard");
    if (count != 2 && !standard) {
        std::fputs("usage: request_sender URL [standard]\n", stderr);
        return 2;
    }
    return velmora::sendAll(words[1], standard) ? 0 : 1;
}
