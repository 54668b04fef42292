#pragma once

#include "harness/wininet/wininet_functions.h"

namespace velmora::testing {

/// A WinInet whose printers all take every request at once and answer "successful-ok".
/// For jobs of the built library, from any number of threads; its calls take no memory. URLs are
/// cracked by the platform.
/// Made before the library is loaded, by a program whose own folder holds `wininet_stand_in`, with
/// WINEDLLOVERRIDES naming wininet as n,b.
class InstantPrinters {
  public:
    /// Throws std::runtime_error when the stand-in does not load.
    InstantPrinters();
    ~InstantPrinters();
    InstantPrinters(const InstantPrinters&) = delete;
    InstantPrinters& operator=(const InstantPrinters&) = delete;

    /// Handles that were opened and not closed.
    static int openHandles() noexcept;
    /// Requests that have ended (HttpEndRequestA): two for each job and printer.
    static int requests() noexcept;

  private:
    WinInetFunctions platform_;
};

}  // namespace velmora::testing
