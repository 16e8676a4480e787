// Operations of the facade and of its helpers.

#include "Apps/zinsim/Operations.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Runtime/DelegateCall_p.h"

namespace zinsim {

namespace P = shape;
using A = const Arguments&;

namespace {

ZNMessaging& facade() { return *ZNMessaging::sharedInstance(); }

/// Through its class's table, as the platform calls a delegate: another implementation may stand there.
template <class... T>
void send(const char* selector, const T&... arguments) {
  zn::callDelegate(ZNMessaging::sharedInstance(), zn::Selector(selector), arguments...);
}

std::vector<Operation> facadeOperations() {
  return {
      operation("sharedInstance", {}, [](A) { return className(ZNMessaging::sharedInstance(), "ZNMessaging"); }),
      operation("initializeMessagingWithLaunchOptions:", {P::dictionary},
                [](A a) { facade().initializeMessagingWithLaunchOptions(a.value(0)); }),
      operation(
          "registerForRemoteNotificationWithCategories:withUserNotificationCenterDelegate:", {P::categories, P::object},
          [](A a) { facade().registerForRemoteNotificationWithCategories(a.categories(0), a.object(1)); }),
      operation("optOutOfZintarPushNotification:", {P::boolean},
                [](A a) { facade().optOutOfZintarPushNotification(a.boolean(0)); }),
      operation("didReceieveNotificationinApplication:withInfo:", {P::application, P::dictionary},
                [](A a) { facade().didReceieveNotificationinApplication(a.application(0), a.value(1)); }),
      operation("userNotificationCenter:didReceiveNotificationResponse:", {P::center, P::response},
                [](A a) { facade().didReceiveNotificationResponse(a.center(0), a.response(1)); }),
      operation("setPushToken:", {P::token}, [](A a) { facade().setPushToken(a.data(0)); }),
      operation("didFailToRegisterForPush", {}, [](A) { facade().didFailToRegisterForPush(); }),
      operation("handleActionWithIdentifier:forRemoteNotification:", {P::text, P::dictionary},
                [](A a) { facade().handleActionWithIdentifier(a.value(0), a.value(1)); }),
      operation("setUserNotificationCategories:", {P::categories},
                [](A a) { facade().setUserNotificationCategories(a.categories(0)); }),
      operation("syncRealTimeTriggersWithCompletionBlock:", {P::completion},
                [](A a) { facade().syncRealTimeTriggersWithCompletionBlock(a.booleanCompletion(0)); }),
      operation("getMessagingWhitelistedEvents", {}, [](A) { return facade().getMessagingWhitelistedEvents(); }),
      operation("eventTrackedWithName:andEventAttr:", {P::text, P::dictionary},
                [](A a) { facade().eventTrackedWithName(a.value(0), a.value(1)); }),
      operation("updateModules", {}, [](A) { facade().updateModules(); }),
      operation("clearUserInfo", {}, [](A) { facade().clearUserInfo(); }),
      operation("addObserverForApplicationLifeCycle", {}, [](A) { facade().addObserverForApplicationLifeCycle(); }),
      operation("configureAppDelegateProxy", {}, [](A) { facade().configureAppDelegateProxy(); }),
      operation("processLaunchOptions:", {P::dictionary}, [](A a) { facade().processLaunchOptions(a.value(0)); }),
      operation("applicationEnteredForeground:", {P::anything}, [](A) { facade().applicationEnteredForeground(); }),
      operation(
          "userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:",
          {P::center, P::response, P::completion},
          [](A a) { send(kSelectorDidReceiveNotificationResponse, a.center(0), a.response(1), a.completion(2)); }),
      operation(
          "userNotificationCenter:willPresentNotification:withCompletionHandler:",
          {P::center, P::notification, P::completion},
          [](A a) { send(kSelectorWillPresentNotification, a.center(0), a.notification(1), a.optionsCompletion(2)); }),
      operation("disableInbox", {}, [](A) { return facade().disableInbox(); }),
      operation("setDisableInbox:", {P::boolean}, [](A a) { facade().setDisableInbox(a.boolean(0)); }),
      operation("disableBadgeReset", {}, [](A) { return facade().disableBadgeReset(); }),
      operation("setDisableBadgeReset:", {P::boolean}, [](A a) { facade().setDisableBadgeReset(a.boolean(0)); }),
      operation("messagingDelegate", {}, [](A) { return className(facade().messagingDelegate(), "HostDelegate"); }),
      operation("setMessagingDelegate:", {P::nothing}, [](A) { facade().setMessagingDelegate(nullptr); }),
  };
}

std::vector<Operation> utilsOperations() {
  return {
      operation("statsEventAttributesFromPayload:", {P::dictionary},
                [](A a) { return ZNMessagingUtils::statsEventAttributesFromPayload(a.value(0)); }),
      operation("isAppDelegateProxyConfigured", {}, [](A) { return ZNMessagingUtils::isAppDelegateProxyConfigured(); }),
      operation("appDelegateProxyConfigured", {}, [](A) { ZNMessagingUtils::appDelegateProxyConfigured(); }),
  };
}

}  // namespace

std::vector<OperationTable> messagingOperations() {
  return {{"ZNMessaging", facadeOperations()}, {"ZNMessagingUtils", utilsOperations()}};
}

}  // namespace zinsim
