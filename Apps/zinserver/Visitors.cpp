#include "Apps/zinserver/Visitors.h"

#include <arpa/inet.h>
#include <strings.h>
#include <unistd.h>

#include <array>

namespace zinserver {

namespace {

bool isSame(const std::string& a, const std::string& b) { return ::strcasecmp(a.c_str(), b.c_str()) == 0; }

/// "name" of "name:80", "::1" of "[::1]:80".
std::string nameIn(const std::string& host) {
  if (host.starts_with('[')) return host.substr(1, host.find(']') - 1);
  return host.substr(0, host.find(':'));
}

bool isAddress(const std::string& name) {
  in6_addr address{};
  return ::inet_pton(AF_INET, name.c_str(), &address) == 1 || ::inet_pton(AF_INET6, name.c_str(), &address) == 1;
}

std::string nameOfMachine() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

bool isOurs(const std::string& name, const std::string& address) {
  if (name.empty()) return false;
  // An address cannot be made to lead elsewhere; a name can, by whoever owns it.
  return isAddress(name) || isSame(name, "localhost") || isSame(name, address) || isSame(name, nameOfMachine());
}

}  // namespace

std::string refusal(const std::string& address, const std::string& host, const std::string& origin) {
  if (!isOurs(nameIn(host), address)) return "this server is not \"" + host + "\"";
  if (origin.empty() || isSame(origin, "http://" + host)) return "";
  return "pages of \"" + origin + "\" may not use this server";
}

}  // namespace zinserver
