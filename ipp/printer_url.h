#pragma once

#include <string>

namespace velmora {

/// Whether the platform's URL cracker takes `url`, as it is or, when it only misses a known
/// scheme, with "ipp://" in front of it (which must then yield a host name). InternetCrackUrlA.
bool IsValidPrinterUrl(const std::string& url);

}  // namespace velmora
