#include <chrono>
#include <string>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/Utils/ExtensionList_p.h"
#include "ZNMessaging/Utils/HostSettings_p.h"
#include "ZNMessaging/Utils/ModuleState_p.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNLogger.h"

namespace {

/// Tries again while another writer keeps the store: the note was used, and must not be used for a later click.
void removeClickInfoLater(const std::shared_ptr<NSUserDefaults>& defaults, const zn::Value& used, int attempts) {
  zn::dispatchAfter(zn::Queue::global, 1.0, [=] {
    const auto remove = [&](zn::Value& contents) {
      if (contents[zn::payload::templateClickInfo] == used) {
        contents.removeValidObjectForKey(zn::payload::templateClickInfo);
      }
    };
    if (defaults->transaction(remove, std::chrono::milliseconds(0)) || attempts == 1) return;
    removeClickInfoLater(defaults, used, attempts - 1);
  });
}

/// The extension's note about a tapped card, which is removed, or nil. The extension may be stopped while it keeps the
/// store, and this is the main thread: it looks without waiting, and waits a little only to remove a note that is
/// there.
zn::Value takeClickInfo(const std::shared_ptr<NSUserDefaults>& defaults) {
  constexpr auto kPatience = std::chrono::milliseconds(50);
  constexpr auto* kKey = zn::payload::templateClickInfo;
  const zn::Value seen = defaults->objectForKey(kKey);
  if (!seen.isDictionary()) return zn::nil;
  zn::Value taken;
  // In one step, so that a note which the extension leaves meanwhile is not removed unread.
  const auto take = [&](zn::Value& contents) {
    taken = contents.validObjectForKey(kKey);
    if (taken.isDictionary()) contents.removeValidObjectForKey(kKey);
  };
  if (defaults->transaction(take, kPatience)) return taken;
  constexpr int kAttempts = 60;
  removeClickInfoLater(defaults, seen, kAttempts);
  return seen;
}

void updateBadgeForClick(const std::shared_ptr<UIApplication>& application) {
  if (!application) return;
  if (!zn::HostSettings::shared().disableBadgeReset) {
    application->setApplicationIconBadgeNumber(0);
  } else if (const long badge = application->applicationIconBadgeNumber(); badge > 0) {
    application->setApplicationIconBadgeNumber(badge - 1);
  }
}

}  // namespace

const std::shared_ptr<ZNNotificationHandler>& ZNNotificationHandler::sharedInstance() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNNotificationHandler>());
  return *instance;
}

bool ZNNotificationHandler::isPushFromZintarWithPayload(const zn::Value& payload) const {
  return !payload.validObjectForKey(kNotificationPayloadKeyZintar).isNil();
}

bool ZNNotificationHandler::shouldProcessNotificationZintarDict(const zn::Value& dictionary) const {
  return zn::isVisiblePushOfCampaign(dictionary);
}

void ZNNotificationHandler::didReceieveNotificationinApplication(const std::shared_ptr<UIApplication>& application,
                                                                 const zn::Value& payload) {
  zn::guarded("didReceieveNotificationinApplication:withInfo:", "Exception in did receive notification : %@", [&] {
    if (!zn::isSwitchedOn()) return;
    if (!isPushFromZintarWithPayload(payload)) updateAppSourceWithNonZinPushPayload(payload);
    broadcastNotificationClickedWithPushPayload(payload);
    const zn::Value zintar = payload.validObjectForKey(kNotificationPayloadKeyZintar);
    // In the active and background states the push was received, not clicked.
    if (shouldProcessNotificationZintarDict(zintar) && application &&
        application->applicationState() == UIApplicationState::inactive) {
      handlePushNotificationInApplication(application, payload);
    }
  });
}

void ZNNotificationHandler::didReceiveNotificationResponse(const std::shared_ptr<UNUserNotificationCenter>&,
                                                           const UNNotificationResponse& response) {
  zn::guarded("userNotificationCenter:didReceiveNotificationResponse:", "Exception : %@", [&] {
    if (!zn::isSwitchedOn()) return;
    if (!response.notification.request.content.userInfo.isNil()) routeResponse(response);
  });
}

