#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "harness/wininet/import_patch.h"
#include "harness/wininet/wininet_functions.h"

namespace velmora::testing {

/// A WinInet without a network: takes every call of this process, records it as a line of text,
/// and answers as the test says. Handles are "root", "connection" and "request". URLs are cracked
/// by the platform. Pauses (Sleep) are recorded among the calls and take no time.
/// At most one lives at a time; calls from other threads are not supported.
class FakeWinInet {
  public:
    struct Answer {
        std::string status = "200";
        std::string body = {};
        std::size_t pieceSize = 1024;  ///< what one InternetReadFile gives at most
    };

    FakeWinInet();
    ~FakeWinInet();
    FakeWinInet(const FakeWinInet&) = delete;
    FakeWinInet& operator=(const FakeWinInet&) = delete;

    /// The calls in their order, e.g. `HttpEndRequestA(request, null, 0, 0)`.
    std::vector<std::string> calls;
    /// The bytes of each InternetWriteFile.
    std::vector<std::string> writes;
    /// One for each answer, consumed by HttpQueryInfoA; the last one is used again.
    std::deque<Answer> answers{Answer{}};
    /// Results of InternetErrorDlg; without one it returns 0.
    std::deque<DWORD> dialogResults;

    /// Gives the next call of the function that has no result yet this one: it fails with the code
    /// (0: it succeeds).
    void fail(const std::string& function, DWORD error) { failures_[function].push_back(error); }

    /// The number of calls of the function.
    std::size_t count(const std::string& function) const;
    /// Handles that were made and not closed.
    int openHandles() const { return openHandles_; }
    /// What the document bytes were: all writes since the last HttpSendRequestExA, in one piece.
    std::string body() const;

  private:
    struct Calls;
    friend struct Calls;

    bool allowed(const std::string& function);

    WinInetFunctions platform_;
    std::map<std::string, std::deque<DWORD>> failures_;
    std::size_t firstWriteOfRequest_ = 0;
    std::size_t readPosition_ = 0;
    Answer answer_;
    int openHandles_ = 0;
    ImportPatch sleep_;
};

}  // namespace velmora::testing
