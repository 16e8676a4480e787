#include <utility>

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
constexpr const char* kPreferenceFailure = "Exception while updating the push preference : %@";

template <class... Arguments>
void log(const char* text, const Arguments&... arguments) {
  ZNLogger::sharedInstance()->logWithType(1, text, arguments...);
}

bool isAccountActive() { return ZNConfigDataManager::sharedInstance()->isAccountActive(); }

void setPushPreferenceAttribute(bool isPreferred) {
  ZNAnalytics::sharedInstance()->setUserAttribute(isPreferred, kUserAttributeNamePushPreference);
}

/// True when the preference is the first one or differs from the last, and then keeps it. In one step: of two checks at
/// the same time one sees the change.
bool keepPushPreference(bool isAllowed) {
  bool changes = false;
  ZNCoreUtils::getSDKUserDefault()->transaction([&](zn::Value& contents) {
    const zn::Value kept = contents[kUserDefaultsKeyPushPreference];
    const bool wasAllowed = (kept.isNumber() || kept.isString()) && kept.boolValue();
    changes = kept.isNil() || wasAllowed != isAllowed;
    if (changes) contents.setObjectNilHandled(isAllowed, kUserDefaultsKeyPushPreference);
  });
  return changes;
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
    log("Categories are not of type UNNotificationCategory");
    categories = {};
  }
  UIApplication::sharedApplication()->registerForRemoteNotifications();
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  center->requestAuthorizationWithOptions(UNOptionBadge | UNOptionSound | UNOptionAlert,
                                          [](bool granted, const std::optional<std::string>& error) {
                                            if (granted) return log("Push permission granted");
                                            log("Push permission denied : %@", error ? zn::Value(*error) : zn::nil);
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

void ZNNotificationHandler::setPushToken(const zn::Data& token) {
  zn::guarded("setPushToken:", kRegistrationFailure, [&] {
    if (!isAccountActive() || token.empty()) return;
    const zn::Value text = ZNCoreUtils::hexTokenForData(token);
    log("========= Push Token 📲 : %@ ========= ", text);
    broadcastNotificationRegisteredWithToken(text);
    if (ZNCoreUtils::getDeviceToken() == text) return;
    saveAndRegisterWithToken(text);
    ZNAnalytics::sharedInstance()->pushTokenUpdated();
  });
}

void ZNNotificationHandler::saveAndRegisterWithToken(const zn::Value& token) {
  zn::guarded("saveAndRegisterWithToken:", kRegistrationFailure, [&] {
    if (token.string().empty()) return;
    setPushPreferenceAttribute(true);
    ZNCoreUtils::saveDeviceToken(token);
  });
}

void ZNNotificationHandler::didFailToRegisterForPush() {
  zn::guarded("didFailToRegisterForPush", kRegistrationFailure, [&] {
    if (!isAccountActive()) return;
    setPushPreferenceAttribute(false);
    broadcastNotificationRegisterationFailure();
  });
}

void ZNNotificationHandler::checkForPushPermission() {
  zn::guarded("checkForPushPermission", kPreferenceFailure, [&] {
    checkPushNotificationsSettingsWithCompletionBlock([self = shared_from_this()](bool isAllowed) {
      if (isAllowed) {
        self->pushEnabled();
      } else {
        self->pushDisabled();
      }
    });
  });
}

void ZNNotificationHandler::pushEnabled() {
  zn::guarded("pushEnabled", kPreferenceFailure, [&] { updatePushPreference(true); });
}

void ZNNotificationHandler::pushDisabled() {
  zn::guarded("pushDisabled", kPreferenceFailure, [&] { updatePushPreference(false); });
}

void ZNNotificationHandler::updatePushPreference(bool isAllowed) {
  if (keepPushPreference(isAllowed)) trackPushPreferenceChangedEventWithStatus(isAllowed);
  setPushPreferenceAttribute(isAllowed);
}

void ZNNotificationHandler::trackPushPreferenceChangedEventWithStatus(bool isAllowed) {
  zn::guarded("trackPushPreferenceChangedEventWithStatus:", kPreferenceFailure, [&] {
    ZNCoreUtils::getSDKUserDefault()->setBool(isAllowed, kUserDefaultsKeyPushPreference);
    ZNCoreUtils::getSDKUserDefault()->synchronize();
    const auto properties =
        ZNProperties::initWithAttributes(zn::Value::dictionary({{kEventAttributeNamePushPrefStatus, isAllowed}}));
    properties->setNonInteractive();
    ZNAnalytics::sharedInstance()->trackEvent(kEventNamePushPreferenceChanged, properties);
  });
}
