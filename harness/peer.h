#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace velmora::testing {

/// One program of harness/peers that runs on the host as long as this object lives. The test must
/// be declared with PEERS (tests/CMakeLists.txt). Throws std::runtime_error when it does not start.
class Peer {
  public:
    /// The program's name and its arguments, e.g. "faulty_printer --on 2 closes-in-body".
    explicit Peer(const std::string& commandLine);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// The URL to print to.
    const std::string& url() const { return url_; }

    /// The same URL with another scheme, e.g. "http".
    std::string url(const std::string& scheme) const;

    /// The bytes of a file in the peer's directory. `pattern` is a shell pattern; the last match by
    /// name counts.
    std::optional<std::string> file(const std::string& pattern);

    /// The standard output of a host command, {url} and {directory} in it replaced.
    std::string run(const std::string& command);

  private:
    std::optional<std::string> ask(const std::string& line);
    void send(const std::string& line);
    std::string readLine();
    std::string readBytes(std::size_t size);

    std::uintptr_t socket_;
    std::string url_;
    std::string received_;
};

}  // namespace velmora::testing
