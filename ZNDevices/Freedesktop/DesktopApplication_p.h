#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZNDevices/Freedesktop/DesktopStore_p.h"
#include "ZNDevices/Freedesktop/FreedesktopDevice.h"

namespace zn {

/// The application as a session sees it: its name on the bus, the object that other programs activate
/// (org.freedesktop.Application), and the number on its launcher.
///
/// Thread: any for what DeviceApplication has, `setState`, `setHost` and `open`; the bus's for the rest.
class DesktopApplication : public DeviceApplication, public SessionBus::Part {
 public:
  struct Hooks {
    std::function<void(bool isOurs)> nameIsOurs;
    /// An action of a notification that a portal calls, with its target.
    std::function<void(const std::string& name, const std::string& target, const std::string& token)> acted;
    std::function<void()> registerForPush;
    std::function<bool()> isRegisteredForPush;
  };

  DesktopApplication(Device& device, SessionBus& bus, const std::string& file, std::string applicationID, Hooks hooks);

  UIApplicationState state() const override { return state_; }
  void setBadge(long number) override;
  bool isRegisteredForRemoteNotifications() const override { return hooks_.isRegisteredForPush(); }
  void registerForRemoteNotifications() override { hooks_.registerForPush(); }

  void setState(UIApplicationState state) { state_ = state; }
  void setHost(const std::weak_ptr<DesktopHost>& host);
  /// Runs a task on the main thread as what opens the application: it is inactive meanwhile, unless the user is in it
  /// already, and then comes to the front.
  void open(const std::string& token, Task task);

  void connected() override;

  /// The object's path on the bus, as the Desktop Entry Specification makes it of the name.
  static std::string pathOf(const std::string& applicationID);
  /// Whether this can be a name on the bus.
  static bool isBusName(const std::string& applicationID);
  static constexpr const char* kInterface = "org.freedesktop.Application";

 private:
  void exportApplication();
  void showBadge();
  std::shared_ptr<DesktopHost> host() const;

  Device& device_;
  SessionBus& bus_;
  const std::string applicationID_;
  const Hooks hooks_;
  DesktopStore store_;
  std::atomic<UIApplicationState> state_{UIApplicationState::background};
  mutable Mutex mutex_;
  std::weak_ptr<DesktopHost> host_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
