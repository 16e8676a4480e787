#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "ZNAnalytics/ZNSource.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZNRichNotification/ZNPushPayload.h"

namespace zn {
struct CategorySet;
class OwnerToken;
}  // namespace zn
class UIAlertController;

/// Decides what a delivered or clicked push means: tells the module's own pushes from others, broadcasts arrivals
/// and clicks to the host, and for own, visible pushes carries out the click, counts it and records it in the inbox.
/// Keeps the device token and the user's push preference up to date.
///
/// A push is the module's own when its payload has "zintar"; it is processed when that dictionary holds "cid" and not
/// "silentPush".
///
/// Ownership: one instance a process (sharedInstance), never destroyed. Thread: the caller's; the platform calls on the
/// main thread. No locks, no state but one property. No operation throws: a failure is logged, what
/// ran before it stays done and the rest is skipped. With an inactive account, or the library switched off, deliveries
/// and responses do nothing; the token and the buttons need the account only.
class ZN_EXPORT ZNNotificationHandler : public std::enable_shared_from_this<ZNNotificationHandler> {
 public:
  static const std::shared_ptr<ZNNotificationHandler>& sharedInstance();

  /// `didReceieveNotificationinApplication:withInfo:` (spelled so): a remote notification was handed to the
  /// application. Broadcasts it; it counts as a click only while the application is being opened (state inactive).
  void didReceieveNotificationinApplication(const std::shared_ptr<UIApplication>& application,
                                            const zn::Value& payload);
  /// `userNotificationCenter:didReceiveNotificationResponse:`: the user's response to a shown notification.
  void didReceiveNotificationResponse(const std::shared_ptr<UNUserNotificationCenter>& center,
                                      const UNNotificationResponse& response);
  /// `handlePushNotificationInApplication:userInfo:`: carries a click out: card or default actions, badge, inbox,
  /// event.
  void handlePushNotificationInApplication(const std::shared_ptr<UIApplication>& application, const zn::Value& payload);
  /// `handlePushNotificationForeground:`: shows the in-app message that a push carries. For hosts; the module does not
  /// call it.
  void handlePushNotificationForeground(const zn::Value& payload);

  /// `isPushFromZintarWithPayload:`
  bool isPushFromZintarWithPayload(const zn::Value& payload) const;
  /// `shouldProcessNotificationZintarDict:`: for a payload's "zintar" dictionary, or the stats attributes made from it.
  bool shouldProcessNotificationZintarDict(const zn::Value& dictionary) const;

  /// `broadcastNotificationClickedWithPushPayload:`: for arrivals, too; see Zintar_Notification_Received_Notification.
  void broadcastNotificationClickedWithPushPayload(const zn::Value& payload);
  /// `broadcastNotificationRegisteredWithToken:`; nothing for nil.
  void broadcastNotificationRegisteredWithToken(const zn::Value& token);
  /// `broadcastNotificationRegisterationFailure` (spelled so; hosts call it by this name)
  void broadcastNotificationRegisterationFailure();

  // Click actions: what a click on one of the module's own pushes asks for. Payloads are push payloads; a part of them
  // that is missing, or of no use as what it should be, asks for nothing. On the main thread, where the screen is.

  /// `handleDefaultActionsWithPayload:`: records the app source, then shows the coupon, or opens the deep link or else
  /// the landing page and asks for the in-app message; last, it tells the host's delegate about the screen.
  void handleDefaultActionsWithPayload(const zn::Value& payload);
  /// `handleCardActionsWithCardID:forPayload:`: carries out the actions of the tapped card of a rich template, all of
  /// them, in order. The card is told by the integer value of its id (a string: "03" is card 3). True when the card had
  /// at least one action; false without such a card, and after a failure.
  bool handleCardActionsWithCardID(const zn::Value& cardID, const std::shared_ptr<ZNPushPayload>& payload);
  /// `invokeCallbackWithScreenName:KVPairs:andPushPayload:`: calls the messaging delegate's operations. Any argument
  /// may be nil. What the delegate throws within a click is a failure of the click's actions, which end there.
  void invokeCallbackWithScreenName(const zn::Value& screenName, const zn::Value& kvPairs, const zn::Value& payload);
  /// `handleDeepLinking:`: opens "app_extra.zin_deeplink", unless disableDeepLinksProcessing.
  void handleDeepLinking(const zn::Value& payload);
  /// `handleRichLandingPage:`: opens "zintar.webUrl".
  void handleRichLandingPage(const zn::Value& payload);
  /// `handleInAppFromPush:`: posts kNotificationNameShowInApp with "zintar.zin_inapp" as it stands, or with the
  /// campaign that "zintar.zin_inapp_cid" names.
  void handleInAppFromPush(const zn::Value& payload);
  /// `handleCouponCodeForPush:`: shows the alert for "zintar.couponCode".
  void handleCouponCodeForPush(const zn::Value& payload);
  /// `showCouponAlertView:andUserInfo:`: offers, from the main queue, to copy the code; either button then opens the
  /// payload's deep link and its landing page and asks for its in-app message. While the device has no screen, it looks
  /// for one every second until the user is reset. On a device without alerts only the system log tells.
  void showCouponAlertView(const zn::Value& couponCode, const zn::Value& payload);

