#pragma once

#include <string>
#include <string_view>

#include "ZNDevices/Freedesktop/DesktopNotifications_p.h"

namespace zn {

/// What a desktop's device does with a message, as a phone's system would: it keeps the payload in the list of the
/// extension, from which the inbox takes it, shows what its "aps" asks for, and then delivers it to the application.
/// Thread: the bus's.
class PushDelivery {
 public:
  PushDelivery(Device& device, SessionBus& bus, DesktopNotifications& notifications)
      : device_(device), bus_(bus), notifications_(notifications) {}

  /// False where it could not be kept; it is shown and delivered all the same. One that `isRepeated` is kept only.
  bool received(std::string_view message, const std::string& identifier, bool isRepeated);

 private:
  bool keep(const Value& payload) const;
  void show(const Value& payload, const std::string& identifier);
  void deliver(const Value& payload) const;

  Device& device_;
  SessionBus& bus_;
  DesktopNotifications& notifications_;
};

}  // namespace zn
