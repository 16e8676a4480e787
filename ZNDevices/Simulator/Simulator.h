#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/Runtime/Runtime.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNNotification.h"

namespace zn {

/// One thing that the module did, or asked the platform, the server or the host to do.
struct ZN_EXPORT Effect {
  std::string kind;  ///< what happened, such as "event", "request" or "badge"
  Value fields;      ///< all about it, as a dictionary that also holds the kind's own key; nil shows as null

  /// One line of JSON without its line feed: the kind's key first, the others in ascending order, ", " and ": "
  /// between.
  std::string line() const;
  /// The value under the kind's own key: the event's name, the service's number.
  const Value& value() const { return fields[kind]; }
};

/// All kinds of effects, in ascending order.
ZN_EXPORT const std::vector<std::string>& effectKinds();

/// A class for a simulated host object: an application delegate or a notification-centre delegate.
struct HostClass {
  std::string name;
  /// Each operation shows a "host" effect and then calls the completion handler that it is given (will-present with
  /// options 7, a fetch with 0). The delegates' selectors have their signatures; others take nothing.
  std::vector<std::string> implements{};
  std::string inherits{};             ///< a host class that was made before; "" for none
  bool conforms = true;               ///< to the notification-centre delegate protocol
  std::vector<std::string> throws{};  ///< operations that raise an exception after the effect was shown
};

/// A deterministic device: virtual time, one task line for all queues, a scripted server and user, and every effect
/// observable. The same calls give the same effects in the same order, on every run. For tests of a host's integration:
///
///     auto simulator = zn::Simulator::install();
///     std::vector<std::string> lines;
///     simulator->setEffectObserver([&](const zn::Effect& effect) { lines.push_back(effect.line()); });
///     ZNMessaging::sharedInstance()->initializeMessagingWithLaunchOptions(zn::nil);
///     simulator->tap(payload);
///     simulator->runUntilIdle();
///
/// Time starts at 1700000000.0 seconds since 1970, in UTC, and moves only by `advance` and `moveClock`. All queues, the
/// server's answers and the notification centre's completions stand in one line and run in the order in which they were
/// queued, delayed ones when the clock reaches them: nothing runs outside `runUntilIdle`, `advance` and `moveClock`.
/// At the start the account is active with every service of it, the server fails every request, the user allows alerts,
/// and the application is active with a delegate of class "AppDelegate" that implements nothing. A new home has no push
/// opt-out.
///
/// Ownership: installed once a process, lives until its end; owns the host objects that it makes. Thread: the
/// installing thread is the main thread; the operations below belong to it, and must not be called from a task where
/// they run the line. What the module calls may come from any thread.
class ZN_EXPORT Simulator : public Device {
 public:
  struct Options {
    /// Folder for all files, made when missing, kept. Empty: one in TMPDIR, or in memory, that is removed at the end.
    std::string home;
  };

  static constexpr double startOfTime = 1700000000.0;

  /// Makes the simulator and installs it: as the process's device, as the transport of network requests, and as
  /// observer of the logger, the analytics module and the default notification centre. Throws Exception when the home
  /// cannot be made or is in use by another process, or when a device is installed already.
  static std::shared_ptr<Simulator> install(Options options = {});

  /// Called on the thread where the effect happens, at once. It must not call the module. Replaces the observer before
  /// it.
  void setEffectObserver(std::function<void(const Effect&)> observer);
  /// The text with the name of a temporary home folder as "~", as effects show it: the name is another one on every
  /// run.
  std::string withoutTemporaryHome(const std::string& text) const;

  // Time.

  /// Runs what is due, also what is queued meanwhile. Returns how many tasks ran.
  std::size_t runUntilIdle();
  /// Moves the clock forwards and runs what falls due on the way, in order, each task at its own time. Throws Exception
  /// for less than 0 and for more than 1e9 seconds.
  std::size_t advance(double seconds);
  /// Moves the clock to that second since 1970; forwards like `advance`; backwards only what is due runs.
  std::size_t moveClock(double to);
  double now() const;
  /// The device's zone: a POSIX time zone text ("IST-5:30") or a name from the system's time zone database. Throws
  /// Exception for what is neither. It becomes the process's zone.
  void setTimeZone(const std::string& zone);
  /// Calls `body` at once as if on another thread than the main one.
  void runInBackground(const std::function<void()>& body);

  // Application and user.

  void setApplicationState(UIApplicationState state);  ///< sets the state, nothing else
  void enterForeground();                              ///< active, and the platform's notification is posted
  void setBadge(long number);                          ///< without an effect
  long badge() const;
  void setAlertSetting(UNNotificationSetting setting);
  /// How permission requests are answered: granted, or refused with an error.
  void setAuthorizationAnswer(std::optional<std::string> error);
  void setAuthorizationRefused();  ///< refused as a user does it: without an error
  void setRegisteredForRemoteNotifications(bool registered);
  /// Makes adding a notification request fail with this error; nothing for success.
  void setNotificationFailure(std::optional<std::string> error);
  /// Whether the rich-notification library passes contents of local notifications (at the start) or gives none.
  void setRichContent(bool passes);
  /// The platform's patience ends: the handler of each running background task runs, once.
  void expireBackgroundTasks();
  /// The user presses that button of the newest alert on the screen, which then closes; false when there is none.
  bool press(const std::string& button);

  // What the machine reports. Each calls interceptors, if any, and the delegate at once; what that queues waits for
  // `runUntilIdle`. An "unhandled" effect shows that the delegate's class has only the missing-method implementation.

  void deliver(const Value& payload, bool fetch = false);
  /// The user's response to a notification: "default", "dismiss" (the platform's own two) or an action identifier.
  void tap(const Value& payload, const std::string& action = "default");
  void present(const Value& payload);
  void remoteToken(const Data& token);
  void remoteFailure(const std::string& error);

  /// A notification as the platform would show it for this payload, for calls of delegate operations.
  static UNNotification notificationFor(const Value& payload, Date date);
  static UNNotificationResponse responseFor(const Value& payload, const std::string& action, Date date);

  // Server.

  /// From now on requests to the service get this answer: a dictionary, or nil for a failed request.
  void setServerAnswer(int service, const Value& answer);
  /// From now on requests to the service are kept unanswered, until another answer is set for those that come after it.
  void holdRequests(int service);
  /// Answers the oldest kept request of the service; false when none is kept.
  bool answerOldestRequest(int service, const Value& answer);

  // Host objects.

  /// Makes an object of a new class of that name. The name of a class that was made before gives its object again, and
  /// the rest is not looked at. Throws Exception for a name that another class of the run time has, and for an unknown
  /// parent.
  std::shared_ptr<Object> hostObject(const HostClass& description);
  std::shared_ptr<Object> hostObjectNamed(const std::string& className) const;  ///< null when unknown

  /// A simulator that is not installed: a device with its clock, its line and its files, which nothing else uses.
  /// Throws Exception for a home as `install` does.
  explicit Simulator(Options options);
  ~Simulator() override;
  void shutDown() override;

 private:
  void observeTheModule();
  void show(Delivery delivery, const char* selector);
  struct Parts;
  const std::unique_ptr<Parts> parts_;
};

}  // namespace zn
