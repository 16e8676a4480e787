// Operations of the notification handler.

#include "Apps/zinsim/Operations.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"

namespace zinsim {

namespace {

using H = ZNNotificationHandler;

std::vector<Operation> routingAndClicks() {
  return {
      operation("sharedInstance", {}, [](A) { return className(H::sharedInstance(), "ZNNotificationHandler"); }),
      operation("didReceieveNotificationinApplication:withInfo:", {P::application, P::dictionary},
                &H::didReceieveNotificationinApplication),
      operation("userNotificationCenter:didReceiveNotificationResponse:", {P::center, P::response},
                &H::didReceiveNotificationResponse),
      operation("handlePushNotificationInApplication:userInfo:", {P::application, P::dictionary},
                &H::handlePushNotificationInApplication),
      operation("handlePushNotificationForeground:", {P::dictionary}, &H::handlePushNotificationForeground),
      operation("isPushFromZintarWithPayload:", {P::dictionary}, &H::isPushFromZintarWithPayload),
      operation("shouldProcessNotificationZintarDict:", {P::dictionary}, &H::shouldProcessNotificationZintarDict),
      operation("broadcastNotificationClickedWithPushPayload:", {P::dictionary},
                &H::broadcastNotificationClickedWithPushPayload),
      operation("broadcastNotificationRegisteredWithToken:", {P::text}, &H::broadcastNotificationRegisteredWithToken),
      operation("broadcastNotificationRegisterationFailure", {}, &H::broadcastNotificationRegisterationFailure),
      operation("handleDefaultActionsWithPayload:", {P::dictionary}, &H::handleDefaultActionsWithPayload),
      operation("handleCardActionsWithCardID:forPayload:", {P::anything, P::dictionary},
                &H::handleCardActionsWithCardID),
      operation("invokeCallbackWithScreenName:KVPairs:andPushPayload:", {P::anything, P::anything, P::dictionary},
                &H::invokeCallbackWithScreenName),
      operation("handleDeepLinking:", {P::dictionary}, &H::handleDeepLinking),
      operation("handleRichLandingPage:", {P::dictionary}, &H::handleRichLandingPage),
      operation("handleInAppFromPush:", {P::dictionary}, &H::handleInAppFromPush),
      operation("handleCouponCodeForPush:", {P::dictionary}, &H::handleCouponCodeForPush),
      operation("showCouponAlertView:andUserInfo:", {P::anything, P::dictionary}, &H::showCouponAlertView),
      operation("updateAppSourceWithNonZinPushPayload:", {P::dictionary}, &H::updateAppSourceWithNonZinPushPayload),
      operation("updateAppSourceForDefaultActionWithZinPushPayload:", {P::dictionary},
                &H::updateAppSourceForDefaultActionWithZinPushPayload),
      operation("updateAppSourceForCardActionWithActionsArray:", {P::array},
                &H::updateAppSourceForCardActionWithActionsArray),
      operation("updateAnalyticsModuleWithSources:", {P::array},
                [](A a) {
                  if (!a.value(0).isEmpty()) throw UsageError("a source cannot be written; only null and [] can");
                  H::sharedInstance()->updateAnalyticsModuleWithSources({});
                }),
      operation("disableDeepLinksProcessing", {}, &H::disableDeepLinksProcessing),
      operation("setDisableDeepLinksProcessing:", {P::boolean}, &H::setDisableDeepLinksProcessing),
  };
}

std::vector<Operation> buttonsAndPermission() {
  return {
      operation("handleActionWithIdentifier:forRemoteNotification:", {P::text, P::dictionary},
                &H::handleActionWithIdentifier),
      operation("setNotificationCategories:", {P::categories}, &H::setNotificationCategories),
      operation("sendCategoriesWithArray:", {P::array}, &H::sendCategoriesWithArray),
      operation("checkPushNotificationsSettingsWithCompletionBlock:", {P::completion},
                &H::checkPushNotificationsSettingsWithCompletionBlock),
      operation("checkForPushPermission", {}, &H::checkForPushPermission),
      operation("pushEnabled", {}, &H::pushEnabled),
      operation("pushDisabled", {}, &H::pushDisabled),
      operation("trackPushPreferenceChangedEventWithStatus:", {P::boolean},
                &H::trackPushPreferenceChangedEventWithStatus),
      operation("setPushToken:", {P::token}, &H::setPushToken),
      operation("saveAndRegisterWithToken:", {P::text}, &H::saveAndRegisterWithToken),
      operation("didFailToRegisterForPush", {}, &H::didFailToRegisterForPush),
  };
}

}  // namespace

std::vector<OperationTable> notificationOperations() {
  return {{"ZNNotificationHandler", joined({routingAndClicks(), buttonsAndPermission()})}};
}

}  // namespace zinsim
