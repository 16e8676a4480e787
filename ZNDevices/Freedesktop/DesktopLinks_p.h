#pragma once

#include <string>
#include <vector>

#include "ZNDevices/Freedesktop/Bus/SessionBus_p.h"

namespace zn {

/// Opens links with the session's own programs: through the portal in a sandbox, else with xdg-open. Only those of
/// schemes that the host allows. Thread: any.
class DesktopLinks : public DeviceScreen {
 public:
  DesktopLinks(Device& device, SessionBus& bus, std::vector<std::string> schemes, bool isSandboxed)
      : device_(device), bus_(bus), schemes_(std::move(schemes)), isSandboxed_(isSandboxed) {}

  void openLink(LinkKind kind, const std::string& url) override;

 private:
  void openThroughPortal(const std::string& url);
  void openWithProgram(const std::string& url);

  Device& device_;
  SessionBus& bus_;
  const std::vector<std::string> schemes_;
  const bool isSandboxed_;
};

}  // namespace zn
