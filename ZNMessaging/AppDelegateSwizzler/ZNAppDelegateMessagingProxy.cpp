#include "ZNMessaging/AppDelegateSwizzler/ZNAppDelegateMessagingProxy.h"

#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNAppDelegateSwizzler.h"
#include "ZintarCore/ZNLogger.h"

namespace {

constexpr const char* kCenterClass = "UNUserNotificationCenter";
constexpr const char* kDelegateKeyPath = "delegate";
constexpr const char* kAddObserverFailure =
    "Encountered exception trying to add a KVO observer for UNUserNotificationCenter's 'delegate' property: %@";
constexpr const char* kRemoveObserverFailure =
    "Encountered exception trying to remove a KVO observer for UNUserNotificationCenter's 'delegate' property: %@";
constexpr const char* kNotConforming =
    "The notification centre's delegate of the class %@ is not intercepted: its class does not say that it conforms to "
    "%@ (zn::ClassBuilder::conformsTo)";

constexpr char contextAddress = 0;

/// The class of an object, to change its table.
zn::Class& classOf(const zn::Object& object) { return *zn::Class::named(object.isa().name()); }

}  // namespace

const void* const UserNotificationObserverContext = &contextAddress;

std::shared_ptr<zn::Object> getNamedPropertyFromObject(zn::Object& object, const std::string& name,
                                                       const zn::Class* expectedClass) {
  const zn::Selector selector = zn::NSSelectorFromString(name);
  const zn::MethodPtr method = object.isa().instanceMethod(selector);
  if (!method || method->signature() != typeid(std::shared_ptr<zn::Object>())) return nullptr;
  const auto property = method->call<std::shared_ptr<zn::Object>>(object, selector);
  return property && (!expectedClass || property->isKindOfClass(*expectedClass)) ? property : nullptr;
}

bool ZNAppDelegateMessagingProxy::canSwizzleMethods() { return ZNAppDelegateSwizzler::isAppDelegateProxyEnabled(); }

const std::shared_ptr<ZNAppDelegateMessagingProxy>& ZNAppDelegateMessagingProxy::sharedProxy() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNAppDelegateMessagingProxy>());
  return *instance;
}

const zn::Class& ZNAppDelegateMessagingProxy::isa() const {
  using Proxy = ZNAppDelegateMessagingProxy;
  using Application = const std::shared_ptr<UIApplication>&;
  using Received = void (Proxy::*)(Application, const zn::Value&);
  using ReceivedFetching = void (Proxy::*)(Application, const zn::Value&, const std::function<void(unsigned)>&);
  static const zn::Class* const mine =
      zn::ClassBuilder<Proxy>("ZNAppDelegateMessagingProxy")
          .implements(kSelectorDidReceiveRemoteNotification,
                      static_cast<Received>(&Proxy::didReceiveRemoteNotification))
          .implements(kSelectorDidReceiveRemoteNotificationFetch,
                      static_cast<ReceivedFetching>(&Proxy::didReceiveRemoteNotification))
          .implements(kSelectorDidFailToRegisterForRemoteNotifications,
                      &Proxy::didFailToRegisterForRemoteNotificationsWithError)
          .implements(kSelectorDidRegisterForRemoteNotifications,
                      &Proxy::didRegisterForRemoteNotificationsWithDeviceToken)
          .build();
  return *mine;
}

ZNAppDelegateMessagingProxy::~ZNAppDelegateMessagingProxy() {
  unswizzleAllMethods();
  removeUserNotificationCenterDelegateObserver();
}

void ZNAppDelegateMessagingProxy::swizzleMethodsIfPossible() {
  const bool isFirst =
      state_.update([](State& state) { return !state.didSwizzleMethods && !std::exchange(state.isSettingUp, true); });
  if (!isFirst) return;
  const bool succeeded = zn::guarded("swizzleMethodsIfPossible", kProxyFailure, [&] {
    setUp();
    return true;
  });
  if (succeeded) ZNMessagingUtils::appDelegateProxyConfigured();
  state_.update([&](State& state) {
    state.didSwizzleMethods = succeeded;
    state.isSettingUp = false;
  });
}

void ZNAppDelegateMessagingProxy::setUp() {
  ZNAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  state_.set(&State::appDelegateInterceptorID,
             ZNAppDelegateSwizzler::registerAppDelegateInterceptor(shared_from_this()));
  zn::Class* const centerClass = zn::Class::named(kCenterClass);
  if (!centerClass) return;
  const auto center = getNamedPropertyFromObject(*centerClass, "currentNotificationCenter", centerClass);
  if (center) listenForDelegateChangesInUserNotificationCenter(center);
}

void ZNAppDelegateMessagingProxy::unswizzleAllMethods() {
  zn::guarded("unswizzleAllMethods", kProxyFailure, [&] {
    const std::string identifier = appDelegateInterceptorID();
    if (!identifier.empty()) ZNAppDelegateSwizzler::unregisterAppDelegateInterceptorWithID(identifier);
    for (const auto& [className, selectors] : swizzledSelectorsByClass()) {
      zn::Class* const known = zn::Class::named(className);
      if (!known) continue;
      for (const std::string& each : selectors) unswizzleSelector(zn::NSSelectorFromString(each), *known);
    }
    const zn::Lock lock(mutex_);
    swizzledSelectorsByClass_.clear();
  });
}

// What the interceptor gets. The handler guards its operations.

void ZNAppDelegateMessagingProxy::didReceiveRemoteNotification(const std::shared_ptr<UIApplication>& application,
                                                               const zn::Value& userInfo) {
  ZNNotificationHandler::sharedInstance()->didReceieveNotificationinApplication(application, userInfo);
}

