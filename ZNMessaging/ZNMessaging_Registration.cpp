
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"

namespace {

constexpr const char* kRegistrationFailure = "Exception while registering for push %@";

UNNotificationCategory ownCategory(const char* identifier) {
  UNNotificationCategory category;
  category.identifier = identifier;
  category.actions = {{kNotificationActionIdentifierDismiss, "Dismiss", 2}};  // destructive
  category.options = 1;                                                       // a dismissal is reported
  return category;
}

/// A new version of the application sends its categories again.
void forgetSentCategoriesOfOtherVersions() {
  const auto defaults = ZNCoreUtils::getSDKUserDefault();
  const zn::Value version = ZNCoreUtils::appVersion();
  if (defaults->objectForKey(kUserDefaultsKeyAppVersion) == version) return;
  defaults->setBool(false, kUserDefaultsKeyNotificationCategorySent);
  defaults->setObject(version, kUserDefaultsKeyAppVersion);
  defaults->synchronize();
}

}  // namespace

void ZNMessaging::registerForRemoteNotificationWithCategories(const zn::CategorySet& categories,
                                                              const std::shared_ptr<zn::Object>& delegate) {
  constexpr const char* kSelector = "registerForRemoteNotificationWithCategories:withUserNotificationCenterDelegate:";
  zn::guarded(kSelector, kRegistrationFailure, [&] {
    const auto self = std::static_pointer_cast<ZNMessaging>(shared_from_this());
    zn::dispatchAsync(zn::Queue::main, [self, categories, delegate] {
      zn::guarded(kSelector, kRegistrationFailure, [&] { self->askForPush(categories, delegate); });
    });
  });
}

void ZNMessaging::askForPush(zn::CategorySet categories, const std::shared_ptr<zn::Object>& delegate) {
  if (categories.holdsOthers) {
    zn::log("Categories are not of type UNNotificationCategory");
    categories = {};
  }
  UIApplication::sharedApplication()->registerForRemoteNotifications();
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  center->requestAuthorizationWithOptions(UNOptionBadge | UNOptionSound | UNOptionAlert,
                                          [](bool granted, const std::optional<std::string>& error) {
                                            if (granted) return zn::log("Push permission granted");
                                            zn::log("Push permission denied : %@", error ? zn::Value(*error) : zn::nil);
                                          });
  if (delegate) center->setDelegate(delegate);
  const auto self = std::static_pointer_cast<ZNMessaging>(shared_from_this());
  zn::dispatchAsync(zn::Queue::global, [self, categories] { self->setUserNotificationCategories(categories); });
}

void ZNMessaging::optOutOfZintarPushNotification(bool optsOut) {
  zn::guarded("optOutOfZintarPushNotification:", "Exception while opting out of push notifications : %@", [&] {
    const auto& configuration = ZNConfigDataManager::sharedInstance();
    if (!configuration->isAccountActive()) return;
    const bool wasEnabled = configuration->isPushNotificationEnabled();
    if (optsOut && wasEnabled) ZNDeviceTriggersHandler::sharedInstance()->stop();
    configuration->setUserPushNotificationOptedOut(optsOut);
    if (optsOut != wasEnabled) return;  // nothing changed
    ZNAnalytics::sharedInstance()->setPushGDPROptOutStatus(optsOut, kUserAttributeNameGDPRPushOptOut);
    ZNAnalytics::sharedInstance()->updateDeviceWithCompletion(nullptr);
  });
}

void ZNMessaging::setUserNotificationCategories(const zn::CategorySet& categories) {
  zn::guarded("setUserNotificationCategories:", "exception while setting categories : %@", [&] {
    if (!ZNConfigDataManager::sharedInstance()->isAccountActive()) return;
    zn::CategorySet all = categories;
    all.categories.push_back(ownCategory("ZIN_DISMISS_CATEGORY"));
    all.categories.push_back(ownCategory("ZIN_PUSH_TEMPLATE"));
    UNUserNotificationCenter::currentNotificationCenter()->setNotificationCategories(all.categories);
    forgetSentCategoriesOfOtherVersions();
    if (!ZNCoreUtils::getSDKUserDefault()->boolForKey(kUserDefaultsKeyNotificationCategorySent)) {
      ZNNotificationHandler::sharedInstance()->setNotificationCategories(all);
    }
  });
}
