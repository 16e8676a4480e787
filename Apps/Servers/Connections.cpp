#include "Apps/Servers/Connections.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace apps {

namespace {

using NameFunction = int (*)(int, sockaddr*, socklen_t*);

/// 0 for what is no internet socket, or has no such end.
int portOf(NameFunction name, int descriptor) {
  sockaddr_storage address = {};
  socklen_t length = sizeof address;
  if (name(descriptor, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
  if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
  return 0;
}

}  // namespace

void endConnections(int localPort, int remotePort) {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", ignored)) {
    const int descriptor = std::atoi(entry.path().filename().c_str());
    if (portOf(&::getsockname, descriptor) != localPort) continue;
    const int peer = portOf(&::getpeername, descriptor);
    if (peer != 0 && (remotePort == 0 || peer == remotePort)) ::shutdown(descriptor, SHUT_RDWR);
  }
}

}  // namespace apps
