#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "harness/flat_bytes_model.h"

namespace velmora::testing {

// A second implementation of a port's packed record for tests to compare with: field by field in
// the order in which they are stored, written for clarity and not for speed. It includes nothing of
// the product.

struct ModelRecord {
    std::string name;
    std::uint8_t singleTarget = 0;
    std::string printerUrl;
    std::uint8_t useAuthentication = 0;
    std::string userName;
    std::string password;
    std::vector<std::uint32_t> targetIds;
    std::uint32_t jobPriority = 0;
    std::string jobHoldUntil;
    std::uint32_t copies = 0;
    std::array<std::uint32_t, 3> printerResolution{};  ///< cross-feed, feed, units
    std::uint32_t printQuality = 0;
    std::string pageRanges;
    std::string media;
    std::uint32_t orientationRequested = 0;
    std::uint32_t numberUp = 0;
    std::string sides;
    std::string multipleDocumentHandling;
    std::uint32_t finishings = 0;
    std::string jobSheets;
    std::uint8_t ippAttributeFidelity = 0;

    bool operator==(const ModelRecord&) const = default;
};

/// Empty if the bytes end before the record does; bytes after the record are ignored.
inline std::optional<ModelRecord> modelUnpacked(const FlatBytes& bytes) {
    FlatReader in(bytes);
    ModelRecord record;
    record.name = in.text();
    record.singleTarget = in.byte();
    record.printerUrl = in.text();
    record.useAuthentication = in.byte();
    record.userName = in.text();
    record.password = in.text();
    const std::uint32_t count = in.number();
    for (std::uint32_t i = 0; i < count && !in.ended; ++i)
        record.targetIds.push_back(in.number());
    record.jobPriority = in.number();
    record.jobHoldUntil = in.text();
    record.copies = in.number();
    record.printerResolution[0] = in.number();
    record.printerResolution[1] = in.number();
    record.printerResolution[2] = in.number() % 256;  // only the low byte counts
    record.printQuality = in.number();
    record.pageRanges = in.text();
    record.media = in.text();
    record.orientationRequested = in.number();
    record.numberUp = in.number();
    record.sides = in.text();
    record.multipleDocumentHandling = in.text();
    record.finishings = in.number();
    record.jobSheets = in.text();
    record.ippAttributeFidelity = in.byte();
    if (in.ended) return {};
    return record;
}

inline FlatBytes modelPacked(const ModelRecord& record) {
    FlatBytes out;
    putText(out, record.name);
    putByte(out, record.singleTarget);
    putText(out, record.printerUrl);
    putByte(out, record.useAuthentication);
    putText(out, record.userName);
    putText(out, record.password);
    putNumber(out, static_cast<std::uint32_t>(record.targetIds.size()));
    for (const std::uint32_t id : record.targetIds)
        putNumber(out, id);
    putNumber(out, record.jobPriority);
    putText(out, record.jobHoldUntil);
    putNumber(out, record.copies);
    for (const std::uint32_t part : record.printerResolution)
        putNumber(out, part);
    putNumber(out, record.printQuality);
    putText(out, record.pageRanges);
    putText(out, record.media);
    putNumber(out, record.orientationRequested);
    putNumber(out, record.numberUp);
    putText(out, record.sides);
    putText(out, record.multipleDocumentHandling);
    putNumber(out, record.finishings);
    putText(out, record.jobSheets);
    putByte(out, record.ippAttributeFidelity);
    return out;
}

}  // namespace velmora::testing
