#pragma once

#include <string>
#include <string_view>

#include "ZNDevices/Freedesktop/NotificationServer_p.h"

namespace zn {

/// The portal through which sandboxed applications show notifications (org.freedesktop.portal.Notification). It tells
/// neither whether one was shown nor that it was closed; clicks come through the application's own object, or, outside
/// a sandbox, as a signal. A handle is the notification's identifier.
class NotificationPortal : public NotificationServer {
 public:
  NotificationPortal(SessionBus& bus, Client& client, bool isSandboxed)
      : bus_(bus), client_(client), isSandboxed_(isSandboxed) {}

  void connected() override;
  void disconnected() override;

  State state() const override { return state_; }
  void look() override;
  std::string instance() const override { return state_ == State::ready ? bus_.identity() + "/portal" : ""; }
  std::vector<std::string> missing() const override;
  void show(const Banner& banner, const std::string& replaced,
            std::function<void(const std::string& handle)> shown) override;
  void close(const std::string& handle) override;

  /// The name of the application's action that a click calls, and what its target says.
  static constexpr const char* kAction = "notification-response";
  struct Click {
    std::string identifier;
    std::string action;  ///< "" for the notification itself
  };
  static Click clickOf(std::string_view target);

 private:
  void askVersion();
  BusMessage makeCall(const char* member);

  SessionBus& bus_;
  Client& client_;
  const bool isSandboxed_;
  State state_ = State::unknown;
  bool isLooking_ = false;
  unsigned asked_ = 0;
};

}  // namespace zn
