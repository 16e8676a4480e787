#include "ZNDevices/Freedesktop/DesktopLinks_p.h"

#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "ZNDevices/Freedesktop/Sandbox_p.h"

extern char** environ;

namespace zn {

namespace {

constexpr double kPatience = 60;  // seconds; the portal may ask the user
constexpr double kFirstLook = 0.05;
constexpr double kLongestLook = 10;

std::string schemeOf(const std::string& url) {
  std::string scheme = url.substr(0, url.find(':'));
  std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return scheme;
}

/// A child that nobody waits for stays as a zombie. Threads are not to wait for it, so it is looked at now and then.
void reapLater(SessionBus& bus, pid_t child, double pause) {
  bus.performAfter(pause, [&bus, child, pause] {
    if (::waitpid(child, nullptr, WNOHANG) == 0) reapLater(bus, child, std::min(pause * 2, kLongestLook));
  });
}

}  // namespace

void DesktopLinks::openLink(LinkKind, const std::string& url) {
  const std::string scheme = schemeOf(url);
  if (scheme.size() == url.size() || std::find(schemes_.begin(), schemes_.end(), scheme) == schemes_.end()) {
    return device_.systemLog->diagnostic("a link of the scheme \"" + scheme +
                                         "\" is not opened: the host allows only others");
  }
  bus_.perform([this, url] { isSandboxed_ ? openThroughPortal(url) : openWithProgram(url); });
}

void DesktopLinks::openThroughPortal(const std::string& url) {
  BusMessage call = bus_.makeCall(kPortalName, kPortalPath, "org.freedesktop.portal.OpenURI", "OpenURI");
  call.append("ss", "", url.c_str()).container('a', "{sv}", [] {});
  bus_.call(std::move(call), kPatience, [this](BusMessage&, const std::string& error) {
    if (!error.empty()) device_.systemLog->diagnostic("the portal opens no link: " + error);
  });
}

void DesktopLinks::openWithProgram(const std::string& url) {
  std::string program = "xdg-open";
  std::string argument = url;
  char* const arguments[] = {program.data(), argument.data(), nullptr};
  posix_spawnattr_t attributes;
  ::posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  ::posix_spawnattr_setsigmask(&attributes, &none);
  ::posix_spawnattr_setpgroup(&attributes, 0);  // a signal to the host's terminal is not for the browser
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  pid_t child = 0;
  const int failure = ::posix_spawnp(&child, program.c_str(), nullptr, &attributes, arguments, environ);
  ::posix_spawnattr_destroy(&attributes);
  if (failure != 0) {
    return device_.systemLog->diagnostic("no link can be opened: xdg-open: " + std::string(std::strerror(failure)));
  }
  reapLater(bus_, child, kFirstLook);
}

}  // namespace zn