void ZNNotificationHandler::routeResponse(const UNNotificationResponse& response) {
  const zn::Value payload = response.notification.request.content.userInfo.mutableCopy();
  const std::string& action = response.actionIdentifier;
  const zn::Value attributes = ZNMessagingUtils::statsEventAttributesFromPayload(payload);
  const bool isDismissal =
      action == UNNotificationDismissActionIdentifier || action == kNotificationActionIdentifierDismiss;
  if (!isDismissal) {  // a dismissal is never broadcast
    if (!isPushFromZintarWithPayload(payload)) updateAppSourceWithNonZinPushPayload(payload);
    broadcastNotificationClickedWithPushPayload(payload);
  }
  if (!shouldProcessNotificationZintarDict(attributes)) return;
  if (isDismissal) {
    const auto properties = ZNProperties::initWithAttributes(attributes);
    properties->setNonInteractive();
    ZNAnalytics::sharedInstance()->trackEvent(kEventNameNotificationDismissed, properties);
    ZNAnalytics::sharedInstance()->flushWithCompletionBlock(nullptr);
  } else if (action == UNNotificationDefaultActionIdentifier) {
    handlePushNotificationInApplication(UIApplication::sharedApplication(), payload);
  } else {
    handleActionWithIdentifier(action, payload);  // tracks the button itself; no click event here
  }
}

void ZNNotificationHandler::handlePushNotificationInApplication(const std::shared_ptr<UIApplication>& application,
                                                                const zn::Value& payload) {
  zn::guarded("handlePushNotificationInApplication:userInfo:", "Exception in handlePushNotification : %@", [&] {
    if (!zn::isSwitchedOn() || payload.isNil()) return;
    const auto push = ZNPushPayload::initWithPushPayload(payload);
    const zn::Value cardID = takeCardIDForPush(*push);
    const bool handledByCard = !cardID.isNil() && handleCardActionsWithCardID(cardID, push);
    if (!cardID.isNil() && !handledByCard) zn::log("Push - Card Actions is Empty");
    if (!handledByCard) handleDefaultActionsWithPayload(payload);
    updateBadgeForClick(application);
    if (!zn::HostSettings::shared().disableInbox) {
      ZNInboxHandler::sharedInstance()->updateClickedNotificationInStorageWithPayload(payload);
    }
    zn::Value attributes = ZNMessagingUtils::statsEventAttributesFromPayload(payload);
    attributes.setObjectNilHandled(cardID, zn::payload::clickInfoCardID);  // also when the card had no actions
    ZNAnalytics::sharedInstance()->trackEvent(kEventNameNotificationClicked,
                                              ZNProperties::initWithAttributes(attributes));
  });
}

/// The card that the user tapped, as the extension noted it, if it belongs to this push. A note for another campaign is
/// thrown away, not kept: it is older than this click.
zn::Value ZNNotificationHandler::takeCardIDForPush(const ZNPushPayload& push) const {
  const zn::Value group = ZNConfigDataManager::sharedInstance()->getAppGroupID();
  if (!NSUserDefaults::canNameSuite(group.string()) || !push.richPush()) return zn::nil;
  const zn::Value clickInfo = takeClickInfo(NSUserDefaults::initWithSuiteName(std::string(group.string())));
  const zn::Value campaignID = clickInfo.validObjectForKey(zn::payload::clickInfoCampaignID);
  const bool isForThisPush = !campaignID.isNil() && campaignID == push.campaignID();
  return isForThisPush ? clickInfo.validObjectForKey(zn::payload::clickInfoCardID) : zn::nil;
}

void ZNNotificationHandler::handlePushNotificationForeground(const zn::Value& payload) {
  zn::guarded("handlePushNotificationForeground:", "Exception in handlePushNotificationForeground : %@", [&] {
    if (!payload.isNil()) handleInAppFromPush(payload);
  });
}

void ZNNotificationHandler::broadcastNotificationClickedWithPushPayload(const zn::Value& payload) {
  zn::guarded("broadcastNotificationClickedWithPushPayload:", "Exception while broadcasting a click : %@", [&] {
    // The same name for an arrival and for a click: hosts listen for both under it.
    NSNotificationCenter::defaultCenter()->postNotificationName(Zintar_Notification_Received_Notification, payload);
  });
}

void ZNNotificationHandler::broadcastNotificationRegisteredWithToken(const zn::Value& token) {
  zn::guarded("broadcastNotificationRegisteredWithToken:", "Exception while broadcasting a push token : %@", [&] {
    if (token.isNil()) return;
    NSNotificationCenter::defaultCenter()->postNotificationName(
        Zintar_Notification_Registered_Notification, zn::Value::dictionary({{Zintar_Device_Token_Key, token}}));
  });
}

void ZNNotificationHandler::broadcastNotificationRegisterationFailure() {
  zn::guarded("broadcastNotificationRegisterationFailure", "Exception while broadcasting a failed registration : %@",
              [] {
                NSNotificationCenter::defaultCenter()->postNotificationName(
                    Zintar_Notification_Registration_Failed_Notification);
              });
}
