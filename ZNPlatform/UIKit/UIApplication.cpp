#include "ZNPlatform/UIKit/UIApplication.h"

#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/Once.h"
#include "ZNPlatform/Runtime/DelegateCall_p.h"

const char* const UIApplicationWillEnterForegroundNotification = "UIApplicationWillEnterForegroundNotification";
const char* const UIApplicationLaunchOptionsRemoteNotificationKey = "UIApplicationLaunchOptionsRemoteNotificationKey";

const char* const kSelectorDidReceiveRemoteNotification = "application:didReceiveRemoteNotification:";
const char* const kSelectorDidReceiveRemoteNotificationFetch =
    "application:didReceiveRemoteNotification:fetchCompletionHandler:";
const char* const kSelectorDidRegisterForRemoteNotifications =
    "application:didRegisterForRemoteNotificationsWithDeviceToken:";
const char* const kSelectorDidFailToRegisterForRemoteNotifications =
    "application:didFailToRegisterForRemoteNotificationsWithError:";

namespace {
zn::DeviceApplication& machine() { return *zn::Device::current().application; }
}  // namespace

std::shared_ptr<UIApplication> UIApplication::sharedApplication() {
  static const zn::NeverDestroyed shared(std::make_shared<UIApplication>());
  return *shared;
}

std::shared_ptr<zn::Object> UIApplication::delegate() const {
  const zn::Lock lock(mutex_);
  return delegate_.lock();
}

void UIApplication::setDelegate(const std::shared_ptr<zn::Object>& delegate) {
  const zn::Lock lock(mutex_);
  delegate_ = delegate;
}

UIApplicationState UIApplication::applicationState() const { return machine().state(); }
long UIApplication::applicationIconBadgeNumber() const { return machine().badge(); }
void UIApplication::setApplicationIconBadgeNumber(long number) { machine().setBadge(number); }

bool UIApplication::isRegisteredForRemoteNotifications() const {
  return machine().isRegisteredForRemoteNotifications();
}

void UIApplication::registerForRemoteNotifications() { machine().registerForRemoteNotifications(); }

UIBackgroundTaskIdentifier UIApplication::beginBackgroundTaskWithExpirationHandler(
    std::function<void()> expirationHandler) {
  return machine().beginBackgroundTask(std::move(expirationHandler));
}

void UIApplication::endBackgroundTask(UIBackgroundTaskIdentifier identifier) {
  machine().endBackgroundTask(identifier);
}

void UIApplication::setInterceptors(std::shared_ptr<const Interceptors> interceptors) {
  const zn::Lock lock(mutex_);
  interceptors_.swap(interceptors);
}

template <class... A>
void UIApplication::callInterceptors(zn::Selector selector, const A&... arguments) {
  std::shared_ptr<const Interceptors> list;
  {
    const zn::Lock lock(mutex_);
    list = interceptors_;
  }
  if (!list) return;
  for (const auto& each : *list) {
    const auto interceptor = each.lock();
    if (!interceptor) continue;
    zn::callImplementation(zn::boundImplementation(*interceptor, selector), true, *interceptor, selector,
                           shared_from_this(), arguments...);
  }
}

template <class... A>
zn::Delivery UIApplication::deliver(const char* name, const A&... arguments) {
  const zn::Selector selector(name);
  callInterceptors(selector, arguments...);
  return zn::callDelegate(delegate(), selector, shared_from_this(), arguments...);
}

zn::Delivery UIApplication::deliverRemoteNotification(const zn::Value& payload) {
  return deliver(kSelectorDidReceiveRemoteNotification, payload);
}

zn::Delivery UIApplication::deliverRemoteNotification(const zn::Value& payload,
                                                      std::function<void(unsigned result)> fetchCompletion) {
  const zn::Selector selector(kSelectorDidReceiveRemoteNotificationFetch);
  const std::function<void(unsigned)> noSay = [](unsigned) {};
  callInterceptors(selector, payload, noSay);
  const std::function<void(unsigned)> answer = zn::once(std::move(fetchCompletion));
  const zn::Delivery delivery = zn::callDelegate(delegate(), selector, shared_from_this(), payload, answer);
  if (delivery != zn::Delivery::called) answer(UIBackgroundFetchResultNoData);
  return delivery;
}

zn::Delivery UIApplication::deliverDeviceToken(const zn::Data& token) {
  return deliver(kSelectorDidRegisterForRemoteNotifications, token);
}

zn::Delivery UIApplication::deliverRegistrationFailure(const std::string& error) {
  return deliver(kSelectorDidFailToRegisterForRemoteNotifications, error);
}

void UIApplication::deliverWillEnterForeground() {
  NSNotificationCenter::defaultCenter()->postNotificationName(UIApplicationWillEnterForegroundNotification);
}
