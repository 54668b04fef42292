#include "bench/prompt_job.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

#include "harness/printing.h"
#include "monitor/delivery_output.h"
#include "monitor/jobs/ipp_delivery.h"
#include "monitor/jobs/port_job.h"

namespace velmora::bench {
namespace {

[[noreturn]] void stop(const char* what) {
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

}  // namespace

std::unique_ptr<Delivery> connectOrStop(const DeliveryOrder& order,
                                        const ConnectionOptions& options) {
    auto delivery = connectToPrinter(order, testing::newPortTemplate(), options);
    if (delivery == nullptr || delivery->failed()) stop("a printer is not reached");
    return delivery;
}

void printPromptly(const std::string& url, std::size_t printers, const std::string& document,
                   std::size_t callSize, Pace pace, const Policy& policy) {
    ConnectionOptions options;
    options.promptDelivery = pace == Pace::prompt;
    const std::vector targets(printers, testing::targetOf(url));
    PortJob job({1, "Document", nullptr}, [](const JobInfo&) {});
    job.recordIn(newJobRecord(policy, "Port", 1, L"Document", targets));
    const Connect connect = [&options](const DeliveryOrder& order) {
        return connectOrStop(order, options);
    };
    if (!job.start(connect, targets, AfterJob::close, pace)) stop("the job does not start");
    auto left = std::as_bytes(std::span(document));
    while (!left.empty()) {
        const auto call = left.first(std::min(callSize, left.size()));
        std::uint32_t accepted = 0;
        if (!job.write(call, accepted)) stop("the job fails");
        left = left.subspan(call.size());
    }
}

}  // namespace velmora::bench
