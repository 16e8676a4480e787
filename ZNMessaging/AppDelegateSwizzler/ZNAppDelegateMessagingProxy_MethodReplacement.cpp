#include "ZNMessaging/AppDelegateSwizzler/ZNAppDelegateMessagingProxy.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNLogger.h"

namespace {

using Center = std::shared_ptr<UNUserNotificationCenter>;

zn::MethodPtr previousFor(const zn::Object& receiver, zn::Selector selector) {
  return ZNAppDelegateMessagingProxy::sharedProxy()->previousImplementationFor(receiver, selector);
}

bool isReplacement(const zn::MethodPtr& method) {
  return method == zin_swizzle_willPresentNotificationWithHandler() ||
         method == zin_swizzle_didReceiveNotificationResponseWithHandler();
}

}  // namespace

const zn::MethodPtr& zin_swizzle_willPresentNotificationWithHandler() {
  using Completion = std::function<void(unsigned)>;
  static const zn::NeverDestroyed one(zn::Method::makeInFront<void, Center, UNNotification, Completion>(
      previousFor, [](const zn::MethodPtr& previous, zn::Object& receiver, zn::Selector selector, const Center& center,
                      const UNNotification& notification, const Completion& completion) {
        if (previous) previous->call<void>(receiver, selector, center, notification, completion);
      }));
  return *one;
}

const zn::MethodPtr& zin_swizzle_didReceiveNotificationResponseWithHandler() {
  using Completion = std::function<void()>;
  static const zn::NeverDestroyed one(zn::Method::makeInFront<void, Center, UNNotificationResponse, Completion>(
      previousFor, [](const zn::MethodPtr& previous, zn::Object& receiver, zn::Selector selector, const Center& center,
                      const UNNotificationResponse& response, const Completion& completion) {
        if (center && completion) {
          ZNNotificationHandler::sharedInstance()->didReceiveNotificationResponse(center, response);
        }
        if (previous) previous->call<void>(receiver, selector, center, response, completion);
      }));
  return *one;
}

void ZNAppDelegateMessagingProxy::swizzleSelector(zn::Selector selector, zn::Class& inClass,
                                                  const zn::MethodPtr& implementation, const zn::Protocol* protocol) {
  zn::guarded("swizzleSelector:inClass:withImplementation:inProtocol:", kProxyFailure, [&] {
    bool isThere = true;
    {
      const zn::Lock lock(mutex_);
      if (const zn::MethodPtr previous = inClass.replaceMethod(selector, implementation)) {
        if (previous != implementation && previous != nonExistantMethodImplementationForClass(inClass)) {
          saveLocked(previous, selector);
          ownImplementations_[{inClass.definingClass(selector), selector.name()}] = previous;
        }
      } else {
        const auto* description = protocol ? protocol->methodDescription(selector, false) : nullptr;
        isThere = inClass.addMethod(selector, implementation,
                                    description ? std::optional(description->signature) : std::nullopt);
      }
      trackLocked(selector, inClass);
    }
    if (!isThere) zn::log("Could not add method for %@ to class %@", selector.name(), inClass.name());
  });
}

void ZNAppDelegateMessagingProxy::unswizzleSelector(zn::Selector selector, zn::Class& inClass) {
  zn::guarded("unswizzleSelector:inClass:", kProxyFailure, [&] {
    const zn::Lock lock(mutex_);
    if (!inClass.instanceMethod(selector)) return;
    const auto saved = originalAppDelegateImps_.find(selector.name());
    if (saved != originalAppDelegateImps_.end()) {
      inClass.replaceMethod(selector, saved->second);
      originalAppDelegateImps_.erase(saved);
    } else {
      inClass.replaceMethod(selector, nonExistantMethodImplementationForClass(inClass));
    }
    ownImplementations_.erase({inClass.definingClass(selector), selector.name()});
    zn::implementationsChanged();
  });
}

void ZNAppDelegateMessagingProxy::saveOriginalImplementation(const zn::MethodPtr& implementation,
                                                             zn::Selector selector) {
  zn::guarded("saveOriginalImplementation:forSelector:", kProxyFailure, [&] {
    const zn::Lock lock(mutex_);
    saveLocked(implementation, selector);
  });
}

void ZNAppDelegateMessagingProxy::saveLocked(const zn::MethodPtr& implementation, zn::Selector selector) {
  if (!implementation || !selector) return;
  originalAppDelegateImps_[selector.name()] = implementation;
  zn::implementationsChanged();
}

zn::MethodPtr ZNAppDelegateMessagingProxy::originalImplementationForSelector(zn::Selector selector) const {
  return zn::guarded("originalImplementationForSelector:", kProxyFailure, [&]() -> zn::MethodPtr {
    const zn::Lock lock(mutex_);
    const auto saved = originalAppDelegateImps_.find(selector.name());
    return saved == originalAppDelegateImps_.end() ? nullptr : saved->second;
  });
}

void ZNAppDelegateMessagingProxy::removeImplementationForSelector(zn::Selector selector) {
  zn::guarded("removeImplementationForSelector:", kProxyFailure, [&] {
    const zn::Lock lock(mutex_);
    originalAppDelegateImps_.erase(selector.name());
    zn::implementationsChanged();
  });
}

void ZNAppDelegateMessagingProxy::trackSwizzledSelector(zn::Selector selector, const zn::Class& ofClass) {
  zn::guarded("trackSwizzledSelector:ofClass:", kProxyFailure, [&] {
    const zn::Lock lock(mutex_);
    trackLocked(selector, ofClass);
  });
}

void ZNAppDelegateMessagingProxy::trackLocked(zn::Selector selector, const zn::Class& ofClass) {
  // Looked up under the selector's name but stored under the class's: kept on purpose, it decides what
  // unswizzleAllMethods restores.
  const auto known = swizzledSelectorsByClass_.find(selector.name());
  auto selectors = known == swizzledSelectorsByClass_.end() ? std::vector<std::string>() : known->second;
  selectors.push_back(selector.name());
  swizzledSelectorsByClass_[ofClass.name()] = std::move(selectors);
}

zn::MethodPtr ZNAppDelegateMessagingProxy::nonExistantMethodImplementationForClass(const zn::Class& ofClass) const {
  return ofClass.methodImplementation(zn::NSSelectorFromString("aNonExistantMethod"));
}

zn::MethodPtr ZNAppDelegateMessagingProxy::previousImplementationFor(const zn::Object& receiver,
                                                                     zn::Selector selector) const {
  const zn::Lock lock(mutex_);
  const auto saved = originalAppDelegateImps_.find(selector.name());
  if (saved == originalAppDelegateImps_.end()) return nullptr;
  if (saved->second->takes(receiver)) return saved->second;
  // Another class's: what stands for the receiver's class is in its table, unless a replacement does.
  const zn::MethodPtr present = receiver.isa().instanceMethod(selector);
  if (present && present != zn::Method::missing() && !isReplacement(present)) return present;
  const auto own = ownImplementations_.find({receiver.isa().definingClass(selector), selector.name()});
  return own == ownImplementations_.end() ? nullptr : own->second;
}
