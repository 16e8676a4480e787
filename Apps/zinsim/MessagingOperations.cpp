// Operations of the facade and of its helpers.

#include "Apps/zinsim/Operations.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Runtime/DelegateCall_p.h"

namespace zinsim {

namespace {

using M = ZNMessaging;
using Center = std::shared_ptr<UNUserNotificationCenter>;

/// Through its class's table, as the platform calls a delegate: another implementation may stand there.
template <class... T>
void send(const char* selector, const T&... arguments) {
  zn::callDelegate(ZNMessaging::sharedInstance(), zn::Selector(selector), arguments...);
}

std::vector<Operation> facadeOperations() {
  return {
      operation("sharedInstance", {}, &M::sharedInstance),
      operation("initializeMessagingWithLaunchOptions:", {P::dictionary}, &M::initializeMessagingWithLaunchOptions),
      operation("registerForRemoteNotificationWithCategories:withUserNotificationCenterDelegate:",
                {P::categories, P::object}, &M::registerForRemoteNotificationWithCategories),
      operation("optOutOfZintarPushNotification:", {P::boolean}, &M::optOutOfZintarPushNotification),
      operation("didReceieveNotificationinApplication:withInfo:", {P::application, P::dictionary},
                &M::didReceieveNotificationinApplication),
      operation("userNotificationCenter:didReceiveNotificationResponse:", {P::center, P::response},
                [](A a) {
                  M::sharedInstance()->didReceiveNotificationResponse(a.as<Center>(0), a.as<UNNotificationResponse>(1));
                }),
      operation("setPushToken:", {P::token}, &M::setPushToken),
      operation("didFailToRegisterForPush", {}, &M::didFailToRegisterForPush),
      operation("handleActionWithIdentifier:forRemoteNotification:", {P::text, P::dictionary},
                &M::handleActionWithIdentifier),
      operation("setUserNotificationCategories:", {P::categories}, &M::setUserNotificationCategories),
      operation("syncRealTimeTriggersWithCompletionBlock:", {P::completion},
                &M::syncRealTimeTriggersWithCompletionBlock),
      operation("getMessagingWhitelistedEvents", {}, &M::getMessagingWhitelistedEvents),
      operation("eventTrackedWithName:andEventAttr:", {P::text, P::dictionary}, &M::eventTrackedWithName),
      operation("updateModules", {}, &M::updateModules),
      operation("clearUserInfo", {}, &M::clearUserInfo),
      operation("addObserverForApplicationLifeCycle", {}, &M::addObserverForApplicationLifeCycle),
      operation("configureAppDelegateProxy", {}, &M::configureAppDelegateProxy),
      operation("processLaunchOptions:", {P::dictionary}, &M::processLaunchOptions),
      operation("applicationEnteredForeground:", {P::anything},
                [](A) { M::sharedInstance()->applicationEnteredForeground(); }),
      operation("userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:",
                {P::center, P::response, P::completion},
                [](A a) {
                  send(kSelectorDidReceiveNotificationResponse, a.as<Center>(0), a.as<UNNotificationResponse>(1),
                       a.as<std::function<void()>>(2));
                }),
      operation("userNotificationCenter:willPresentNotification:withCompletionHandler:",
                {P::center, P::notification, P::completion},
                [](A a) {
                  send(kSelectorWillPresentNotification, a.as<Center>(0), a.as<UNNotification>(1),
                       a.as<std::function<void(unsigned)>>(2));
                }),
      operation("disableInbox", {}, &M::disableInbox),
      operation("setDisableInbox:", {P::boolean}, &M::setDisableInbox),
      operation("disableBadgeReset", {}, &M::disableBadgeReset),
      operation("setDisableBadgeReset:", {P::boolean}, &M::setDisableBadgeReset),
      operation("messagingDelegate", {},
                [](A) { return className(M::sharedInstance()->messagingDelegate(), "HostDelegate"); }),
      operation("setMessagingDelegate:", {P::nothing}, [](A) { M::sharedInstance()->setMessagingDelegate(nullptr); }),
  };
}

std::vector<Operation> utilsOperations() {
  return {
      operation("statsEventAttributesFromPayload:", {P::dictionary},
                &ZNMessagingUtils::statsEventAttributesFromPayload),
      operation("isAppDelegateProxyConfigured", {}, &ZNMessagingUtils::isAppDelegateProxyConfigured),
      operation("appDelegateProxyConfigured", {}, &ZNMessagingUtils::appDelegateProxyConfigured),
  };
}

}  // namespace

std::vector<OperationTable> messagingOperations() {
  return {{"ZNMessaging", facadeOperations()}, {"ZNMessagingUtils", utilsOperations()}};
}

}  // namespace zinsim
