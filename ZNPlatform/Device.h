#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UIKit/UIViewController.h"
#include "ZNPlatform/UserNotifications/UNNotification.h"

/// The one seam between the library and the machine it runs on. A device is an aggregate of small interfaces; each has
/// a base version that does nothing ("none"), so a device overrides only what its machine has. All operations may be
/// called from any thread unless they say otherwise, and none may throw.
namespace zn {

/// What a time zone is called. Empty: not known.
struct TimeZoneNames {
  std::string identifier;    ///< in the time-zone database, such as "Europe/Berlin"
  std::string abbreviation;  ///< such as "CET", or "CEST" while daylight time holds
};

class ZN_EXPORT DeviceClock {
 public:
  virtual ~DeviceClock() = default;
  virtual Date now() const = 0;
  /// Offset of the device's time zone from GMT at that moment, in seconds (east is positive).
  virtual long secondsFromGMT(Date at) const = 0;
  /// The names of that zone at that moment.
  virtual TimeZoneNames zoneNames(Date /*at*/) const { return {}; }
};

/// Queues stop and report an exception that leaves a task; `runTask` does both.
class ZN_EXPORT DeviceQueues {
 public:
  virtual ~DeviceQueues() = default;
  virtual void async(Queue queue, Task task) = 0;
  virtual void after(Queue queue, double seconds, Task task) = 0;
  virtual bool isMainThread() const = 0;
};

/// Chance, for what devices must not all do at the same moment.
class ZN_EXPORT DeviceRandom {
 public:
  virtual ~DeviceRandom() = default;
  /// Evenly from 0 up to 1, without 1. none: the system's random numbers.
  virtual double fraction();
};

/// Where the application keeps its files. The folders exist when the device is installed.
class ZN_EXPORT DeviceDirectories {
 public:
  virtual ~DeviceDirectories() = default;
  virtual std::string home() const = 0;
  std::string library() const { return home() + "/Library"; }
  std::string documents() const { return home() + "/Documents"; }
  std::string preferences() const { return home() + "/Preferences"; }
};

class ZN_EXPORT DeviceApplication {
 public:
  virtual ~DeviceApplication() = default;
  virtual UIApplicationState state() const { return UIApplicationState::active; }
  virtual long badge() const { return badge_; }
  virtual void setBadge(long number) { badge_ = number; }
  virtual bool isRegisteredForRemoteNotifications() const { return false; }
  virtual void registerForRemoteNotifications() {}
  virtual UIBackgroundTaskIdentifier beginBackgroundTask(std::function<void()> /*expirationHandler*/) {
    return UIBackgroundTaskInvalid;
  }
  virtual void endBackgroundTask(UIBackgroundTaskIdentifier /*identifier*/) {}

 private:
  std::atomic<long> badge_{0};
};

class ZN_EXPORT DeviceNotifications {
 public:
  using ErrorCompletion = std::function<void(const std::optional<std::string>& error)>;
  using AuthorizationCompletion = std::function<void(bool granted, const std::optional<std::string>& error)>;

  virtual ~DeviceNotifications() = default;
  /// Completions are called exactly once, later, never from within the call. none: not granted, without an error.
  virtual void requestAuthorization(unsigned options, AuthorizationCompletion completion);
  virtual void getSettings(std::function<void(const UNNotificationSettings&)> completion);  ///< none: not determined
  virtual void setCategories(const std::vector<UNNotificationCategory>& /*categories*/) {}
  /// none: fails with "this device shows no notifications".
  virtual void add(const UNNotificationRequest& request, ErrorCompletion completion);

  // What was added before and still waits for its trigger, or was delivered and still stands there. The lists are those
  // of the moment of the call; their completions follow the rule above. Removing names identifiers, or nothing for all.

  virtual void getPending(std::function<void(const std::vector<UNNotificationRequest>&)> completion);  ///< none: empty
  virtual void getDelivered(std::function<void(const std::vector<UNNotification>&)> completion);       ///< none: empty
  virtual void removePending(const std::optional<std::vector<std::string>>& /*identifiers*/) {}
  virtual void removeDelivered(const std::optional<std::vector<std::string>>& /*identifiers*/) {}

 protected:
  /// Calls a completion, if there is one, as the rule above says.
  template <class... Expected, class... Given>
  static void answer(std::function<void(Expected...)> completion, Given... given) {
    dispatchAsync(Queue::global, [completion = std::move(completion), ... given = std::move(given)] {
      if (completion) completion(given...);
    });
  }
};

/// What a clicked link is for: a deep link belongs to an application, a landing page to the browser.
enum class LinkKind { deeplink, landing };

/// The screen: links, alerts, the clipboard. Called on the main thread.
class ZN_EXPORT DeviceScreen {
 public:
  virtual ~DeviceScreen() = default;
  /// Opens an absolute URL, as text. none: a diagnostic, so that the click leaves a trace, without query and fragment.
  virtual void openLink(LinkKind kind, const std::string& url);
  virtual bool showsAlerts() const { return false; }
  /// Shows a controller above everything else: an alert, with its buttons, or a screen of the host.
  virtual void present(const std::shared_ptr<UIViewController>& /*controller*/, bool /*animated*/) {}
  /// The controller that is on top, or null while there is no window: alerts wait for one.
  virtual std::shared_ptr<UIViewController> topMostViewController() const { return nullptr; }
  virtual void setPasteboard(const std::string& /*text*/) {}
};

class ZN_EXPORT DeviceSystemLog {
 public:
  virtual ~DeviceSystemLog() = default;
  /// A line of the application's own for the machine's log. none: standard error, with control characters escaped.
  virtual void write(const std::string& text);
  /// Something that this library wants its user to know and that has no other way out: an unreadable file, a full disk,
  /// an exception that left a task. none: the same, with "zintar: " before it.
  virtual void diagnostic(const std::string& text);
};

/// Runs a task as every queue must: an exception that leaves it is stopped and reported as a diagnostic.
ZN_EXPORT void runTask(const Task& task, DeviceSystemLog& log);

class ZN_EXPORT Device {
 public:
  /// With the "none" versions of random, application, notifications, screen and system log.
  Device();
  virtual ~Device() = default;

  std::unique_ptr<DeviceClock> clock;
  std::unique_ptr<DeviceQueues> queues;
  std::unique_ptr<DeviceRandom> random;
  std::unique_ptr<DeviceDirectories> directories;
  std::unique_ptr<DeviceApplication> application;
  std::unique_ptr<DeviceNotifications> notifications;
  std::unique_ptr<DeviceScreen> screen;
  std::unique_ptr<DeviceSystemLog> systemLog;

  /// Installs the process's device: once, before anything else of the library is used. It lives until the process ends.
  /// Throws Exception when one is installed already, and says whether that is the default one, which the first use
  /// installs. All members must be set.
  static void install(std::shared_ptr<Device> device);
  /// The installed device. Without one, a HeadlessDevice with its default options is made and installed; where that
  /// fails (its home cannot be made or is in use), the device keeps its files in a fresh temporary folder and says so.
  static Device& current();

  /// Called at the normal end of the process, after which no task starts any more: stop threads here. Tasks that were
  /// running have ended when it returns, or are left behind because they hold up that end.
  virtual void shutDown() {}
};

}  // namespace zn
