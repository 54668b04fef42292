#include "port/port_config.h"

#include "platform/byte_io.h"

namespace velmora {

std::size_t packedSize(const PortConfig& config) noexcept {
    const JobTemplate& job = config.jobTemplate;
    constexpr std::size_t kTexts = 10;
    constexpr std::size_t kFlags = 3;
    constexpr std::size_t kNumbers = 10;
    return config.name.size() + config.printer.url.size() + config.printer.userName.size() +
           config.printer.password.size() + job.jobHoldUntil.size() + job.pageRanges.size() +
           job.media.size() + job.sides.size() + job.multipleDocumentHandling.size() +
           job.jobSheets.size() + kTexts + kFlags +
           (kNumbers + config.targetIds.size()) * sizeof(std::uint32_t);
}

PackedPortConfig pack(const PortConfig& config) {
    PackedPortConfig block(packedSize(config));
    ByteWriter out(block.data());
    out.text(config.name);
    out.u8(config.singleTarget);
    out.text(config.printer.url);
    out.u8(config.printer.useAuthentication);
    out.text(config.printer.userName);
    out.text(config.printer.password);
    out.u32(static_cast<std::uint32_t>(config.targetIds.size()));
    for (const std::uint32_t id : config.targetIds)
        out.u32(id);

    const JobTemplate& job = config.jobTemplate;
    out.u32(job.jobPriority);
    out.text(job.jobHoldUntil);
    out.u32(job.copies);
    out.u32(job.printerResolution.crossFeed);
    out.u32(job.printerResolution.feed);
    out.u32(job.printerResolution.units);
    out.u32(job.printQuality);
    out.text(job.pageRanges);
    out.text(job.media);
    out.u32(job.orientationRequested);
    out.u32(job.numberUp);
    out.text(job.sides);
    out.text(job.multipleDocumentHandling);
    out.u32(job.finishings);
    out.text(job.jobSheets);
    out.u8(job.ippAttributeFidelity);
    return block;
}

std::optional<PortConfig> unpack(std::span<const std::byte> block) {
    ByteReader in(block);
    PortConfig config;
    config.name = in.text();
    config.singleTarget = in.u8();
    config.printer.url = in.text();
    config.printer.useAuthentication = in.u8();
    config.printer.userName = in.text();
    config.printer.password = in.text();
    const std::uint32_t count = in.u32();
    // A count that the block cannot hold must not decide how much memory is asked for.
    if (!in.ok() || count > in.remaining() / sizeof(std::uint32_t)) return std::nullopt;
    config.targetIds.resize(count);
    for (std::uint32_t& id : config.targetIds)
        id = in.u32();

    JobTemplate& job = config.jobTemplate;
    job.jobPriority = in.u32();
    job.jobHoldUntil = in.text();
    job.copies = in.u32();
    job.printerResolution.crossFeed = in.u32();
    job.printerResolution.feed = in.u32();
    // The record has a word for the units, of which only the low byte means anything.
    job.printerResolution.units = static_cast<std::uint8_t>(in.u32());
    job.printQuality = in.u32();
    job.pageRanges = in.text();
    job.media = in.text();
    job.orientationRequested = in.u32();
    job.numberUp = in.u32();
    job.sides = in.text();
    job.multipleDocumentHandling = in.text();
    job.finishings = in.u32();
    job.jobSheets = in.text();
    job.ippAttributeFidelity = in.u8();
    if (!in.ok()) return std::nullopt;
    return config;
}

}  // namespace velmora
