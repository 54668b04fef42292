#include "harness/peer.h"

#include <winsock2.h>

#include <cstdlib>
#include <stdexcept>

namespace velmora::testing {
namespace {

/// A connection to the program that started this test (harness/peers/with_peers.py).
SOCKET connectToHost() {
    const char* port = std::getenv("VELMORA_PEERS");
    if (port == nullptr) throw std::runtime_error("not started by with_peers.py");
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(std::atoi(port)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        closesocket(socket);
        throw std::runtime_error("with_peers.py does not answer");
    }
    return socket;
}

}  // namespace

Peer::Peer(const std::string& commandLine) : socket_(connectToHost()) {
    send(commandLine + "\n");
    url_ = readLine();
    if (url_.empty()) throw std::runtime_error("peer does not start: " + commandLine);
}

Peer::~Peer() {
    closesocket(socket_);
}

std::string Peer::url(const std::string& scheme) const {
    return scheme + url_.substr(url_.find("://"));
}

std::optional<std::string> Peer::file(const std::string& pattern) {
    return ask("file " + pattern + "\n");
}

std::string Peer::run(const std::string& command) {
    return ask("run " + command + "\n").value_or("");
}

std::optional<std::string> Peer::ask(const std::string& line) {
    send(line);
    const long size = std::stol(readLine());
    if (size < 0) return std::nullopt;
    return readBytes(static_cast<std::size_t>(size));
}

void Peer::send(const std::string& line) {
    if (::send(socket_, line.data(), static_cast<int>(line.size()), 0) !=
        static_cast<int>(line.size())) {
        throw std::runtime_error("with_peers.py is gone");
    }
}

std::string Peer::readLine() {
    std::string line;
    for (;;) {
        const std::string next = readBytes(1);
        if (next == "\n") return line;
        line += next;
    }
}

std::string Peer::readBytes(std::size_t size) {
    char area[65536];
    while (received_.size() < size) {
        const int count = recv(socket_, area, sizeof area, 0);
        if (count <= 0) throw std::runtime_error("with_peers.py is gone");
        received_.append(area, static_cast<std::size_t>(count));
    }
    std::string bytes = received_.substr(0, size);
    received_.erase(0, size);
    return bytes;
}

}  // namespace velmora::testing
