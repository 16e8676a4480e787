// Operations of the notification handler.

#include "Apps/zinsim/Operations.h"
#include "Apps/zinsim/Shapes.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zinsim {

namespace P = shape;
using A = const Arguments&;

namespace {

ZNNotificationHandler& handler() { return *ZNNotificationHandler::sharedInstance(); }

std::vector<Operation> routing() {
  return {
      operation("sharedInstance", {},
                [](A) { return className(ZNNotificationHandler::sharedInstance(), "ZNNotificationHandler"); }),
      operation("didReceieveNotificationinApplication:withInfo:", {P::application, P::dictionary},
                [](A a) { handler().didReceieveNotificationinApplication(a.application(0), a.value(1)); }),
      operation("userNotificationCenter:didReceiveNotificationResponse:", {P::center, P::response},
                [](A a) { handler().didReceiveNotificationResponse(a.center(0), a.response(1)); }),
      operation("handlePushNotificationInApplication:userInfo:", {P::application, P::dictionary},
                [](A a) { handler().handlePushNotificationInApplication(a.application(0), a.value(1)); }),
      operation("handlePushNotificationForeground:", {P::dictionary},
                [](A a) { handler().handlePushNotificationForeground(a.value(0)); }),
      operation("isPushFromZintarWithPayload:", {P::dictionary},
                [](A a) { return handler().isPushFromZintarWithPayload(a.value(0)); }),
      operation("shouldProcessNotificationZintarDict:", {P::dictionary},
                [](A a) { return handler().shouldProcessNotificationZintarDict(a.value(0)); }),
      operation("broadcastNotificationClickedWithPushPayload:", {P::dictionary},
                [](A a) { handler().broadcastNotificationClickedWithPushPayload(a.value(0)); }),
      operation("broadcastNotificationRegisteredWithToken:", {P::text},
                [](A a) { handler().broadcastNotificationRegisteredWithToken(a.value(0)); }),
      operation("broadcastNotificationRegisterationFailure", {},
                [](A) { handler().broadcastNotificationRegisterationFailure(); }),
  };
}

std::shared_ptr<ZNPushPayload> push(const zn::Value& payload) {
  return payload ? ZNPushPayload::initWithPushPayload(payload) : nullptr;
}

std::vector<Operation> clickActions() {
  return {
      operation("handleDefaultActionsWithPayload:", {P::dictionary},
                [](A a) { handler().handleDefaultActionsWithPayload(a.value(0)); }),
      operation("handleCardActionsWithCardID:forPayload:", {P::anything, P::dictionary},
                [](A a) { return handler().handleCardActionsWithCardID(a.value(0), push(a.value(1))); }),
      operation("invokeCallbackWithScreenName:KVPairs:andPushPayload:", {P::anything, P::anything, P::dictionary},
                [](A a) { handler().invokeCallbackWithScreenName(a.value(0), a.value(1), a.value(2)); }),
      operation("handleDeepLinking:", {P::dictionary}, [](A a) { handler().handleDeepLinking(a.value(0)); }),
      operation("handleRichLandingPage:", {P::dictionary}, [](A a) { handler().handleRichLandingPage(a.value(0)); }),
      operation("handleInAppFromPush:", {P::dictionary}, [](A a) { handler().handleInAppFromPush(a.value(0)); }),
      operation("handleCouponCodeForPush:", {P::dictionary},
                [](A a) { handler().handleCouponCodeForPush(a.value(0)); }),
      operation("showCouponAlertView:andUserInfo:", {P::anything, P::dictionary},
                [](A a) { handler().showCouponAlertView(a.value(0), a.value(1)); }),
      operation("updateAppSourceWithNonZinPushPayload:", {P::dictionary},
                [](A a) { handler().updateAppSourceWithNonZinPushPayload(a.value(0)); }),
      operation("updateAppSourceForDefaultActionWithZinPushPayload:", {P::dictionary},
                [](A a) { handler().updateAppSourceForDefaultActionWithZinPushPayload(a.value(0)); }),
      operation(
          "updateAppSourceForCardActionWithActionsArray:", {P::array},
          [](A a) { handler().updateAppSourceForCardActionWithActionsArray(zn::cardActionsWithArray(a.value(0))); }),
      operation("updateAnalyticsModuleWithSources:", {P::array},
                [](A a) {
                  if (!a.value(0).isEmpty()) throw UsageError("a source cannot be written; only null and [] can");
                  handler().updateAnalyticsModuleWithSources({});
                }),
      operation("disableDeepLinksProcessing", {}, [](A) { return handler().disableDeepLinksProcessing(); }),
      operation("setDisableDeepLinksProcessing:", {P::boolean},
                [](A a) { handler().setDisableDeepLinksProcessing(a.boolean(0)); }),
  };
}

std::vector<Operation> buttonsAndPermission() {
  return {
      operation("handleActionWithIdentifier:forRemoteNotification:", {P::text, P::dictionary},
                [](A a) { handler().handleActionWithIdentifier(a.value(0), a.value(1)); }),
      operation("setNotificationCategories:", {P::categories},
                [](A a) { handler().setNotificationCategories(a.categories(0)); }),
      operation("sendCategoriesWithArray:", {P::array}, [](A a) { handler().sendCategoriesWithArray(a.value(0)); }),
      operation("checkPushNotificationsSettingsWithCompletionBlock:", {P::completion},
                [](A a) { handler().checkPushNotificationsSettingsWithCompletionBlock(a.booleanCompletion(0)); }),
      operation("checkForPushPermission", {}, [](A) { handler().checkForPushPermission(); }),
      operation("pushEnabled", {}, [](A) { handler().pushEnabled(); }),
      operation("pushDisabled", {}, [](A) { handler().pushDisabled(); }),
      operation("trackPushPreferenceChangedEventWithStatus:", {P::boolean},
                [](A a) { handler().trackPushPreferenceChangedEventWithStatus(a.boolean(0)); }),
      operation("setPushToken:", {P::token}, [](A a) { handler().setPushToken(a.data(0)); }),
      operation("saveAndRegisterWithToken:", {P::text}, [](A a) { handler().saveAndRegisterWithToken(a.value(0)); }),
      operation("didFailToRegisterForPush", {}, [](A) { handler().didFailToRegisterForPush(); }),
  };
}

}  // namespace

std::vector<OperationTable> notificationOperations() {
  return {{"ZNNotificationHandler", joined({routing(), clickActions(), buttonsAndPermission()})}};
}

}  // namespace zinsim
