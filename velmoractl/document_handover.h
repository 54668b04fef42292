#pragma once

#include <windows.h>
// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <winspool.h>
#undef AddPrinter

#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "platform/handle.h"

namespace velmora::ctl {

using UniquePrinter = UniqueHandle<HANDLE, ClosePrinter>;

/// A document on its way to the spooler, in a thread of its own: whatever blocks there, including a
/// password dialog that nobody sees, does not block the caller.
///
/// Half a document is never printed as a whole one. The job of a queue is paused until the spooler
/// has all of it. The job of a port that is written to directly is not ended, and its handle stays
/// open until this process ends: closing it would end the document.
class DocumentHandover {
  public:
    enum class To { queue, port };

    /// Begins at once. `title` is in the ANSI code page; messages begin with `what`.
    DocumentHandover(UniquePrinter printer, To to, std::string title, std::ifstream file,
                     std::string what);
    /// A document that is not complete is left as it is.
    ~DocumentHandover();
    DocumentHandover(const DocumentHandover&) = delete;
    DocumentHandover& operator=(const DocumentHandover&) = delete;

    struct Progress {
        std::uint32_t job = 0;    ///< the spooler's number; 0: it has not begun
        std::uint64_t bytes = 0;  ///< that the spooler has accepted
        bool ended = false;
    };
    /// The progress, after `limit` or when it has ended. Throws the CommandError that ended it.
    Progress wait(std::chrono::milliseconds limit);

    /// Gives up. True if nothing will be printed as a whole document: the job is deleted or was
    /// never ended. False if the spooler has all of it, and prints it, or does not delete the job,
    /// which then stays paused.
    bool takeBack();
    /// takeBack() for another thread, which may outlive this object, since the spooler may block
    /// it.
    std::function<bool()> taker() const;

    /// Whether the spooler has let the job begin.
    bool begun() const;

    /// The printer's handle, once everything has succeeded.
    UniquePrinter takePrinter();

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace velmora::ctl
