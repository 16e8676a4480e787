#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/Runtime/Runtime.h"

enum class UIApplicationState { active = 0, inactive = 1, background = 2 };

using UIBackgroundTaskIdentifier = unsigned long;
inline constexpr UIBackgroundTaskIdentifier UIBackgroundTaskInvalid = 0;

/// Results of a background fetch.
inline constexpr unsigned UIBackgroundFetchResultNewData = 0;
inline constexpr unsigned UIBackgroundFetchResultNoData = 1;
inline constexpr unsigned UIBackgroundFetchResultFailed = 2;

/// Posted on the default notification centre when the application comes to the foreground.
ZN_EXPORT extern const char* const UIApplicationWillEnterForegroundNotification;
/// Key of the launch options: the payload of the notification whose click started the application.
ZN_EXPORT extern const char* const UIApplicationLaunchOptionsRemoteNotificationKey;

/// The running application: its delegate, state, badge, registration for remote notifications and background tasks.
/// It hands everything that concerns the machine to the installed device.
///
/// Thread: any, unless a device says otherwise. The delegate is held weakly.
class ZN_EXPORT UIApplication : public std::enable_shared_from_this<UIApplication> {
 public:
  static std::shared_ptr<UIApplication> sharedApplication();

  std::shared_ptr<zn::Object> delegate() const;
  void setDelegate(const std::shared_ptr<zn::Object>& delegate);

  UIApplicationState applicationState() const;
  long applicationIconBadgeNumber() const;
  void setApplicationIconBadgeNumber(long number);

  bool isRegisteredForRemoteNotifications() const;
  void registerForRemoteNotifications();

  /// Asks for time to finish work in the background. The handler runs, on the main queue, when the machine's patience
  /// ends; it must end the task.
  UIBackgroundTaskIdentifier beginBackgroundTaskWithExpirationHandler(std::function<void()> expirationHandler);
  void endBackgroundTask(UIBackgroundTaskIdentifier identifier);

  /// Objects that get the four callbacks about remote notifications before the delegate does; held weakly.
  using Interceptors = std::vector<std::weak_ptr<zn::Object>>;
  /// Replaces the interceptors; they are called in the list's order. A callback that is under way goes by the list
  /// before.
  void setInterceptors(std::shared_ptr<const Interceptors> interceptors);

  // What devices call, on the main thread, when the machine reports something. Each goes to the interceptors that have
  // an operation of the selector named, then to the application delegate, if its class has one. An exception that an
  // operation raises ends that one only; an interceptor's is reported, the delegate's is its own affair. The answer is
  // what became of it at the delegate.

  /// "application:didReceiveRemoteNotification:", or with a completion
  /// "application:didReceiveRemoteNotification:fetchCompletionHandler:". The completion is called once: by the
  /// delegate, or with UIBackgroundFetchResultNoData when the delegate has no such operation or it raised an exception.
  /// Interceptors have no say in the result; the completion that they get does nothing.
  zn::Delivery deliverRemoteNotification(const zn::Value& payload);
  zn::Delivery deliverRemoteNotification(const zn::Value& payload,
                                         std::function<void(unsigned result)> fetchCompletion);
  /// "application:didRegisterForRemoteNotificationsWithDeviceToken:"
  zn::Delivery deliverDeviceToken(const zn::Data& token);
  /// "application:didFailToRegisterForRemoteNotificationsWithError:"
  zn::Delivery deliverRegistrationFailure(const std::string& error);
  /// Posts UIApplicationWillEnterForegroundNotification.
  void deliverWillEnterForeground();

 private:
  template <class... A>
  void callInterceptors(zn::Selector selector, const A&... arguments);
  template <class... A>
  zn::Delivery deliver(const char* selector, const A&... arguments);

  mutable zn::Mutex mutex_;
  std::weak_ptr<zn::Object> delegate_ ZN_GUARDED_BY(mutex_);
  std::shared_ptr<const Interceptors> interceptors_ ZN_GUARDED_BY(mutex_);
};

/// Selectors of the application delegate. Their implementations take std::shared_ptr<UIApplication> and the payload
/// (zn::Value), the token (zn::Data) or the error (std::string), and for fetches a std::function<void(unsigned)>.
ZN_EXPORT extern const char* const kSelectorDidReceiveRemoteNotification;
ZN_EXPORT extern const char* const kSelectorDidReceiveRemoteNotificationFetch;
ZN_EXPORT extern const char* const kSelectorDidRegisterForRemoteNotifications;
ZN_EXPORT extern const char* const kSelectorDidFailToRegisterForRemoteNotifications;