  // App source: where the user came from, told to the analytics module. Sources that are not valid are not told.

  /// `updateAppSourceWithNonZinPushPayload:`: another sender's push was clicked.
  void updateAppSourceWithNonZinPushPayload(const zn::Value& payload);
  /// `updateAppSourceForDefaultActionWithZinPushPayload:`: the first valid one of deep link, landing page and push.
  void updateAppSourceForDefaultActionWithZinPushPayload(const zn::Value& payload);
  /// `updateAppSourceForCardActionWithActionsArray:`: of the card's actions, the last deep link that is valid, else the
  /// last landing page, else the last screen.
  void updateAppSourceForCardActionWithActionsArray(const std::vector<zn::CardAction>& actions);
  /// `updateAnalyticsModuleWithSources:`: hands them on; nothing for an empty list.
  void updateAnalyticsModuleWithSources(const std::vector<std::shared_ptr<const ZNSource>>& sources);

  // Buttons, permission and token.

  /// `setNotificationCategories:`: makes records of the categories' buttons and sends them. Fails for a set that holds
  /// others: nothing is kept or sent then.
  void setNotificationCategories(const zn::CategorySet& categories);
  /// `sendCategoriesWithArray:`: keeps the records ([{"name", "actions": [titles], "actionsIdentifier":
  /// [identifiers]}]) and sends them to the server. Once that accepted them, it is asked no more in this version of the
  /// application.
  void sendCategoriesWithArray(const zn::Value& records);
  /// `handleActionWithIdentifier:forRemoteNotification:`: tracks the click on a button with the title that the kept
  /// records have for it, and sends the queued events.
  void handleActionWithIdentifier(const zn::Value& identifier, const zn::Value& payload);
  /// `checkPushNotificationsSettingsWithCompletionBlock:`: whether the user allows alerts; called once, on the device's
  /// queue.
  void checkPushNotificationsSettingsWithCompletionBlock(std::function<void(bool isAllowed)> completion);
  /// `checkForPushPermission`: asks whether the user allows alerts, and calls pushEnabled or pushDisabled on the
  /// device's queue.
  void checkForPushPermission();
  /// `pushEnabled`, `pushDisabled`: track the first preference and every change of it, and set the user attribute
  /// every time.
  void pushEnabled();
  void pushDisabled();
  /// `trackPushPreferenceChangedEventWithStatus:`: keeps the preference and tracks it.
  void trackPushPreferenceChangedEventWithStatus(bool isAllowed);
  /// `setPushToken:`: broadcasts every token; keeps and sends one that differs from the kept one. No
  /// token (empty data) does nothing.
  void setPushToken(const zn::Data& token);
  /// `saveAndRegisterWithToken:`: keeps the token (a hex string); push counts as preferred then. Nothing for nil
  /// and for an empty one.
  void saveAndRegisterWithToken(const zn::Value& token);
  /// `didFailToRegisterForPush`: push counts as not preferred, and the failure is broadcast.
  void didFailToRegisterForPush();

  /// When true, the deep links of clicked pushes are left to the host, but not those of tapped cards. Default false.
  bool disableDeepLinksProcessing() const { return disableDeepLinksProcessing_; }
  void setDisableDeepLinksProcessing(bool disabled) { disableDeepLinksProcessing_ = disabled; }

 private:
  void routeResponse(const UNNotificationResponse& response);
  zn::Value takeCardIDForPush(const ZNPushPayload& push) const;
  /// Passes on what the delegate throws.
  void tellScreen(const zn::Value& screenName, const zn::Value& kvPairs, const zn::Value& payload);
  void carryOut(const zn::CardAction& action, const zn::Value& payload);
  void presentCouponAlert(const zn::Value& couponCode, const zn::Value& payload, const zn::OwnerToken& owner);
  std::shared_ptr<UIAlertController> couponAlert(const zn::Value& couponCode, const zn::Value& payload);
  void followCoupon(const zn::Value& payload);
  void updatePushPreference(bool isAllowed);

  std::atomic<bool> disableDeepLinksProcessing_{false};
};