void ZNAppDelegateMessagingProxy::didReceiveRemoteNotification(const std::shared_ptr<UIApplication>& application,
                                                               const zn::Value& userInfo,
                                                               const std::function<void(unsigned)>&) {
  ZNNotificationHandler::sharedInstance()->didReceieveNotificationinApplication(application, userInfo);
}

void ZNAppDelegateMessagingProxy::didFailToRegisterForRemoteNotificationsWithError(
    const std::shared_ptr<UIApplication>&, const std::string&) {
  ZNNotificationHandler::sharedInstance()->didFailToRegisterForPush();
}

void ZNAppDelegateMessagingProxy::didRegisterForRemoteNotificationsWithDeviceToken(
    const std::shared_ptr<UIApplication>&, const zn::Data& token) {
  ZNNotificationHandler::sharedInstance()->setPushToken(token);
}

void ZNAppDelegateMessagingProxy::listenForDelegateChangesInUserNotificationCenter(
    const std::shared_ptr<zn::Object>& center) {
  zn::guarded("listenForDelegateChangesInUserNotificationCenter:", kProxyFailure, [&] {
    const auto notificationCenter = std::dynamic_pointer_cast<UNUserNotificationCenter>(center);
    if (!notificationCenter) return addDelegateObserverToUserNotificationCenter(center);
    // In its turn, so that no delegate is assigned between looking at it and observing.
    const auto self = std::static_pointer_cast<ZNAppDelegateMessagingProxy>(shared_from_this());
    notificationCenter->performBetweenAssignments([self, center] { self->listenTo(center); });
  });
}

void ZNAppDelegateMessagingProxy::listenTo(const std::shared_ptr<zn::Object>& center) {
  zn::guarded("listenForDelegateChangesInUserNotificationCenter:", kProxyFailure, [&] {
    const auto delegate = getNamedPropertyFromObject(*center, kDelegateKeyPath, nullptr);
    if (delegate) swizzleUserNotificationCenterDelegate(delegate);
  });
  addDelegateObserverToUserNotificationCenter(center);
}

void ZNAppDelegateMessagingProxy::addDelegateObserverToUserNotificationCenter(
    const std::shared_ptr<zn::Object>& center) {
  removeUserNotificationCenterDelegateObserver();
  zn::guarded("addDelegateObserverToUserNotificationCenter:", kAddObserverFailure, [&] {
    if (!center) return;
    center->addObserver(shared_from_this(), kDelegateKeyPath,
                        NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld, UserNotificationObserverContext);
    state_.set(&State::userNotificationCenter, center);
  });
}

void ZNAppDelegateMessagingProxy::removeUserNotificationCenterDelegateObserver() {
  zn::guarded("removeUserNotificationCenterDelegateObserver", kRemoveObserverFailure, [&] {
    const auto center = userNotificationCenter();
    if (!center) return;
    center->removeObserver(*this, kDelegateKeyPath, UserNotificationObserverContext);
    state_.set(&State::userNotificationCenter, nullptr);
  });
}

void ZNAppDelegateMessagingProxy::observeValueForKeyPath(const std::string& keyPath,
                                                         const std::shared_ptr<zn::Object>& object,
                                                         const zn::KeyValueChange& change, const void* context) {
  if (context != UserNotificationObserverContext || keyPath != kDelegateKeyPath) {
    return Object::observeValueForKeyPath(keyPath, object, change, context);
  }
  if (change.oldValue && *change.oldValue) unswizzleUserNotificationCenterDelegate(*change.oldValue);
  if (change.newValue && *change.newValue) swizzleUserNotificationCenterDelegate(*change.newValue);
}

void ZNAppDelegateMessagingProxy::swizzleUserNotificationCenterDelegate(const std::shared_ptr<zn::Object>& delegate) {
  zn::guarded("swizzleUserNotificationCenterDelegate:", kProxyFailure, [&] {
    if (!delegate || delegate == currentUserNotificationCenterDelegate()) return;
    if (!delegate->conformsToProtocol(kProtocolUserNotificationCenterDelegate)) {
      return zn::logDetail(kNotConforming, delegate->isa().name(), kProtocolUserNotificationCenterDelegate);
    }
    const zn::Protocol* const protocol = zn::Protocol::named(kProtocolUserNotificationCenterDelegate);
    const auto replace = [&](const char* name, const zn::MethodPtr& replacement) {
      const zn::Selector selector = zn::NSSelectorFromString(name);
      if (delegate->respondsToSelector(selector)) swizzleSelector(selector, classOf(*delegate), replacement, protocol);
    };
    replace(kSelectorWillPresentNotification, zin_swizzle_willPresentNotificationWithHandler());
    replace(kSelectorDidReceiveNotificationResponse, zin_swizzle_didReceiveNotificationResponseWithHandler());
    state_.set(&State::currentUserNotificationCenterDelegate, delegate);
  });
}

void ZNAppDelegateMessagingProxy::unswizzleUserNotificationCenterDelegate(const std::shared_ptr<zn::Object>& delegate) {
  zn::guarded("unswizzleUserNotificationCenterDelegate:", kProxyFailure, [&] {
    if (!delegate || delegate != currentUserNotificationCenterDelegate()) return;
    for (const char* name : {kSelectorWillPresentNotification, kSelectorDidReceiveNotificationResponse}) {
      unswizzleSelector(zn::NSSelectorFromString(name), classOf(*delegate));
    }
    state_.set(&State::currentUserNotificationCenterDelegate, nullptr);
  });
}

ZNAppDelegateMessagingProxy::SelectorsByClass ZNAppDelegateMessagingProxy::swizzledSelectorsByClass() const {
  const zn::Lock lock(mutex_);
  return swizzledSelectorsByClass_;
}
