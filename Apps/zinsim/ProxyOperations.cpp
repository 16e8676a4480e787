// Operations of the delegate proxy. Selectors and classes are given by name; implementations cannot be written.

#include "Apps/zinsim/Operations.h"
#include "ZNMessaging/AppDelegateSwizzler/ZNAppDelegateMessagingProxy.h"

namespace zinsim {

namespace {

using Proxy = ZNAppDelegateMessagingProxy;
using Application = std::shared_ptr<UIApplication>;

Proxy& proxy() { return *Proxy::sharedProxy(); }

zn::Class& classNamed(A a, std::size_t index) {
  const std::string name(a.value(index).string());
  if (zn::Class* const known = zn::Class::named(name)) return *known;
  throw UsageError("there is no class \"" + name + "\"");
}

zn::Value selectorsByClass() {
  zn::Value all = zn::Value::dictionary();
  for (const auto& [name, selectors] : proxy().swizzledSelectorsByClass()) {
    zn::Value list = zn::Value::array();
    for (const std::string& each : selectors) list.append(each);
    all.setObjectNilHandled(list, name);
  }
  return all;
}

std::vector<Operation> operations() {
  return {
      operation("canSwizzleMethods", {}, &Proxy::canSwizzleMethods),
      operation("sharedProxy", {}, &Proxy::sharedProxy),
      operation("swizzleMethodsIfPossible", {}, &Proxy::swizzleMethodsIfPossible),
      operation("unswizzleAllMethods", {}, &Proxy::unswizzleAllMethods),
      operation("listenForDelegateChangesInUserNotificationCenter:", {P::object},
                &Proxy::listenForDelegateChangesInUserNotificationCenter),
      operation("addDelegateObserverToUserNotificationCenter:", {P::object},
                &Proxy::addDelegateObserverToUserNotificationCenter),
      operation("removeUserNotificationCenterDelegateObserver", {},
                &Proxy::removeUserNotificationCenterDelegateObserver),
      operation("swizzleUserNotificationCenterDelegate:", {P::object}, &Proxy::swizzleUserNotificationCenterDelegate),
      operation("unswizzleUserNotificationCenterDelegate:", {P::object},
                &Proxy::unswizzleUserNotificationCenterDelegate),
      operation("didSwizzleMethods", {}, &Proxy::didSwizzleMethods),
      operation("hasSwizzledUserNotificationDelegate", {}, &Proxy::hasSwizzledUserNotificationDelegate),
      operation("isObservingUserNotificationDelegateChanges", {}, &Proxy::isObservingUserNotificationDelegateChanges),
      operation("userNotificationCenter", {}, &Proxy::userNotificationCenter),
      operation("currentUserNotificationCenterDelegate", {}, &Proxy::currentUserNotificationCenterDelegate),
      operation("application:didReceiveRemoteNotification:", {P::application, P::dictionary},
                [](A a) { proxy().didReceiveRemoteNotification(a.as<Application>(0), a.value(1)); }),
      operation("application:didReceiveRemoteNotification:fetchCompletionHandler:",
                {P::application, P::dictionary, P::completion},
                [](A a) {
                  proxy().didReceiveRemoteNotification(a.as<Application>(0), a.value(1),
                                                       a.as<std::function<void(unsigned)>>(2));
                }),
      operation("application:didFailToRegisterForRemoteNotificationsWithError:", {P::application, P::text},
                &Proxy::didFailToRegisterForRemoteNotificationsWithError),
      operation("application:didRegisterForRemoteNotificationsWithDeviceToken:", {P::application, P::token},
                &Proxy::didRegisterForRemoteNotificationsWithDeviceToken),
      operation("unswizzleSelector:inClass:", {P::text, P::text},
                [](A a) { proxy().unswizzleSelector(a.as<zn::Selector>(0), classNamed(a, 1)); }),
      operation("saveOriginalImplementation:forSelector:", {P::nothing, P::text},
                [](A a) { proxy().saveOriginalImplementation(nullptr, a.as<zn::Selector>(1)); }),
      operation("originalImplementationForSelector:", {P::text}, &Proxy::originalImplementationForSelector),
      operation("removeImplementationForSelector:", {P::text}, &Proxy::removeImplementationForSelector),
      operation("trackSwizzledSelector:ofClass:", {P::text, P::text},
                [](A a) { proxy().trackSwizzledSelector(a.as<zn::Selector>(0), classNamed(a, 1)); }),
      operation("nonExistantMethodImplementationForClass:", {P::text},
                [](A a) { return proxy().nonExistantMethodImplementationForClass(classNamed(a, 0)); }),
      operation("swizzledSelectorsByClass", {}, [](A) { return selectorsByClass(); }),
  };
}

}  // namespace

std::vector<OperationTable> proxyOperations() { return {{"ZNAppDelegateMessagingProxy", operations()}}; }

}  // namespace zinsim
