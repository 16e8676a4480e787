#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn::test {

inline sockaddr_in loopbackAddress(int port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

/// The server's end of one connection. Every operation ends at the latest when the server does.
class RawConnection {
 public:
  explicit RawConnection(int descriptor) : descriptor_(descriptor) {}

  /// The next whole HTTP request, or "" once the client is gone.
  std::string request() {
    std::string text;
    for (;;) {
      const auto end = text.find("\r\n\r\n");
      if (end != std::string::npos && text.size() >= end + 4 + contentLength(text)) return text;
      char bytes[4096];
      const ssize_t count = ::recv(descriptor_, bytes, sizeof bytes, 0);
      if (count <= 0) return "";
      text.append(bytes, static_cast<std::size_t>(count));
    }
  }

  /// False once the client is gone.
  bool send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) return false;
      sent_ += static_cast<std::size_t>(count);
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  /// Answers with status 200 (or another) and a body of that length.
  bool answer(std::string_view body, std::string_view status = "200 OK", std::string_view more = "") {
    return send("HTTP/1.1 " + std::string(status) + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
                std::string(more) + "\r\n" + std::string(body));
  }

  /// Whether the client turns out to be gone within that time; what it sends meanwhile is dropped.
  bool isGoneWithin(int milliseconds) {
    pollfd ready = {descriptor_, POLLIN, 0};
    char bytes[4096];
    return ::poll(&ready, 1, milliseconds) > 0 && ::recv(descriptor_, bytes, sizeof bytes, 0) <= 0;
  }

  void waitUntilGone() {
    while (!isGoneWithin(-1)) {
    }
  }

  std::size_t sent() const { return sent_; }

 private:
  static std::size_t contentLength(const std::string& text) {
    constexpr std::string_view kName = "Content-Length: ";
    const auto place = text.find(kName);
    return place == std::string::npos ? 0 : std::strtoul(text.c_str() + place + kName.size(), nullptr, 10);
  }

  const int descriptor_;
  std::size_t sent_ = 0;
};

/// A server of bytes on a free port of the loopback address; one thread a connection runs the script, then the
/// connection is closed.
class RawServer {
 public:
  using Script = std::function<void(RawConnection& connection)>;

  explicit RawServer(Script script) : script_(std::move(script)), listener_(::socket(AF_INET, SOCK_STREAM, 0)) {
    constexpr int kBacklog = 128;
    sockaddr_in address = loopbackAddress(0);
    socklen_t length = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener_.get(), plain, length) != 0 || ::listen(listener_.get(), kBacklog) != 0 ||
        ::getsockname(listener_.get(), plain, &length) != 0) {
      std::abort();
    }
    port_ = ntohs(address.sin_port);
    accepting_ = std::thread([this] { acceptAll(); });
  }
  ~RawServer() {
    {
      Lock lock(mutex_);
      ending_ = true;
      for (const Descriptor& each : connections_) ::shutdown(each.get(), SHUT_RDWR);
    }
    ::shutdown(listener_.get(), SHUT_RDWR);
    accepting_.join();
    for (std::thread& each : threads_) each.join();
  }

  int port() const { return port_; }

 private:
  void acceptAll() {
    for (;;) {
      Descriptor accepted(::accept(listener_.get(), nullptr, nullptr));
      if (!accepted) return;
      Lock lock(mutex_);
      if (ending_) return;
      const int descriptor = accepted.get();
      connections_.push_back(std::move(accepted));  // stays open until the end, so that its number is not used again
      threads_.emplace_back([this, descriptor] {
        RawConnection connection(descriptor);
        script_(connection);
        ::shutdown(descriptor, SHUT_RDWR);
      });
    }
  }

  const Script script_;
  Descriptor listener_;
  int port_ = 0;
  Mutex mutex_;
  std::vector<Descriptor> connections_ ZN_GUARDED_BY(mutex_);
  bool ending_ ZN_GUARDED_BY(mutex_) = false;
  std::vector<std::thread> threads_;  // the accepting thread's until it ended
  std::thread accepting_;
};

}  // namespace zn::test
