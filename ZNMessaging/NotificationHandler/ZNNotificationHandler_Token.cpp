
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"

namespace {

constexpr const char* kRegistrationFailure = "Exception while registering for push %@";
constexpr const char* kPreferenceFailure = "Exception while updating the push preference : %@";

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

/// The token of a desktop is a JSON object with an endpoint and its secret, both of which a log would give away.
zn::Value loggedForm(const zn::Data& token, const zn::Value& text) {
  constexpr std::size_t kShown = 16;
  if (token.front() != '{') return text;
  return std::string(text.string().substr(0, kShown)) + "...";
}

}  // namespace

void ZNNotificationHandler::setPushToken(const zn::Data& token) {
  zn::guarded("setPushToken:", kRegistrationFailure, [&] {
    if (!isAccountActive() || token.empty()) return;
    const zn::Value text = ZNCoreUtils::hexTokenForData(token);
    zn::log("========= Push Token 📲 : %@ ========= ", loggedForm(token, text));
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
    checkPushNotificationsSettingsWithCompletionBlock(
        [self = shared_from_this()](bool isAllowed) { isAllowed ? self->pushEnabled() : self->pushDisabled(); });
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
