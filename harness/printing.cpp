#include "harness/printing.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "ipp/job_template.h"

namespace velmora::testing {

std::string testDocument(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    const std::string_view start = std::string_view("%!").substr(0, size);
    std::ranges::copy(start, bytes.begin());
    return bytes;
}

PrintTarget targetOf(const std::string& url) {
    PrintTarget target;
    target.url = url;
    return target;
}

const JobTemplate& newPortTemplate() {
    static const JobTemplate values;
    return values;
}

ConnectionOptions& connectionOptions() {
    static ConnectionOptions options;
    return options;
}

bool sendDocument(IppConnection& connection, const std::string& document) {
    const std::size_t piece = connectionOptions().promptDelivery ? 64 * 1024 : 1024;
    for (std::size_t at = 0; at < document.size(); at += piece) {
        connection.writeData(document.data() + at, std::min(piece, document.size() - at));
        if (connection.lastError() != 0) return false;
    }
    return connection.finish();
}

std::unique_ptr<IppConnection> startJob(const PrintTarget& target, const std::string& name,
                                        const ConnectionOptions& options) {
    return SendPrintJob(target, name, newPortTemplate(), options);
}

bool printDocument(const PrintTarget& target, const std::string& document, const std::string& name,
                   const JobTemplate& values) {
    const auto connection = SendPrintJob(target, name, values, connectionOptions());
    return connection && connection->lastError() == 0 && sendDocument(*connection, document);
}

bool printDocument(const PrintTarget& target, const std::string& document,
                   const std::string& name) {
    return printDocument(target, document, name, newPortTemplate());
}

}  // namespace velmora::testing
