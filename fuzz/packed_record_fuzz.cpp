#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "fuzz/require.h"
#include "harness/packed_record_model.h"
#include "port/port_config.h"

// Any bytes, as a port's packed record: taken, refused, stored and written as the model does it.

namespace {

using namespace velmora;
using namespace velmora::testing;

ModelRecord modelOf(const PortConfig& port) {
    const JobTemplate& job = port.jobTemplate;
    const auto& dots = job.printerResolution;
    return {.name = port.name,
            .singleTarget = port.singleTarget,
            .printerUrl = port.printer.url,
            .useAuthentication = port.printer.useAuthentication,
            .userName = port.printer.userName,
            .password = port.printer.password,
            .targetIds = port.targetIds,
            .jobPriority = job.jobPriority,
            .jobHoldUntil = job.jobHoldUntil,
            .copies = job.copies,
            .printerResolution = {dots.crossFeed, dots.feed, dots.units},
            .printQuality = job.printQuality,
            .pageRanges = job.pageRanges,
            .media = job.media,
            .orientationRequested = job.orientationRequested,
            .numberUp = job.numberUp,
            .sides = job.sides,
            .multipleDocumentHandling = job.multipleDocumentHandling,
            .finishings = job.finishings,
            .jobSheets = job.jobSheets,
            .ippAttributeFidelity = job.ippAttributeFidelity};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A block of its own, so that a byte read after it is noticed.
    const FlatBytes bytes(data, data + size);
    const std::optional<PortConfig> port = unpack(std::as_bytes(std::span(bytes)));
    const std::optional<ModelRecord> model = modelUnpacked(bytes);
    require(port.has_value() == model.has_value());
    if (!port) return 0;
    require(modelOf(*port) == *model);

    const PackedPortConfig packed = pack(*port);
    require(packed.size() == packedSize(*port));
    const auto* const octets = reinterpret_cast<const std::uint8_t*>(packed.data());
    require(FlatBytes(octets, octets + packed.size()) == modelPacked(*model));
    require(unpack(packed) == port);
    // One byte less is not a record.
    require(!unpack(std::span(packed).first(packed.size() - 1)));
    return 0;
}
