// Operations of the delegate proxy. Selectors and classes are given by name; implementations cannot be written.

#include "Apps/zinsim/Operations.h"
#include "Apps/zinsim/Shapes.h"
#include "ZNMessaging/AppDelegateSwizzler/ZNAppDelegateMessagingProxy.h"
#include "ZNPlatform/Runtime/Runtime.h"

namespace zinsim {

namespace P = shape;
using A = const Arguments&;

namespace {

ZNAppDelegateMessagingProxy& proxy() { return *ZNAppDelegateMessagingProxy::sharedProxy(); }

zn::Selector selector(A a, std::size_t index) { return zn::NSSelectorFromString(a.value(index).string()); }

zn::Class& classNamed(A a, std::size_t index) {
  const std::string name(a.value(index).string());
  if (zn::Class* const known = zn::Class::named(name)) return *known;
  throw UsageError("there is no class \"" + name + "\"");
}

zn::Value objectClass(const std::shared_ptr<zn::Object>& object) {
  return object ? className(object, object->isa().name().c_str()) : zn::nil;
}

zn::Value implementation(const zn::MethodPtr& method) { return className(method, "Method"); }

std::vector<Operation> callbacks() {
  return {
      operation("application:didReceiveRemoteNotification:", {P::application, P::dictionary},
                [](A a) { proxy().didReceiveRemoteNotification(a.application(0), a.value(1)); }),
      operation(
          "application:didReceiveRemoteNotification:fetchCompletionHandler:",
          {P::application, P::dictionary, P::completion},
          [](A a) { proxy().didReceiveRemoteNotification(a.application(0), a.value(1), a.optionsCompletion(2)); }),
      operation("application:didFailToRegisterForRemoteNotificationsWithError:", {P::application, P::text},
                [](A a) {
                  proxy().didFailToRegisterForRemoteNotificationsWithError(a.application(0),
                                                                           std::string(a.value(1).string()));
                }),
      operation("application:didRegisterForRemoteNotificationsWithDeviceToken:", {P::application, P::token},
                [](A a) { proxy().didRegisterForRemoteNotificationsWithDeviceToken(a.application(0), a.data(1)); }),
  };
}

std::vector<Operation> setUp() {
  return {
      operation("canSwizzleMethods", {}, [](A) { return ZNAppDelegateMessagingProxy::canSwizzleMethods(); }),
      operation("sharedProxy", {}, [](A) { return objectClass(ZNAppDelegateMessagingProxy::sharedProxy()); }),
      operation("swizzleMethodsIfPossible", {}, [](A) { proxy().swizzleMethodsIfPossible(); }),
      operation("unswizzleAllMethods", {}, [](A) { proxy().unswizzleAllMethods(); }),
      operation("listenForDelegateChangesInUserNotificationCenter:", {P::object},
                [](A a) { proxy().listenForDelegateChangesInUserNotificationCenter(a.object(0)); }),
      operation("addDelegateObserverToUserNotificationCenter:", {P::object},
                [](A a) { proxy().addDelegateObserverToUserNotificationCenter(a.object(0)); }),
      operation("removeUserNotificationCenterDelegateObserver", {},
                [](A) { proxy().removeUserNotificationCenterDelegateObserver(); }),
      operation("swizzleUserNotificationCenterDelegate:", {P::object},
                [](A a) { proxy().swizzleUserNotificationCenterDelegate(a.object(0)); }),
      operation("unswizzleUserNotificationCenterDelegate:", {P::object},
                [](A a) { proxy().unswizzleUserNotificationCenterDelegate(a.object(0)); }),
      operation("didSwizzleMethods", {}, [](A) { return proxy().didSwizzleMethods(); }),
      operation("hasSwizzledUserNotificationDelegate", {},
                [](A) { return proxy().hasSwizzledUserNotificationDelegate(); }),
      operation("isObservingUserNotificationDelegateChanges", {},
                [](A) { return proxy().isObservingUserNotificationDelegateChanges(); }),
      operation("userNotificationCenter", {}, [](A) { return objectClass(proxy().userNotificationCenter()); }),
      operation("currentUserNotificationCenterDelegate", {},
                [](A) { return objectClass(proxy().currentUserNotificationCenterDelegate()); }),
  };
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

std::vector<Operation> replacing() {
  return {
      operation("unswizzleSelector:inClass:", {P::text, P::text},
                [](A a) { proxy().unswizzleSelector(selector(a, 0), classNamed(a, 1)); }),
      operation("saveOriginalImplementation:forSelector:", {P::nothing, P::text},
                [](A a) { proxy().saveOriginalImplementation(nullptr, selector(a, 1)); }),
      operation("originalImplementationForSelector:", {P::text},
                [](A a) { return implementation(proxy().originalImplementationForSelector(selector(a, 0))); }),
      operation("removeImplementationForSelector:", {P::text},
                [](A a) { proxy().removeImplementationForSelector(selector(a, 0)); }),
      operation("trackSwizzledSelector:ofClass:", {P::text, P::text},
                [](A a) { proxy().trackSwizzledSelector(selector(a, 0), classNamed(a, 1)); }),
      operation("nonExistantMethodImplementationForClass:", {P::text},
                [](A a) { return implementation(proxy().nonExistantMethodImplementationForClass(classNamed(a, 0))); }),
      operation("swizzledSelectorsByClass", {}, [](A) { return selectorsByClass(); }),
  };
}

}  // namespace

std::vector<OperationTable> proxyOperations() {
  return {{"ZNAppDelegateMessagingProxy", joined({setUp(), callbacks(), replacing()})}};
}

}  // namespace zinsim
