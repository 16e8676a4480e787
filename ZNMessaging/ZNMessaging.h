#pragma once

#include <functional>
#include <memory>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/NotificationHandler/CategorySet.h"
#include "ZNMessaging/NotificationHandler/ZNMessagingDelegate.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/Runtime/Runtime.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

/// The module's single entry point. The host starts it with initializeMessagingWithLaunchOptions and hands it the
/// platform's push callbacks; it keeps the module up to date on every entry to the foreground.
///
/// Ownership: one instance a process, made on first use, never destroyed. Thread: any; the platform's callbacks come on
/// the main thread. With an inactive account (see ZNConfigDataManager) the callbacks, the update of the modules and
/// device triggers do nothing and log nothing. No operation throws, also not what a completion or a delegate throws:
/// failures are logged through ZNLogger, and the steps after the failing one are skipped.
class ZN_EXPORT ZNMessaging : public zn::Object, public ZNEventTriggerDelegate {
 public:
  /// The first call also takes the centre's delegate if there is none, which its observers are told about; they get the
  /// instance as it starts. Other threads wait until it has started.
  static const std::shared_ptr<ZNMessaging>& sharedInstance();

  /// `initializeMessagingWithLaunchOptions:`: brings the modules up to date, starts listening to tracked events, and,
  /// on the main queue, delivers the click that started the application. Call it once, early; `launchOptions` is a
  /// dictionary (UIApplicationLaunchOptionsRemoteNotificationKey holds the clicked payload) or nil. Off the main thread
  /// it returns before the main-queue part has run.
  void initializeMessagingWithLaunchOptions(const zn::Value& launchOptions);

  /// `registerForRemoteNotificationWithCategories:withUserNotificationCenterDelegate:`: registers the device for remote
  /// notifications, asks the user to allow them (the next module update sees the answer), makes the delegate, if given,
  /// the notification centre's, which holds it weakly, and registers the categories as setUserNotificationCategories
  /// does. Returns at once; all of it happens on the main queue and, for the categories, on the global queue. It does
  /// not wait for an active account, for the device may be registered before there is a configuration.
  void registerForRemoteNotificationWithCategories(const zn::CategorySet& categories,
                                                   const std::shared_ptr<zn::Object>& delegate);
  /// `optOutOfZintarPushNotification:`: the user's explicit choice, kept and, if it changes, sent. Opting out drops the
  /// stored device-trigger campaigns.
  void optOutOfZintarPushNotification(bool optsOut);

  // Callbacks that the host hands on, unless the delegate proxy is in place, which delivers them itself; then they log
  // "AppDelegate proxy is enabled." and do nothing, so that no click counts twice.

  /// `didReceieveNotificationinApplication:withInfo:` (spelled so; hosts call it by this name): a remote notification
  /// arrived.
  void didReceieveNotificationinApplication(const std::shared_ptr<UIApplication>& application, const zn::Value& info);
  /// `userNotificationCenter:didReceiveNotificationResponse:`: the user clicked or dismissed a notification, or one of
  /// its buttons.
  void didReceiveNotificationResponse(const std::shared_ptr<UNUserNotificationCenter>& center,
                                      const UNNotificationResponse& response);
  /// `setPushToken:`: the platform's device token. Empty data is no token and does nothing.
  void setPushToken(const zn::Data& token);
  /// `didFailToRegisterForPush`
  void didFailToRegisterForPush();

  /// `handleActionWithIdentifier:forRemoteNotification:`: a button of a notification was clicked.
  void handleActionWithIdentifier(const zn::Value& identifier, const zn::Value& payload);

  /// `setUserNotificationCategories:`: registers the host's categories and the module's own two, replacing those
  /// registered before, and sends the buttons to the server, once a version of the application.
  void setUserNotificationCategories(const zn::CategorySet& categories);

  /// `syncRealTimeTriggersWithCompletionBlock:`: fetches the device-trigger campaigns if they are enabled and due. The
  /// completion, if given, is called once with the success, on the caller's thread when nothing is fetched.
  void syncRealTimeTriggersWithCompletionBlock(std::function<void(bool success)> completion);

  /// `getMessagingWhitelistedEvents`: the names of the module's eight own events.
  zn::Value getMessagingWhitelistedEvents() const;

  /// `eventTrackedWithName:andEventAttr:`: called by the analytics module for every tracked event.
  void eventTrackedWithName(const zn::Value& name, const zn::Value& attributes) override;

  // Steps of the start, for those who repeat one of them.

  /// `addObserverForApplicationLifeCycle`: listens to the default notification centre; once more each time it is
  /// called.
  void addObserverForApplicationLifeCycle();
  /// `configureAppDelegateProxy`: sets the delegate proxy up, where the account is active and the host left it on.
  void configureAppDelegateProxy();
  /// `processLaunchOptions:`: delivers the click that started the application, unless a delegate gets it.
  void processLaunchOptions(const zn::Value& launchOptions);

  // Observers of the default notification centre.
  void updateModules();  ///< `updateModules`: permission check, badge, device triggers, inbox, in this order
  /// `clearUserInfo`: the user left; device-trigger data, then inbox data, are cleared, with files that could not be
  /// read and notifications that wait for their delay, and what is under way becomes void.
  void clearUserInfo();
  void applicationEnteredForeground();  ///< `applicationEnteredForeground:`

  // The notification centre's delegate operations; the facade is the delegate where the host has set none.

  /// `userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:`: calls the completion always.
  void didReceiveNotificationResponse(const std::shared_ptr<UNUserNotificationCenter>& center,
                                      const UNNotificationResponse& response, const std::function<void()>& completion);
  /// `userNotificationCenter:willPresentNotification:withCompletionHandler:`: shown with sound also in the foreground.
  void willPresentNotification(const std::shared_ptr<UNUserNotificationCenter>& center,
                               const UNNotification& notification,
                               const std::function<void(unsigned options)>& completion);

  /// When true, the inbox is not synchronised on module updates, and clicks are not recorded in it. Default false.
  bool disableInbox() const;
  void setDisableInbox(bool disabled);

  /// When false, the icon badge is set to 0 on every module update and every click; when true, a click decrements it.
  bool disableBadgeReset() const;
  void setDisableBadgeReset(bool disabled);

  /// Held weakly. Set it before initializeMessagingWithLaunchOptions, which delivers the click that started the
  /// application.
  std::shared_ptr<ZNMessagingDelegate> messagingDelegate() const;
  void setMessagingDelegate(const std::shared_ptr<ZNMessagingDelegate>& delegate);

  const zn::Class& isa() const override;

 private:
  void start();
  bool shouldForward() const;
  void askForPush(zn::CategorySet categories, const std::shared_ptr<zn::Object>& delegate);
};
